// Running pmctl in a test as a person runs it: a scratch directory, a company
// made once from the shipped catalogue and copied for each test (a file, or
// a database on the test server), command lines run through the command
// table with their output captured.
#pragma once

#include "CommandLine.h"
#include "support/EngineTesting.h"
#include "support/RecordTesting.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <string>
#include <vector>

namespace PMTest {

// What one command printed and returned.
struct Result {
    int code;
    std::string out;
    std::string err;
};

// A command line's words: split at blanks, "double quotes" keep blanks.
std::vector<std::string> Words(std::string const& line);

// Runs a pmctl command line: words split at blanks, "double quotes" keep
// blanks, F stands for file. Without a prompt no one is at the terminal, so
// destructive commands need --yes.
Result RunPmctl(std::string const& line, std::string const& file,
                Pmctl::Prompt const& prompt = nullptr);

// Runs each command line on file; a failure for each that does not exit 0.
void RunAll(std::vector<std::string> const& lines, std::string const& file);
// Runs a command line on file; a failure unless it exits 0; its standard output.
std::string Out(std::string const& line, std::string const& file);

std::string ShippedCatalogue();

// A TEST_F of this fixture runs on an SQLite company file; a TEST_P, in a
// suite instantiated with INSTANTIATE_ON_BOTH_ENGINES, on each engine: on the
// server each case has a database of its own, and without a server (no
// PM_TEST_POSTGRES_URI) the server cases are skipped, saying why.
class CommandTest : public ::testing::TestWithParam<EngineKind> {
protected:
    // A fresh copy of a company created by `pmctl create` with the shipped
    // catalogue, plus the users carol (Sales) and dave (Purchasing and
    // Payroll Clerk).
    void SetUp() override;
    void TearDown() override;

    // The engine this case runs on: the parameter of a TEST_P, SQLite for a
    // TEST_F; a fixture may choose one.
    virtual EngineKind Engine() const;
    bool OnServer() const { return Engine() == EngineKind::kServer; }
    // Where another company of this case goes: the scratch file name +
    // ".pmco", or a new empty database on the server.
    std::string NewCompany(std::string const& name);
    // A copy under name of the company at location as it is now.
    std::string CopyOfCompany(std::string const& location, std::string const& name);
    // The company at location as another program sees it, to compare before
    // and after: a file's bytes, a database's tables.
    std::string Contents(std::string const& location) const;
    std::string Contents() const { return Contents(m_File); }
    // The rows sql yields on the company, through a connection of its own.
    std::string Query(std::string const& sql) const { return QueryElsewhere(m_File, sql); }

    std::string Scratch(std::string const& name) const { return m_Dir + "/" + name; }
    // A command line on the company file (or on file).
    Result Pmctl(std::string const& line) const { return RunPmctl(line, m_File); }
    void RunAll(std::vector<std::string> const& lines) const { PMTest::RunAll(lines, m_File); }
    std::string Out(std::string const& line) const { return PMTest::Out(line, m_File); }
    Result Pmctl(std::string const& line, std::string const& file,
                 Pmctl::Prompt const& prompt = nullptr) const {
        return RunPmctl(line, file, prompt);
    }
    // The shipped catalogue with another permission data version and, when
    // features is given, only its first features entitlements.
    std::string Catalogue(int version, std::size_t features = 0) const;
    // A read command with --json; a failure unless it exits 0; its output.
    nlohmann::json Json(std::string const& line) const { return Json(line, m_File); }
    nlohmann::json Json(std::string const& line, std::string const& file) const;
    // The role's mask on the entitlement as roles show gives it; -1 (and a
    // failure) when the entitlement is not in the role's tree.
    long RoleMask(std::string const& role, std::string const& entitlement) const;

    // Runs each step's command line in turn; after each, its exit code and
    // what state() then renders of the file (a null state: as after the step
    // before).
    struct Step {
        char const* line;
        int code;
        char const* state;
    };
    void RunSteps(std::vector<Step> const& steps, std::function<std::string()> const& state) const;

    // A command line on the company, its exit code, standard output, and what
    // follows "pmctl: FILE: " on standard error ("" for nothing there).
    struct Row {
        std::string line;
        int code;
        std::string out;
        std::string err;
    };
    void Expect(std::vector<Row> const& rows) const;

    std::string m_Dir;
    // The company's location: a file path, or a URI without a password,
    // which pmctl prints as it is.
    std::string m_File;

private:
    std::vector<std::string> m_Databases; // made for this case, dropped at its end
};

} // namespace PMTest
