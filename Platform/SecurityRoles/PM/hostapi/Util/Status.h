// Outcome of a host operation: success or failure, and a numeric code.
#pragma once

namespace Util {

// A load of a record that does not exist does not fail: it succeeds with this
// code, and callers that care test for it.
const long kRecordNotFound = 6042;

class Status {
public:
    // A status is built failed first and set to GetSucceeded() where the work
    // is done, so every early way out reports failure.
    Status();
    Status(bool succeeded, long code);
    Status(Status const& other);
    Status& operator=(Status const& other);

    static Status const& GetSucceeded(); // code 0
    static Status const& GetFailed();    // code -1
    static Status RecordNotFound();      // success with kRecordNotFound

    bool Succeeded() const { return m_Succeeded; }
    bool Failed() const { return !m_Succeeded; }
    long GetStatusCode() const { return m_Code; }

private:
    bool m_Succeeded;
    long m_Code;
};

} // namespace Util
