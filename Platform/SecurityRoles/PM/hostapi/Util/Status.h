// Outcome of a host operation: success or failure, and a numeric code.
#pragma once

namespace Util {

// A load of a record that does not exist does not fail: it succeeds with this
// code, and callers that care test for it.
const long kRecordNotFound = 6042;

class Status {
public:
    // Failed, code -1. A status is built failed first and set to
    // GetSucceeded() where the work is done, so every early way out reports
    // failure.
    Status();
    // The given outcome and code.
    Status(bool succeeded, long code);
    // Copy outcome and code.
    Status(Status const& other);
    Status& operator=(Status const& other);

    // The first two are constants that live as long as the process.
    static Status const& GetSucceeded(); // success, code 0
    static Status const& GetFailed();    // failure, code -1
    static Status RecordNotFound();      // success with kRecordNotFound

    // Exactly one of the two holds.
    bool Succeeded() const { return m_Succeeded; }
    bool Failed() const { return !m_Succeeded; }
    // 0 for plain success, kRecordNotFound for a missing record; for a
    // failure the host's own code (-1 when it has none).
    long GetStatusCode() const { return m_Code; }

private:
    bool m_Succeeded;
    long m_Code;
};

} // namespace Util
