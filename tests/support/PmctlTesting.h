// Running pmctl in a test as a person runs it: a scratch directory, a company
// file made once from the shipped catalogue and copied for each test, command
// lines run through the command table with their output captured.
#pragma once

#include "CommandLine.h"
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

std::string ShippedCatalogue();

class CommandTest : public ::testing::Test {
protected:
    // A fresh copy of a company file created by `pmctl create` with the
    // shipped catalogue, plus the users carol (Sales) and dave (Purchasing and
    // Payroll Clerk).
    void SetUp() override;
    void TearDown() override;

    std::string Scratch(std::string const& name) const { return m_Dir + "/" + name; }
    // A command line on the company file (or on file).
    Result Pmctl(std::string const& line) const { return RunPmctl(line, m_File); }
    Result Pmctl(std::string const& line, std::string const& file,
                 Pmctl::Prompt const& prompt = nullptr) const {
        return RunPmctl(line, file, prompt);
    }
    // The shipped catalogue with another permission data version and, when
    // features is given, only its first features entitlements.
    std::string Catalogue(int version, std::size_t features = 0) const;
    // A read command with --json; a failure unless it exits 0; its output.
    nlohmann::json Json(std::string const& line) const;
    // The role's mask on the entitlement as roles show gives it; -1 (and a
    // failure) when the entitlement is not in the role's tree.
    long RoleMask(std::string const& role, std::string const& entitlement) const;

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
