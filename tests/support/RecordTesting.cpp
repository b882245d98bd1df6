// Helpers for the record-layer and store tests.
#include "support/RecordTesting.h"

#include <host/records/CompanyFile.h>
#include <host/records/Engine.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace PMTest {

std::string Query(std::string const& sql) {
    Host::detail::Engine* engine = Host::detail::CurrentEngine();
    Host::detail::TextRows rows;
    std::string error;
    if (engine == nullptr) {
        ADD_FAILURE() << sql << ": no company file is open";
    } else if (!engine->Execute(sql, &rows, &error)) {
        ADD_FAILURE() << sql << ": " << error;
    }
    return JoinRows(rows);
}

std::string QueryFile(std::string const& path, std::string const& sql, char const* separator) {
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    Host::detail::TextRows rows;
    auto row = [](void* out, int columns, char** values, char**) {
        auto& row = static_cast<Host::detail::TextRows*>(out)->emplace_back();
        for (int i = 0; i < columns; ++i) {
            row.emplace_back(values[i] != nullptr ? values[i] : "NULL");
        }
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(db, sql.c_str(), row, &rows, nullptr), SQLITE_OK)
        << sql << ": " << sqlite3_errmsg(db);
    sqlite3_close(db);
    return JoinRows(rows, separator);
}

std::string JoinRows(std::vector<std::vector<std::string>> const& rows, char const* separator) {
    std::string text;
    for (auto const& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            text += (i > 0 ? "|" : text.empty() ? "" : separator) + row[i];
        }
    }
    return text;
}

std::string Tables() {
    std::string text;
    for (char const* table : {"roles", "entitlements", "user_roles", "role_actions", "users"}) {
        text += std::string(table) + "=" +
                Query(std::string("SELECT * FROM ") + table + " ORDER BY 1, 2") + "\n";
    }
    return text;
}

void AddSample() {
    Query("INSERT INTO roles VALUES (0, 1, 1, 'Admin', 'All rights'), (1, 3, 2, 'Clerk''s desk', "
          "''); INSERT INTO entitlements VALUES (0, 0, 0, 0, 0, '3'), (10, 2, 65536, 1, 0, "
          "'Checks'), (100012, 4, -1, 2, 1, 'Banking'); INSERT INTO user_roles VALUES (100, 0), "
          "(100, 1), (200, 1); INSERT INTO role_actions VALUES (0, 10, -1), (1, 10, 7), "
          "(1, 100012, 17)");
}

std::string StatusText(Util::Status const& status) {
    return (status.Succeeded() ? "ok " : "failed ") + std::to_string(status.GetStatusCode());
}

std::string ReadBytes(std::string const& path) {
    if (!std::filesystem::is_regular_file(path)) {
        return std::string();
    }
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteBytes(std::string const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

TempPath::TempPath(std::string const& name)
    : m_Path(::testing::TempDir() + "pm_" + std::to_string(::getpid()) + "_" + name + ".pmco") {
    Remove();
}

TempPath::~TempPath() {
    Host::CloseCompanyFile();
    Remove();
}

void TempPath::Remove() const {
    for (char const* suffix : {"", "-wal", "-shm", "-journal"}) {
        ::unlink((m_Path + suffix).c_str());
        ::rmdir((m_Path + suffix).c_str()); // a test may make a directory of a name
    }
}

} // namespace PMTest
