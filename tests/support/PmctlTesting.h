// Running pmctl's commands in a test: a scratch directory, a company file made
// once from the shipped catalogue and copied for each test, captured output,
// and the file's bytes for before-and-after comparisons.
#pragma once

#include "CommandLine.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <sstream>
#include <string>

namespace PMTest {

// What one command printed and returned.
struct Result {
    int code;
    std::string out;
    std::string err;
};

Result Capture(std::function<int(Pmctl::Io)> const& command);

// A command on the company file given by its arguments.
using Command = std::function<int(Pmctl::FileArgs const&, Pmctl::Io)>;

std::string ReadBytes(std::string const& path);
// Runs sql on the file through a connection of its own; the first column of
// each row, joined by ",".
std::string Sql(std::string const& path, std::string const& sql);
std::string ShippedCatalogue();

class CommandTest : public ::testing::Test {
protected:
    // A fresh copy of a company file created by `pmctl create` with the
    // shipped catalogue, plus the users carol (Sales) and dave (Purchasing and
    // Payroll Clerk).
    void SetUp() override;
    void TearDown() override;

    std::string Scratch(std::string const& name) const { return m_Dir + "/" + name; }
    // The company file's arguments, with --json when asked for.
    Pmctl::FileArgs File(bool json = false) const { return {m_File, "", json}; }
    // Runs the command on the company file, with --json when asked for.
    Result Run(Command const& command, bool json = false) const;
    // Runs a pmctl command line as a person types it: words split at blanks,
    // "double quotes" keep blanks, F stands for the company file (or file). No
    // terminal: destructive commands need --yes.
    Result Pmctl(std::string const& line) const { return Pmctl(line, m_File); }
    Result Pmctl(std::string const& line, std::string const& file,
                 Pmctl::Prompt const& prompt = nullptr) const;
    // Runs the command with --json; a failure unless it exits 0; its output parsed.
    nlohmann::json Json(Command const& command) const;
    // The role's mask on the entitlement as roles show gives it; -1 (and a
    // failure) when the entitlement is not in the role's tree.
    long RoleMask(char const* role, char const* entitlement) const;

    // Runs each step's command line in turn; after each, its exit code and
    // what state() then renders of the file.
    struct Step {
        char const* line;
        int code;
        char const* state;
    };
    void RunSteps(std::vector<Step> const& steps, std::function<std::string()> const& state) const;

    std::string m_Dir;
    std::string m_File;
};

} // namespace PMTest
