// The company file: creating, validating, opening and closing the one SQLite
// database of the process, and the cache of its prepared statements.
#include "CompanyFile.h"

#include "CachedStatement.h"
#include "CompanyFileJournal.h"

#include <sqlite3.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>

namespace Host {

namespace {

const int kSchemaVersion = 1;
const std::uint32_t kApplicationId = 0x504D4346; // "PMCF"
const int kDefaultBusyTimeoutMs = 5000;
const char kMemoryPath[] = ":memory:";

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
)sql";

// The columns that the record layer and the user manager read; a file whose
// tables lack one of them is not a company file of this schema.
const char* const kExpectedLayout[] = {
    "SELECT role_id, category_type, is_visible, name, description FROM roles",
    ("SELECT entitlement_id, category_type, attributes_id, is_visible, is_enabled, name "
     "FROM entitlements"),
    "SELECT user_key, role_id FROM user_roles",
    "SELECT role_id, entitlement_id, action_type FROM role_actions",
    "SELECT user_id, record_key, name, is_admin FROM users",
};

struct OpenFile {
    sqlite3* db = nullptr;
    std::string path;
    std::unordered_map<char const*, sqlite3_stmt*> statements;
    // A read transaction begun for the ReadTransaction brackets; closing the
    // connection rolls it back, which loses nothing since it wrote nothing.
    bool readTransactionOpen = false;

    ~OpenFile() { Close(); }

    void Close() {
        for (auto& entry : statements) {
            sqlite3_finalize(entry.second);
        }
        statements.clear();
        if (db != nullptr) {
            sqlite3_close_v2(db);
            db = nullptr;
        }
        path.clear();
        readTransactionOpen = false;
    }

    // Ends the bracket's read transaction, so that what follows runs, and
    // commits, by itself.
    void EndReadTransaction() {
        if (readTransactionOpen &&
            sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) != SQLITE_OK) {
            sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        }
        readTransactionOpen = false;
    }

    // Called before each use of a cached statement. Inside a bracket a read
    // joins (or begins) the read transaction and a write ends it first. A
    // BEGIN that fails leaves the read to run by itself.
    void BeforeStatement(sqlite3_stmt* statement) {
        if (ReadBracketDepth() == 0) {
            return;
        }
        if (sqlite3_stmt_readonly(statement) == 0) {
            EndReadTransaction();
        } else if (!readTransactionOpen && sqlite3_get_autocommit(db) != 0) {
            readTransactionOpen = sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr) == SQLITE_OK;
        }
    }

    static int& ReadBracketDepth() {
        static int depth = 0;
        return depth;
    }
};

OpenFile& Current() {
    static OpenFile file;
    return file;
}

int& BusyTimeoutSetting() {
    static int milliseconds = kDefaultBusyTimeoutMs;
    return milliseconds;
}

CompanyFileJournal& JournalSetting() {
    static CompanyFileJournal journal = CompanyFileJournal::kWalFull;
    return journal;
}

CompanyFileResult Refused(char const* verb, std::string const& path, std::string const& reason) {
    CompanyFileResult result;
    result.message =
        std::string("Cannot ") + verb + " company file '" + path + "': " + reason + ".";
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

std::string Hex32(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(value));
    return text;
}

std::uint32_t BigEndian(unsigned char const* bytes, int count) {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) {
        value = (value << 8) | bytes[i];
    }
    return value;
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

// The first column of the first row of sql as an integer; false with *error
// set when the statement fails or yields no row.
bool QueryInteger(sqlite3* db, char const* sql, std::int64_t* value, std::string* error, int* rc) {
    sqlite3_stmt* statement = nullptr;
    *rc = sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
    if (*rc == SQLITE_OK) {
        *rc = sqlite3_step(statement);
        if (*rc == SQLITE_ROW) {
            *value = sqlite3_column_int64(statement, 0);
            *rc = SQLITE_OK;
        }
    }
    if (*rc != SQLITE_OK) {
        *error = sqlite3_errmsg(db);
    }
    sqlite3_finalize(statement);
    return *rc == SQLITE_OK;
}

