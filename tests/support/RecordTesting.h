// What the record-layer and store tests share: rows of the open company file
// as text, scratch files, and a small sample of records.
#pragma once

#include <Util/Status.h>

#include <string>
#include <vector>

namespace PMTest {

// The rows sql yields on the open company file or database (through its
// engine, inside whatever transaction is open), "a|b" joined by "; ".
std::string Query(std::string const& sql);
// Every table of the open company file as "roles=...\nentitlements=...\n...".
std::string Tables();
// Two roles, three entitlements (0 the version record), assignments and masks,
// written straight into the open company file.
void AddSample();
// The same on the file at path, through a connection of its own: what another
// program sees, or changes; the rows joined by separator.
std::string QueryFile(std::string const& path, std::string const& sql,
                      char const* separator = "; ");
// Rows as text: each row's fields joined by "|", the rows by separator.
std::string JoinRows(std::vector<std::vector<std::string>> const& rows,
                     char const* separator = "; ");
// "ok 0", "ok 6042", "failed 19".
std::string StatusText(Util::Status const& status);
// The file's bytes; empty for anything but a regular file.
std::string ReadBytes(std::string const& path);
void WriteBytes(std::string const& path, std::string const& bytes);

// A path in the test temporary directory, unique to this process; it and the
// files beside it are removed before use and, once the company file is
// closed, afterwards.
class TempPath {
public:
    explicit TempPath(std::string const& name);
    ~TempPath();
    TempPath(TempPath const&) = delete;
    TempPath& operator=(TempPath const&) = delete;
    operator std::string const&() const { return m_Path; }
    std::string const& str() const { return m_Path; }

private:
    void Remove() const;
    std::string m_Path;
};

} // namespace PMTest
