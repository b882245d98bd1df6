// Test suites that run on both engines of the record layer: an SQLite company
// file, and a company in a PostgreSQL database named by the environment
// variable PM_TEST_POSTGRES_URI (scripts/with-postgres.sh sets it). Where it
// is not set the server cases are skipped, saying why; at the end the program
// prints how many server cases ran.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>

namespace PMTest {

class TempPath;

enum class EngineKind { kSqlite, kServer };

// PM_TEST_POSTGRES_URI, or empty.
std::string ServerUri();

// The fixture of a suite run on both engines (INSTANTIATE_ON_BOTH_ENGINES).
// Each case starts with no company open and, on the server, with the test
// database emptied.
class EngineTest : public ::testing::TestWithParam<EngineKind> {
protected:
    EngineTest();
    ~EngineTest() override;
    void SetUp() override;
    void TearDown() override;

    bool OnServer() const { return GetParam() == EngineKind::kServer; }
    // Where this case keeps its company: a file path, or the server URI.
    std::string const& Location() const { return m_Location; }
    // The code with which an Add of a stored key fails on this engine.
    long DuplicateKeyCode() const;

private:
    std::unique_ptr<TempPath> m_Path;
    std::string m_Location;
};

// The test name's suffix for each engine: "SQLite", "Server".
std::string EngineName(::testing::TestParamInfo<EngineKind> const& info);
// The engine's name where gtest shows the parameter.
void PrintTo(EngineKind engine, std::ostream* out);

// The rows sql yields through a connection of its own to location: what
// another program sees in a company file or database, or changes there.
// Rows as "a|b" joined by separator; or (QueryLines) one a line.
std::string QueryElsewhere(std::string const& location, std::string const& sql,
                           char const* separator = "; ");
std::string QueryLines(std::string const& location, std::string const& sql);

// Drops everything in the server database's public schema.
void EmptyServerDatabase(std::string const& uri);

// For a fixture of its own that runs a case on the server: counts the case
// as run there, or as skipped, in the count the program prints at its end.
void CountServerCase(bool ran);

} // namespace PMTest

#define INSTANTIATE_ON_BOTH_ENGINES(Suite)                                                         \
    INSTANTIATE_TEST_SUITE_P(                                                                      \
        Engines, Suite,                                                                            \
        ::testing::Values(PMTest::EngineKind::kSqlite, PMTest::EngineKind::kServer),               \
        PMTest::EngineName)
