// The company file: creating, opening (for writing, or as a snapshot in
// memory) and closing the one SQLite database of the process, copying it, and
// the cache of its prepared statements.
#include "CompanyFile.h"

#include "CachedStatement.h"
#include "CompanyFileAdmission.h"
#include "CompanyFileJournal.h"
#include "Connection.h"
#include "FilesBeside.h"
#include "SchemaUpgrade.h"
#include "postgres/ServerCompany.h"
#include "postgres/ServerLocation.h"

#include <sqlite3.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Host {

namespace {

const int kDefaultBusyTimeoutMs = 5000;
const char kMemoryPath[] = ":memory:";

// The tables of schema version 1; CreateSchema adds those of the later
// versions (SchemaUpgrade.h).
const char kCreateSchema[] = R"sql(
CREATE TABLE roles (
    role_id INTEGER PRIMARY KEY,
    category_type INTEGER NOT NULL,
    is_visible INTEGER NOT NULL,
    name TEXT NOT NULL,
    description TEXT NOT NULL
);
CREATE TABLE entitlements (
    entitlement_id INTEGER PRIMARY KEY,
    category_type INTEGER NOT NULL,
    attributes_id INTEGER NOT NULL,
    is_visible INTEGER NOT NULL,
    is_enabled INTEGER NOT NULL,
    name TEXT NOT NULL
);
CREATE TABLE user_roles (
    user_key INTEGER NOT NULL,
    role_id INTEGER NOT NULL,
    PRIMARY KEY (user_key, role_id)
) WITHOUT ROWID;
CREATE INDEX user_roles_by_role ON user_roles (role_id);
CREATE TABLE role_actions (
    role_id INTEGER NOT NULL,
    entitlement_id INTEGER NOT NULL,
    action_type INTEGER NOT NULL,
    PRIMARY KEY (role_id, entitlement_id)
) WITHOUT ROWID;
CREATE INDEX role_actions_by_entitlement ON role_actions (entitlement_id);
CREATE TABLE users (
    user_id INTEGER PRIMARY KEY,
    record_key INTEGER UNIQUE NOT NULL,
    name TEXT UNIQUE NOT NULL,
    is_admin INTEGER NOT NULL DEFAULT 0
);
CREATE TABLE host_counters (
    name TEXT PRIMARY KEY,
    value INTEGER NOT NULL
) WITHOUT ROWID;
)sql";

int& BusyTimeoutSetting() {
    static int milliseconds = kDefaultBusyTimeoutMs;
    return milliseconds;
}

CompanyFileJournal& JournalSetting() {
    static CompanyFileJournal journal = CompanyFileJournal::kWalFull;
    return journal;
}

// Extended result codes, and the host's busy timeout: how long a statement
// waits for a lock that another program holds before it fails with
// SQLITE_BUSY.
void Patient(sqlite3* db) {
    sqlite3_extended_result_codes(db, 1);
    sqlite3_busy_timeout(db, BusyTimeoutSetting());
}

CompanyFileResult Refused(char const* verb, std::string const& path, std::string const& reason) {
    CompanyFileResult result;
    result.reason = reason;
    result.message =
        std::string("Cannot ") + verb + " company file '" + path + "': " + reason + ".";
    return result;
}

// Whether the connection's last failure was a lock that another program held
// past the busy timeout.
bool LockedOut(sqlite3* db) {
    int const code = db == nullptr ? SQLITE_OK : sqlite3_errcode(db) & 0xFF;
    return code == SQLITE_BUSY || code == SQLITE_LOCKED;
}

// An open that another program's lock kept from reading the file.
CompanyFileResult Busy(std::string const& path) {
    CompanyFileResult result = Refused("open", path, DescribeWriteFailure(SQLITE_BUSY));
    result.busy = true;
    return result;
}

CompanyFileResult Done() {
    CompanyFileResult result;
    result.ok = true;
    return result;
}

bool FileExists(std::string const& path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0;
}

// Runs sql, which returns no rows; the error text, empty on success.
std::string Execute(sqlite3* db, char const* sql) {
    char* error = nullptr;
    if (sqlite3_exec(db, sql, nullptr, nullptr, &error) == SQLITE_OK) {
        return std::string();
    }
    std::string text = error != nullptr ? error : sqlite3_errmsg(db);
    sqlite3_free(error);
    return text;
}