// What the first 100 bytes of the file say about it, checked before SQLite
// sees the file; an empty reason means the header is sound.
std::string CheckHeader(std::string const& path, bool sidecarsPresent) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return std::string("it cannot be read: ") + std::strerror(errno);
    }
    struct stat info;
    unsigned char header[100] = {};
    ssize_t got = -1;
    if (::fstat(fd, &info) == 0) {
        got = ::pread(fd, header, sizeof header, 0);
    }
    int readError = errno;
    ::close(fd);
    if (got < 0) {
        return std::string("it cannot be read: ") + std::strerror(readError);
    }
    long long size = info.st_size;
    if (size == 0) {
        return "the file is empty";
    }
    static const char kMagic[16] = "SQLite format 3";
    if (std::memcmp(header, kMagic, got < 16 ? got : 16) != 0 || got < 16) {
        return "it is not an SQLite database (its first 16 bytes are not \"SQLite format 3\")";
    }
    if (got < 100) {
        return "it is truncated: its " + std::to_string(size) +
               " bytes end inside the 100-byte database header";
    }
    std::uint32_t pageSize = BigEndian(header + 16, 2);
    if (pageSize == 1) {
        pageSize = 65536;
    }
    if (pageSize < 512 || pageSize > 65536 || (pageSize & (pageSize - 1)) != 0) {
        return "it is damaged: its header gives an invalid page size of " +
               std::to_string(pageSize);
    }
    // A write-ahead log or a journal beside the file may hold pages that the
    // file itself does not have yet; only without them must the sizes agree.
    if (sidecarsPresent) {
        return std::string();
    }
    std::uint32_t changeCounter = BigEndian(header + 24, 4);
    std::uint32_t pageCount = BigEndian(header + 28, 4);
    std::uint32_t validFor = BigEndian(header + 92, 4);
    if (validFor == changeCounter && pageCount != 0) {
        long long expected = static_cast<long long>(pageCount) * pageSize;
        if (size != expected) {
            return std::string(size < expected ? "it is truncated" : "it is damaged") +
                   ": its header gives " + std::to_string(pageCount) + " pages of " +
                   std::to_string(pageSize) + " bytes (" + std::to_string(expected) +
                   " bytes), but the file holds " + std::to_string(size) + " bytes";
        }
    } else if (size % pageSize != 0) {
        return "it is truncated: its " + std::to_string(size) +
               " bytes are not a whole number of " + std::to_string(pageSize) + "-byte pages";
    }
    return std::string();
}

// A URI that opens path read-only without locks and without creating a
// write-ahead log or shared-memory file beside it.
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

// The first problem that quick_check reports, as one line without the
// database name that precedes it.
std::string FirstProblem(char const* report) {
    std::string line = report != nullptr ? report : "quick_check gave no answer";
    static const char kPrefix[] = "*** in database main ***\n";
    if (line.compare(0, sizeof kPrefix - 1, kPrefix) == 0) {
        line.erase(0, sizeof kPrefix - 1);
    }
    line = line.substr(0, line.find('\n'));
    while (!line.empty() && line.back() == '.') {
        line.pop_back();
    }
    return line;
}

