// The company file: an SQLite database that holds the four permission tables
// (roles, entitlements, user-role assignments, role-action masks) and the
// host's users table. At most one company file is open at a time in a
// process; the record classes (DMUSRRole and its siblings) work on it.
// These functions, the record classes and the brackets are for one thread at
// a time, as the host calls the library: their state is the process's, and
// the file's connection is opened without SQLite's own mutexes.
//
// What the record classes do beyond their contract in hostapi: each operation
// is one statement on the open company file and commits by itself unless a
// bracket is open (Transactions.h); the txn argument is ignored. A failed
// Status carries the SQLite result code, extended: SQLITE_MISUSE when no
// company file is open, SQLITE_TOOBIG for a Load whose text does not fit the
// record layer's buffer, one of the SQLITE_CONSTRAINT family for an Add of a
// stored key. The fault plan (FaultPlan.h) may fail an operation, or answer
// not-found, before it runs.
//
// A location that is a server URI (postgresql://..., postgres/ServerLocation.h)
// names a company held in a PostgreSQL database instead (the server engine,
// postgres/ServerCompany.h tells what its create and open take and refuse);
// the record classes, the users and the brackets mean the same there, and a
// failed Status carries a server code (postgres/ServerCodes.h). Messages show
// such a location with its password masked. A snapshot of a server company
// is one transaction rolled back at close; what only files have (the rename,
// the backup) is refused for a server location.
#pragma once

#include "Transactions.h"

#include <string>

struct sqlite3;

namespace Host {

// Outcome of creating or opening a company file. On failure the message names
// the file and the reason, and the file is byte for byte as it was.
struct CompanyFileResult {
    bool ok = false;
    std::string message;
    std::string reason; // the message's reason alone: no file name, no full stop
    // The file could not be read because another program held it locked past
    // the busy timeout, or the server could not be reached: not refused, to
    // be tried again.
    bool busy = false;
    // The server could not be reached (no server answered, or it could not
    // take the connection now): not refused either, to be tried again.
    bool unreachable = false;
};

// A new company file with the current schema, left open; refuses a path that
// exists, and removes what it created when it fails.
CompanyFileResult CreateCompanyFile(std::string const& path);
// An existing company file, left open for reading and writing. The file is
// checked before anything is written to it: a missing, empty, truncated or
// damaged file, one that is not SQLite or belongs to another application, one
// whose schema version this host does not know, one that cannot be written
// and one with more than one hard link are refused. A file left with its
// write-ahead log by a crash is accepted and keeps every committed record.
// Another program may have the file open meanwhile: nothing here removes a
// file beside it that SQLite shares between programs.
CompanyFileResult OpenCompanyFile(std::string const& path);
// A copy in memory of an existing company file, taken in one read
// transaction and then left open in place of the file: reads see the file as
// one commit left it, and writes reach only the copy, which is gone when
// closed. The checks are those of OpenCompanyFile, but a read-only file, or
// one with several hard links, is taken. The file itself is never written.
CompanyFileResult OpenCompanyFileSnapshot(std::string const& path);
// A company file in memory, with the current schema; gone when closed. Create
// and the opens refuse while another company file is open.
CompanyFileResult OpenInMemoryCompanyFile();
// Closes the open company file, if any. Everything committed is in it; a
// write bracket that has not committed is taken back.
void CloseCompanyFile();
// Closes the open company file, which must be on disk, and gives it a second
// name, path, then removes the name it had: the file appears at path whole or
// not at all, and a file that exists at path is never replaced (refused, and
// the open file is left under its old name, closed).
CompanyFileResult CloseAndRenameCompanyFile(std::string const& path);
// Copies what is committed in the open company file (inside a write bracket:
// the file as it was before the bracket) to a new file at destination, which
// must not exist. The copy appears whole or not at all.
CompanyFileResult BackupCompanyFile(std::string const& destination);
bool IsCompanyFileOpen();
// Whether the open company file is a snapshot (OpenCompanyFileSnapshot).
bool IsCompanyFileSnapshot();
// The path of the open company file (":memory:" for one in memory, the
// file's path for a snapshot); empty when none is open.
std::string CurrentCompanyFilePath();

// The open database, for the record layer and the host's own tables; null
// when no company file is open.
sqlite3* CurrentCompanyFileHandle();

// How long a statement waits for a lock that another process holds on the
// company file before it fails with SQLITE_BUSY: 5000 ms unless set. Applies
// to company files opened or created from now on; tests set a short one.
void SetCompanyFileBusyTimeout(int milliseconds);
int GetCompanyFileBusyTimeout();

} // namespace Host
