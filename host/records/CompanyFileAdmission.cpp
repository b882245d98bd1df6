// The checks a file must pass before the host takes it as a company file: what
// its first bytes say, and what SQLite can tell of its contents and schema.
#include "CompanyFileAdmission.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Host {
namespace detail {

namespace {

// The columns that the record layer, the user manager and the change history
// read, each from the schema version that brought it; a file whose tables
// lack one of them is not a company file of its schema.
struct Layout {
    int since;
    char const* sql;
};
const Layout kExpectedLayout[] = {
    {1, "SELECT role_id, category_type, is_visible, name, description FROM roles"},
    {1, ("SELECT entitlement_id, category_type, attributes_id, is_visible, is_enabled, name "
         "FROM entitlements")},
    {1, "SELECT user_key, role_id FROM user_roles"},
    {1, "SELECT role_id, entitlement_id, action_type FROM role_actions"},
    {1, "SELECT user_id, record_key, name, is_admin FROM users"},
    {2, "SELECT id, changed_at, os_user, command, details FROM change_history"},
};

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

} // namespace

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

// Everything SQLite can tell about the file without writing it; an empty
// reason means it is a company file of this schema.
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
    if (value > kSchemaVersion) {
        return "its schema version " + std::to_string(value) + " is newer than the version " +
               std::to_string(kSchemaVersion) + " that this host knows";
    }
    if (value < kOldestSchemaVersion) {
        return "its schema version " + std::to_string(value) +
               " is older than the oldest version, " + std::to_string(kOldestSchemaVersion) +
               ", that this host knows";
    }
    for (Layout const& layout : kExpectedLayout) {
        if (layout.since > value) {
            continue;
        }
        sqlite3_stmt* statement = nullptr;
        rc = sqlite3_prepare_v2(db, layout.sql, -1, &statement, nullptr);
        sqlite3_finalize(statement);
        if (rc != SQLITE_OK) {
            return std::string("its tables are not those of a company file: ") + sqlite3_errmsg(db);
        }
    }
    return std::string();
}

} // namespace detail
} // namespace Host