// Everything SQLite can tell about the file on a connection that cannot
// write it; an empty reason means it is a company file of this schema.
std::string CheckContents(sqlite3* db) {
    sqlite3_stmt* check = nullptr;
    int rc = sqlite3_prepare_v2(db, "PRAGMA quick_check", -1, &check, nullptr);
    std::string problem;
    if (rc == SQLITE_OK) {
        rc = sqlite3_step(check);
        if (rc == SQLITE_ROW) {
            char const* line = reinterpret_cast<char const*>(sqlite3_column_text(check, 0));
            if (line == nullptr || std::strcmp(line, "ok") != 0) {
                problem = FirstProblem(line);
            }
            rc = SQLITE_OK;
        }
    }
    int primary = rc & 0xFF;
    if (rc != SQLITE_OK) {
        problem = sqlite3_errmsg(db);
    }
    sqlite3_finalize(check);
    if (rc == SQLITE_READONLY_ROLLBACK) {
        // Only a rollback-journal file left by a crash: a connection that
        // cannot write may not roll the journal back.
        return "it holds an interrupted write that its journal must roll back first";
    }
    if (rc != SQLITE_OK && primary != SQLITE_CORRUPT && primary != SQLITE_NOTADB) {
        return "it cannot be checked: " + problem;
    }
    if (!problem.empty()) {
        return "it is damaged (" + problem + ")";
    }

    std::string error;
    std::int64_t value = 0;
    if (!QueryInteger(db, "PRAGMA application_id", &value, &error, &rc)) {
        return "it cannot be checked: " + error;
    }
    std::uint32_t applicationId = static_cast<std::uint32_t>(value);
    if (applicationId != kApplicationId) {
        return "it is not a company file: its application id is " + Hex32(applicationId) +
               ", not " + Hex32(kApplicationId);
    }
    if (!QueryInteger(db, "PRAGMA user_version", &value, &error, &rc)) {
        return "it cannot be checked: " + error;
    }
    if (value != kSchemaVersion) {
        return "its schema version " + std::to_string(value) + " is " +
               (value > kSchemaVersion ? "newer" : "older") + " than the version " +
               std::to_string(kSchemaVersion) + " that this host knows";
    }
    for (char const* sql : kExpectedLayout) {
        sqlite3_stmt* statement = nullptr;
        rc = sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
        sqlite3_finalize(statement);
        if (rc != SQLITE_OK) {
            return std::string("its tables are not those of a company file: ") + sqlite3_errmsg(db);
        }
    }
    return std::string();
}

