// The fixture of the suites that run on both engines, and another program's
// view of a company on either.
#include "support/EngineTesting.h"

#include "support/RecordTesting.h"

#include <host/records/CompanyFile.h>
#include <host/records/postgres/ServerCodes.h>

#include <pqxx/pqxx>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>

namespace PMTest {

namespace {

// Counts the server cases that ran and that were skipped, and says so when
// the program ends.
class ServerCaseCount : public ::testing::Environment {
public:
    void TearDown() override {
        // A skipped case says why by itself; a program whose server cases
        // ran says how many.
        if (ran > 0) {
            std::printf("[  server  ] %d server test case%s ran on PostgreSQL, %d skipped\n", ran,
                        ran == 1 ? "" : "s", skipped);
        }
    }
    int ran = 0;
    int skipped = 0;
};

ServerCaseCount* const gServerCases =
    static_cast<ServerCaseCount*>(::testing::AddGlobalTestEnvironment(new ServerCaseCount));

} // namespace

std::string ServerUri() {
    char const* uri = std::getenv("PM_TEST_POSTGRES_URI");
    return uri != nullptr ? uri : "";
}

EngineTest::EngineTest() = default;

EngineTest::~EngineTest() = default;

void EngineTest::SetUp() {
    Host::CloseCompanyFile();
    if (!OnServer()) {
        m_Path.reset(new TempPath("engine"));
        m_Location = m_Path->str();
        return;
    }
    m_Location = ServerUri();
    if (m_Location.empty()) {
        ++gServerCases->skipped;
        GTEST_SKIP() << "PM_TEST_POSTGRES_URI is not set: no PostgreSQL server to run on "
                        "(scripts/with-postgres.sh runs a command beside one)";
    }
    ++gServerCases->ran;
    EmptyServerDatabase(m_Location);
}

void EngineTest::TearDown() {
    Host::CloseCompanyFile();
}

long EngineTest::DuplicateKeyCode() const {
    return OnServer() ? Host::detail::ServerCode("23505") : SQLITE_CONSTRAINT_PRIMARYKEY;
}

std::string EngineName(::testing::TestParamInfo<EngineKind> const& info) {
    return info.param == EngineKind::kServer ? "Server" : "SQLite";
}

void PrintTo(EngineKind engine, std::ostream* out) {
    *out << (engine == EngineKind::kServer ? "Server" : "SQLite");
}

std::string QueryElsewhere(std::string const& location, std::string const& sql,
                           char const* separator) {
    if (location.rfind("postgresql://", 0) != 0) {
        return QueryFile(location, sql, separator);
    }
    std::vector<std::vector<std::string>> rows;
    try {
        pqxx::connection connection(location);
        pqxx::nontransaction work(connection);
        pqxx::result result = work.exec(sql);
        for (auto const& row : result) {
            rows.emplace_back();
            for (auto const& field : row) {
                rows.back().emplace_back(field.is_null() ? "NULL" : field.c_str());
            }
        }
    } catch (std::exception const& failure) {
        ADD_FAILURE() << sql << ": " << failure.what();
    }
    return JoinRows(rows, separator);
}

std::string QueryLines(std::string const& location, std::string const& sql) {
    std::string const rows = QueryElsewhere(location, sql, "\n");
    return rows.empty() ? rows : rows + "\n";
}

void CountServerCase(bool ran) {
    ++(ran ? gServerCases->ran : gServerCases->skipped);
}

void EmptyServerDatabase(std::string const& uri) {
    QueryElsewhere(uri, "SET client_min_messages = warning; DROP SCHEMA IF EXISTS public CASCADE; "
                        "CREATE SCHEMA public");
}

} // namespace PMTest