// A URI that opens path read-only, without locks and without creating a log
// or shared-memory file beside it. SQLite trusts such a file not to change
// while it is open, so it is used only for a snapshot of a file that this
// process cannot write and that has no log beside it.
std::string ImmutableUri(std::string const& path) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string uri = "file:";
    for (unsigned char c : path) {
        bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                     c == '/' || c == '-' || c == '.' || c == '_' || c == '~';
        if (plain) {
            uri += static_cast<char>(c);
        } else {
            uri += '%';
            uri += kHex[c >> 4];
            uri += kHex[c & 15];
        }
    }
    return uri + "?immutable=1";
}

// A regular file with one name; the reason when it is not.
std::string CheckPath(std::string const& path, bool forWriting, bool* sidecars) {
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) {
        return errno == ENOENT ? std::string("the file does not exist")
                               : std::string(std::strerror(errno));
    }
    if (!S_ISREG(info.st_mode)) {
        return "it is not a regular file";
    }
    // SQLite keeps its locks and its log per name: a write through one name
    // can be lost to a connection through another.
    if (forWriting && info.st_nlink > 1) {
        return "it has " + std::to_string(info.st_nlink) +
               " hard links, and writes through one of them can be lost; copy it to a file of "
               "its own";
    }
    *sidecars = FileExists(path + "-wal") || FileExists(path + "-journal");
    return detail::CheckHeader(path, *sidecars);
}

// A rollback journal left beside the file by a crash is rolled back by the
// first connection that may write. The file is checked first on one that may
// not, so that a file that is not a company file is left with its journal.
std::string CheckBesideAJournal(std::string const& path, bool* busy) {
    if (!FileExists(path + "-journal")) {
        return std::string();
    }
    sqlite3* probe = nullptr;
    std::string reason;
    if (sqlite3_open_v2(path.c_str(), &probe, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        Patient(probe);
        reason = detail::CheckContents(probe);
    } else {
        reason = std::string("it cannot be read as a database: ") + sqlite3_errmsg(probe);
    }
    *busy = !reason.empty() && LockedOut(probe);
    sqlite3_close_v2(probe);
    return reason;
}

// The reason no connection is to be made to path, empty when one may be:
// another company file is open, or the file fails the checks made before a
// connection (*busy: because another program held it locked).
std::string CheckBeforeOpening(std::string const& path, bool forWriting, bool* busy) {
    if (IsCompanyFileOpen()) {
        return "the company file '" + CurrentCompanyFilePath() + "' is open";
    }
    bool sidecars = false;
    std::string reason = CheckPath(path, forWriting, &sidecars);
    return reason.empty() ? CheckBesideAJournal(path, busy) : reason;
}

// Closes a connection to a file that was refused. A log that was beside the
// file before is left as it was, not folded into a file that is not ours; a
// log and shared memory that SQLite made for this connection alone are
// removed by SQLite itself, under its lock, when no other program uses them.
void CloseRefused(sqlite3* db, bool logWasBeside) {
    if (logWasBeside) {
        sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    }
    sqlite3_close_v2(db);
}

// A connection to the file that reads only, checked; null with *reason set
// when the file is refused. It is opened for writing when this process may
// write the file, so that SQLite's last connection can tidy the log away, and
// read-only otherwise; a read-only file whose shared memory cannot be made
// is opened immutable when no log lies beside it.
sqlite3* OpenForSnapshot(std::string const& path, bool logWasBeside, std::string* reason,
                         bool* busy) {
    sqlite3* db = nullptr;
    int rc =
        sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc == SQLITE_OK) {
        Patient(db);
        *reason = detail::CheckContents(db);
    } else {
        *reason = std::string("it cannot be read as a database: ") + sqlite3_errmsg(db);
    }
    bool readOnly = rc == SQLITE_OK && sqlite3_db_readonly(db, "main") == 1;
    if (!reason->empty() && readOnly && !logWasBeside) {
        sqlite3_close_v2(db);
        db = nullptr;
        rc = sqlite3_open_v2(ImmutableUri(path).c_str(), &db,
                             SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr);
        *reason = rc == SQLITE_OK
                      ? detail::CheckContents(db)
                      : std::string("it cannot be read as a database: ") + sqlite3_errmsg(db);
    }
    if (!reason->empty()) {
        *busy = LockedOut(db);
        CloseRefused(db, logWasBeside);
        return nullptr;
    }
    return db;
}

