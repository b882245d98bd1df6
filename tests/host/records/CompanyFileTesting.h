// Helpers for the record-layer tests: scratch paths, raw file bytes, and the
// open company file's tables rendered as one string.
#pragma once

#include <host/records/CompanyFile.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <unistd.h>

namespace RecordsTest {

// A path under the test temporary directory, unique to this process and
// name; the file and its sidecars are removed before use and afterwards.
// Closes the company file first if it is open at the end.
class TempPath {
public:
    explicit TempPath(std::string const& name)
        : m_Path(::testing::TempDir() + "pm_records_" + std::to_string(::getpid()) + "_" + name +
                 ".pmco") {
        Remove();
    }
    ~TempPath() {
        Host::CloseCompanyFile();
        Remove();
    }
    TempPath(TempPath const&) = delete;
    TempPath& operator=(TempPath const&) = delete;

    std::string const& str() const { return m_Path; }
    operator std::string const&() const { return m_Path; }

private:
    void Remove() const {
        for (char const* suffix : {"", "-wal", "-shm", "-journal"}) {
            ::unlink((m_Path + suffix).c_str());
        }
    }

    std::string m_Path;
};

inline bool Exists(std::string const& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

inline std::string ReadBytes(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(std::string const& path, std::string const& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Runs sql on the file through a connection of its own, outside the host.
inline void ExecOnFile(std::string const& path, char const* sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, &error), SQLITE_OK)
        << (error != nullptr ? error : "");
    sqlite3_free(error);
    sqlite3_close(db);
}

// Every row of the four permission tables and the users table of the open
// company file (or of the one table named), one "table: a|b|c" line each, in
// key order.
inline std::string Dump(std::string const& only = std::string()) {
    static char const* const kQueries[] = {
        "SELECT 'roles', * FROM roles ORDER BY role_id",
        "SELECT 'entitlements', * FROM entitlements ORDER BY entitlement_id",
        "SELECT 'user_roles', * FROM user_roles ORDER BY user_key, role_id",
        "SELECT 'role_actions', * FROM role_actions ORDER BY role_id, entitlement_id",
        "SELECT 'users', * FROM users ORDER BY user_id",
    };
    std::ostringstream out;
    sqlite3* db = Host::CurrentCompanyFileHandle();
    for (char const* sql : kQueries) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) != SQLITE_OK) {
            return std::string("cannot dump: ") + sqlite3_errmsg(db);
        }
        while (sqlite3_step(statement) == SQLITE_ROW) {
            if (!only.empty() && only != (char const*)sqlite3_column_text(statement, 0)) {
                continue;
            }
            out << sqlite3_column_text(statement, 0) << ":";
            for (int i = 1; i < sqlite3_column_count(statement); ++i) {
                unsigned char const* text = sqlite3_column_text(statement, i);
                out << (i > 1 ? "|" : " ") << (text != nullptr ? (char const*)text : "NULL");
            }
            out << "\n";
        }
        sqlite3_finalize(statement);
    }
    return out.str();
}

} // namespace RecordsTest
