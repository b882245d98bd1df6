// The company file: an SQLite database that holds the four permission tables
// (roles, entitlements, user-role assignments, role-action masks) and the
// host's users table. At most one company file is open at a time in a
// process; the record classes (DMUSRRole and its siblings) work on it.
#pragma once

#include <string>

struct sqlite3;

namespace Host {

// Outcome of creating or opening a company file. On failure the message names
// the file and the reason, and the file is byte for byte as it was.
struct CompanyFileResult {
    bool ok = false;
    std::string message;
};

// A new company file with the current schema, left open; refuses a path that
// exists, and removes what it created when it fails.
CompanyFileResult CreateCompanyFile(std::string const& path);
// An existing company file, left open. The file is checked on a connection
// that cannot write it before it is opened for writing: a missing, empty,
// truncated or damaged file, one that is not SQLite or belongs to another
// application, one whose schema version this host does not know, and one that
// cannot be written are refused. A file left with its write-ahead log by a
// crash is accepted and keeps every committed record.
CompanyFileResult OpenCompanyFile(std::string const& path);
// A company file in memory, with the current schema; gone when closed. Create
// and the opens refuse while another company file is open.
CompanyFileResult OpenInMemoryCompanyFile();
// Closes the open company file, if any. Everything written so far is in it:
// each record operation committed by itself.
void CloseCompanyFile();
bool IsCompanyFileOpen();
// The path of the open company file (":memory:" for one in memory); empty
// when none is open.
std::string CurrentCompanyFilePath();

// The open database, for the record layer and the host's own tables; null
// when no company file is open.
sqlite3* CurrentCompanyFileHandle();

// How long a statement waits for a lock that another process holds on the
// company file before it fails with SQLITE_BUSY: 5000 ms unless set. Applies
// to company files opened or created from now on; tests set a short one.
void SetCompanyFileBusyTimeout(int milliseconds);
int GetCompanyFileBusyTimeout();

// Brackets a run of reads (a login, a role screen) so that they share one
// read transaction of the open company file: SQLite then takes and drops its
// file locks once for the run instead of at every record operation, which is
// most of what a read costs on a file. Writes are never part of it: a write
// inside the bracket first ends the read transaction and then commits by
// itself, as every record operation does, and the next read begins a new
// one. So a bracket neither delays nor groups a write, and another process
// may write meanwhile; the reads see the file as it was at the bracket's first
// read, or at its own last write. Brackets nest: the outermost one ends the
// transaction. Closing the company file inside a bracket is allowed.
class ReadTransaction {
public:
    ReadTransaction();
    ~ReadTransaction();
    ReadTransaction(ReadTransaction const&) = delete;
    ReadTransaction& operator=(ReadTransaction const&) = delete;
};

} // namespace Host