// The database of source copied into a new database in memory; null with
// *error set on failure. The copy is taken in one read transaction, so it is
// the file as one commit left it.
sqlite3* CopyIntoMemory(sqlite3* source, std::string* error) {
    sqlite3_int64 size = 0;
    unsigned char* image = sqlite3_serialize(source, "main", &size, 0);
    if (image == nullptr) {
        *error = std::string("it cannot be copied: ") + sqlite3_errmsg(source);
        return nullptr;
    }
    // The copy keeps no log: bytes 18 and 19 of the header say rollback
    // journal, as a database in memory must.
    if (size >= 20) {
        image[18] = 1;
        image[19] = 1;
    }
    sqlite3* memory = nullptr;
    int rc =
        sqlite3_open_v2(kMemoryPath, &memory,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc == SQLITE_OK) {
        rc = sqlite3_deserialize(memory, "main", image, size, size,
                                 SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE);
        image = nullptr; // the connection owns it now, also on failure
    }
    sqlite3_free(image);
    if (rc != SQLITE_OK) {
        *error = std::string("it cannot be copied: ") + sqlite3_errstr(rc);
        sqlite3_close_v2(memory);
        return nullptr;
    }
    return memory;
}

void Adopt(sqlite3* db, std::string const& path, bool snapshot) {
    detail::Connection& connection = detail::CurrentConnection();
    connection.db = db;
    connection.path = path;
    connection.snapshot = snapshot;
    connection.generation = detail::NextGeneration();
}

// Journal, sync and busy settings of a read-write connection; the error text,
// empty on success.
std::string Configure(sqlite3* db, bool inMemory) {
    Patient(db);
    if (inMemory) {
        return std::string();
    }
    char const* mode = "wal";
    char const* synchronous = "PRAGMA synchronous = FULL";
    switch (JournalSetting()) {
    case CompanyFileJournal::kWalFull:
        break;
    case CompanyFileJournal::kWalNormal:
        synchronous = "PRAGMA synchronous = NORMAL";
        break;
    case CompanyFileJournal::kRollbackFull:
        mode = "delete";
        break;
    }
    sqlite3_stmt* statement = nullptr;
    std::string sql = std::string("PRAGMA journal_mode = ") + mode;
    int rc = sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr);
    std::string error;
    if (rc == SQLITE_OK && sqlite3_step(statement) == SQLITE_ROW) {
        char const* now = reinterpret_cast<char const*>(sqlite3_column_text(statement, 0));
        if (now == nullptr || sqlite3_stricmp(now, mode) != 0) {
            error = std::string("the journal mode stays ") + (now != nullptr ? now : "unknown");
        }
    } else {
        error = sqlite3_errmsg(db);
    }
    sqlite3_finalize(statement);
    if (!error.empty()) {
        return error;
    }
    return Execute(db, synchronous);
}

std::string CreateSchema(sqlite3* db) {
    std::string error = Execute(db, "BEGIN IMMEDIATE");
    if (error.empty()) {
        std::string pragmas = "PRAGMA application_id = " + std::to_string(detail::kApplicationId) +
                              "; PRAGMA user_version = " + std::to_string(detail::kSchemaVersion) +
                              ";";
        error = Execute(db, pragmas.c_str());
    }
    if (error.empty()) {
        error = Execute(db, kCreateSchema);
    }
    if (error.empty()) {
        error = Execute(db, detail::kChangeHistoryTable);
    }
    if (error.empty()) {
        error = Execute(db, "COMMIT");
    }
    if (!error.empty()) {
        Execute(db, "ROLLBACK");
    }
    return error;
}

} // namespace