// Journal, sync and busy settings of a read-write connection; the error text,
// empty on success.
std::string Configure(sqlite3* db, bool inMemory) {
    sqlite3_extended_result_codes(db, 1);
    sqlite3_busy_timeout(db, BusyTimeoutSetting());
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

// Makes the new file's directory entry durable, so that a created company
// file is still there after a power cut.
void SyncDirectoryOf(std::string const& path) {
    std::string::size_type slash = path.rfind('/');
    std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

void RemoveWithSidecars(std::string const& path) {
    for (char const* suffix : {"", "-wal", "-shm", "-journal"}) {
        ::unlink((path + suffix).c_str());
    }
}

std::string CreateSchema(sqlite3* db) {
    std::string error = Execute(db, "BEGIN IMMEDIATE");
    if (error.empty()) {
        std::string pragmas = "PRAGMA application_id = " + std::to_string(kApplicationId) +
                              "; PRAGMA user_version = " + std::to_string(kSchemaVersion) + ";";
        error = Execute(db, pragmas.c_str());
    }
    if (error.empty()) {
        error = Execute(db, kCreateSchema);
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

CompanyFileResult CreateCompanyFile(std::string const& path) {
    OpenFile& file = Current();
    if (file.db != nullptr) {
        return Refused("create", path, "the company file '" + file.path + "' is open");
    }
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) {
        return Refused("create", path,
                       errno == EEXIST ? std::string("the file already exists")
                                       : std::string(std::strerror(errno)));
    }
    ::close(fd);
    sqlite3* db = nullptr;
    int rc = sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
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
    file.db = db;
    file.path = path;
    return Done();
}

CompanyFileResult OpenCompanyFile(std::string const& path) {
    OpenFile& file = Current();
    if (file.db != nullptr) {
        return Refused("open", path, "the company file '" + file.path + "' is open");
    }
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) {
        return Refused("open", path,
                       errno == ENOENT ? std::string("the file does not exist")
                                       : std::string(std::strerror(errno)));
    }
    if (!S_ISREG(info.st_mode)) {
        return Refused("open", path, "it is not a regular file");
    }
    bool sidecars = FileExists(path + "-wal") || FileExists(path + "-journal");
    std::string reason = CheckHeader(path, sidecars);
    if (!reason.empty()) {
        return Refused("open", path, reason);
    }

    // Validation reads the file on a connection that cannot write it. Without
    // a log or journal beside it the file is the whole database, and opening it
    // immutable leaves no new file behind either.
    bool hadShm = FileExists(path + "-shm");
    sqlite3* probe = nullptr;
    int rc = sidecars ? sqlite3_open_v2(path.c_str(), &probe, SQLITE_OPEN_READONLY, nullptr)
                      : sqlite3_open_v2(ImmutableUri(path).c_str(), &probe,
                                        SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    if (rc == SQLITE_OK) {
        sqlite3_extended_result_codes(probe, 1);
        sqlite3_busy_timeout(probe, BusyTimeoutSetting());
        reason = CheckContents(probe);
    } else {
        reason = std::string("it cannot be read as a database: ") + sqlite3_errmsg(probe);
    }
    sqlite3_close_v2(probe);
    if (!reason.empty()) {
        if (sidecars && !hadShm) {
            ::unlink((path + "-shm").c_str());
        }
        return Refused("open", path, reason);
    }

    sqlite3* db = nullptr;
    rc = sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    std::string error;
    if (rc != SQLITE_OK) {
        error = std::string("it cannot be opened for writing: ") + sqlite3_errmsg(db);
    } else if (sqlite3_db_readonly(db, "main") != 0) {
        error = "it is read-only";
    } else {
        error = Configure(db, false);
    }
    if (!error.empty()) {
        sqlite3_close_v2(db);
        return Refused("open", path, error);
    }
    file.db = db;
    file.path = path;
    return Done();
}

CompanyFileResult OpenInMemoryCompanyFile() {
    OpenFile& file = Current();
    if (file.db != nullptr) {
        return Refused("open", kMemoryPath, "the company file '" + file.path + "' is open");
    }
    sqlite3* db = nullptr;
    int rc = sqlite3_open_v2(kMemoryPath, &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    std::string error = rc == SQLITE_OK ? Configure(db, true) : sqlite3_errmsg(db);
    if (error.empty()) {
        error = CreateSchema(db);
    }
    if (!error.empty()) {
        sqlite3_close_v2(db);
        return Refused("open", kMemoryPath, error);
    }
    file.db = db;
    file.path = kMemoryPath;
    return Done();
}

void CloseCompanyFile() {
    Current().Close();
}

bool IsCompanyFileOpen() {
    return Current().db != nullptr;
}

std::string CurrentCompanyFilePath() {
    return Current().path;
}

sqlite3* CurrentCompanyFileHandle() {
    return Current().db;
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

namespace detail {

sqlite3_stmt* CachedStatement(char const* sql, int* rc) {
    OpenFile& file = Current();
    if (file.db == nullptr) {
        *rc = SQLITE_MISUSE;
        return nullptr;
    }
    auto found = file.statements.find(sql);
    if (found != file.statements.end()) {
        *rc = SQLITE_OK;
        file.BeforeStatement(found->second);
        return found->second;
    }
    sqlite3_stmt* statement = nullptr;
    *rc = sqlite3_prepare_v3(file.db, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    if (*rc != SQLITE_OK) {
        sqlite3_finalize(statement);
        return nullptr;
    }
    file.statements.emplace(sql, statement);
    file.BeforeStatement(statement);
    return statement;
}

} // namespace detail

ReadTransaction::ReadTransaction() {
    ++OpenFile::ReadBracketDepth();
}

ReadTransaction::~ReadTransaction() {
    if (--OpenFile::ReadBracketDepth() == 0 && Current().db != nullptr) {
        Current().EndReadTransaction();
    }
}

} // namespace Host
