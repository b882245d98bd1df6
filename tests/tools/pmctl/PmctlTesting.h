// Running pmctl's commands in a test: a scratch directory, a company file made
// once from the shipped catalogue and copied for each test, captured output,
// and the file's bytes for before-and-after comparisons.
#pragma once

#include "Commands.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

namespace PmctlTesting {

// What one command printed and returned.
struct Result {
    int code;
    std::string out;
    std::string err;
};

Result Capture(std::function<int(Pmctl::Io)> const& command);

std::string ReadBytes(std::string const& path);
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
    // The role's mask on the entitlement as roles show gives it; -1 (and a
    // failure) when the entitlement is not in the role's tree.
    long RoleMask(char const* role, char const* entitlement);

    std::string m_Dir;
    std::string m_File;
};

} // namespace PmctlTesting