namespace detail {

void Connection::Close() {
    ConnectionClosing(*this);
    for (auto& entry : statements) {
        sqlite3_finalize(entry.second);
    }
    statements.clear();
    if (db != nullptr) {
        sqlite3_close_v2(db);
        db = nullptr;
    }
    path.clear();
    snapshot = false;
    generation = 0;
}

Connection& CurrentConnection() {
    static struct Closing : Connection {
        ~Closing() { Close(); }
    } connection;
    return connection;
}

sqlite3_stmt* CachedStatement(char const* sql, int* rc) {
    Connection& connection = CurrentConnection();
    if (connection.db == nullptr) {
        *rc = SQLITE_MISUSE;
        return nullptr;
    }
    sqlite3_stmt* statement = nullptr;
    auto found = connection.statements.find(sql);
    if (found != connection.statements.end()) {
        statement = found->second;
    } else {
        *rc = sqlite3_prepare_v3(connection.db, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement,
                                 nullptr);
        if (*rc != SQLITE_OK) {
            sqlite3_finalize(statement);
            return nullptr;
        }
        connection.statements.emplace(sql, statement);
    }
    *rc = BeforeStatement(connection, statement);
    return *rc == SQLITE_OK ? statement : nullptr;
}

} // namespace detail

CompanyFileResult CreateCompanyFile(std::string const& path) {
    if (IsServerLocation(path)) {
        return detail::CreateServerCompany(path);
    }
    if (IsCompanyFileOpen()) {
        return Refused("create", path,
                       "the company file '" + CurrentCompanyFilePath() + "' is open");
    }
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) {
        return Refused("create", path,
                       errno == EEXIST ? std::string("the file already exists")
                                       : std::string(std::strerror(errno)));
    }
    ::close(fd);
    sqlite3* db = nullptr;
    int rc =
        sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    std::string error = rc == SQLITE_OK ? Configure(db, false) : sqlite3_errmsg(db);
    if (error.empty()) {
        error = CreateSchema(db);
    }
    if (!error.empty()) {
        sqlite3_close_v2(db);
        RemoveWithSidecars(path);
        return Refused("create", path, error);
    }
    SyncDirectoryOf(path);
    Adopt(db, path, false);
    return Done();
}

CompanyFileResult OpenCompanyFile(std::string const& path) {
    if (IsServerLocation(path)) {
        return detail::OpenServerCompany(path);
    }
    bool busy = false;
    std::string reason = CheckBeforeOpening(path, true, &busy);
    if (!reason.empty()) {
        return busy ? Busy(path) : Refused("open", path, reason);
    }
    // Checked on the connection that will write it: it reads only until the
    // file has passed, and a connection that only read leaves nothing behind.
    bool logWasBeside = FileExists(path + "-wal");
    sqlite3* db = nullptr;
    int rc =
        sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        reason = std::string("it cannot be opened for writing: ") + sqlite3_errmsg(db);
    } else if (sqlite3_db_readonly(db, "main") != 0) {
        // SQLite opens a file it may not write read-only, without a word.
        reason = "it is read-only";
    } else {
        Patient(db);
        reason = detail::CheckContents(db);
    }
    if (reason.empty()) {
        reason = Configure(db, false);
    }
    if (!reason.empty()) {
        busy = LockedOut(db);
        CloseRefused(db, logWasBeside);
        return busy ? Busy(path) : Refused("open", path, reason);
    }
    Adopt(db, path, false);
    return Done();
}

CompanyFileResult OpenCompanyFileSnapshot(std::string const& path) {
    if (IsServerLocation(path)) {
        return detail::OpenServerCompanySnapshot(path);
    }
    bool busy = false;
    std::string reason = CheckBeforeOpening(path, false, &busy);
    if (!reason.empty()) {
        return busy ? Busy(path) : Refused("open", path, reason);
    }
    sqlite3* source = OpenForSnapshot(path, FileExists(path + "-wal"), &reason, &busy);
    if (source == nullptr) {
        return busy ? Busy(path) : Refused("open", path, reason);
    }
    sqlite3* memory = CopyIntoMemory(source, &reason);
    busy = memory == nullptr && LockedOut(source);
    sqlite3_close_v2(source);
    if (memory == nullptr) {
        return busy ? Busy(path) : Refused("open", path, reason);
    }
    Configure(memory, true);
    Adopt(memory, path, true);
    return Done();
}

CompanyFileResult OpenInMemoryCompanyFile() {
    if (IsCompanyFileOpen()) {
        return Refused("open", kMemoryPath,
                       "the company file '" + CurrentCompanyFilePath() + "' is open");
    }
    sqlite3* db = nullptr;
    int rc =
        sqlite3_open_v2(kMemoryPath, &db,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    std::string error = rc == SQLITE_OK ? Configure(db, true) : sqlite3_errmsg(db);
    if (error.empty()) {
        error = CreateSchema(db);
    }
    if (!error.empty()) {
        sqlite3_close_v2(db);
        return Refused("open", kMemoryPath, error);
    }
    Adopt(db, kMemoryPath, false);
    return Done();
}

void CloseCompanyFile() {
    detail::CloseServerCompany();
    detail::CurrentConnection().Close();
}

CompanyFileResult CloseAndRenameCompanyFile(std::string const& path) {
    detail::Connection& file = detail::CurrentConnection();
    std::string from = file.path;
    if (file.db == nullptr || file.snapshot || from == kMemoryPath) {
        return Refused("rename", path, "no company file on disk is open");
    }
    // The last connection folds the log into the file and removes it, so
    // the file alone holds everything before it takes its new name.
    file.Close();
    if (FileExists(from + "-wal") || FileExists(from + "-journal")) {
        return Refused("rename", path, "'" + from + "' still has its log beside it");
    }
    int fd = ::open(from.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
    // A new link fails where a name exists, so no file is ever replaced.
    if (::link(from.c_str(), path.c_str()) != 0) {
        return Refused("create", path,
                       errno == EEXIST ? std::string("the file already exists")
                                       : std::string(std::strerror(errno)));
    }
    ::unlink(from.c_str());
    SyncDirectoryOf(path);
    return Done();
}

CompanyFileResult BackupCompanyFile(std::string const& destination) {
    detail::Connection& file = detail::CurrentConnection();
    if (file.db == nullptr || file.snapshot || file.path == kMemoryPath) {
        return Refused("copy", file.path, "no company file on disk is open");
    }
    // A connection of its own reads what was committed: inside a write
    // bracket, the file as it was before the bracket.
    sqlite3* source = nullptr;
    sqlite3* copy = nullptr;
    // Named after this process, so that the host can tell one left by a
    // process that was killed.
    std::string partial = HiddenBeside(destination, "partial");
    ::unlink(partial.c_str());
    int rc = sqlite3_open_v2(file.path.c_str(), &source, SQLITE_OPEN_READONLY, nullptr);
    if (rc == SQLITE_OK) {
        Patient(source);
        rc = sqlite3_open_v2(partial.c_str(), &copy, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                             nullptr);
    }
    if (rc == SQLITE_OK) {
        sqlite3_backup* backup = sqlite3_backup_init(copy, "main", source, "main");
        rc = backup == nullptr ? sqlite3_errcode(copy) : sqlite3_backup_step(backup, -1);
        int finished = sqlite3_backup_finish(backup);
        rc = rc == SQLITE_DONE ? finished : rc;
    }
    std::string error = rc == SQLITE_OK ? std::string() : sqlite3_errstr(rc);
    sqlite3_close_v2(copy);
    sqlite3_close_v2(source);
    if (error.empty() && ::link(partial.c_str(), destination.c_str()) != 0) {
        error = errno == EEXIST ? "'" + destination + "' exists already" : std::strerror(errno);
    }
    ::unlink(partial.c_str());
    ::unlink((partial + "-journal").c_str());
    if (!error.empty()) {
        return Refused("copy", file.path, error);
    }
    SyncDirectoryOf(destination);
    return Done();
}

bool IsCompanyFileOpen() {
    return detail::CurrentEngine() != nullptr;
}

bool IsCompanyFileSnapshot() {
    return detail::CurrentConnection().snapshot || detail::ServerCompanyIsSnapshot();
}

std::string CurrentCompanyFilePath() {
    std::string server = detail::ServerCompanyLocation();
    return server.empty() ? detail::CurrentConnection().path : server;
}

sqlite3* CurrentCompanyFileHandle() {
    return detail::CurrentConnection().db;
}

void SetCompanyFileBusyTimeout(int milliseconds) {
    BusyTimeoutSetting() = milliseconds;
}

int GetCompanyFileBusyTimeout() {
    return BusyTimeoutSetting();
}

void SetCompanyFileJournal(CompanyFileJournal journal) {
    JournalSetting() = journal;
}

CompanyFileJournal GetCompanyFileJournal() {
    return JournalSetting();
}

} // namespace Host
