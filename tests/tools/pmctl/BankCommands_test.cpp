// pmctl bank: accounts one at a time and in bulk, and their rights.
#include "PmctlTesting.h"

#include <nlohmann/json.hpp>

#include <fstream>

namespace {

using PmctlTesting::Capture;

class BankCommandsTest : public PmctlTesting::CommandTest {
protected:
    // "id path" of each live account, joined by "; ".
    std::string Accounts() {
        PmctlTesting::Result list =
            Capture([&](Pmctl::Io io) { return Pmctl::BankListCommand(File(true), io); });
        EXPECT_EQ(0, list.code) << list.err;
        std::string text;
        for (nlohmann::json const& account : nlohmann::json::parse(list.out)) {
            text += (text.empty() ? "" : "; ") + std::to_string(account["id"].get<int>()) + " " +
                    account["path"].get<std::string>();
        }
        return text;
    }
    bool Allowed(char const* user, std::string const& account, char const* action) {
        return Capture([&](Pmctl::Io io) {
                   return Pmctl::CheckCommand(File(), user, "Bank Registers:" + account, action, "",
                                              io);
               }).code == 0;
    }
};

TEST_F(BankCommandsTest, AccountsAreAddedRenamedMovedAndRemovedWithTheirParentsRights) {
    using namespace Pmctl;
    struct Step {
        char const* what;
        std::function<int(FileArgs const&, Io)> run;
        int code;
        char const* accounts;
    } const steps[] = {
        {"add", [](auto& f, Io io) { return BankAddCommand(f, "Checking", io); }, 0,
         "300000 Checking"},
        {"add a sub-account",
         [](auto& f, Io io) { return BankAddCommand(f, "Checking:Payroll", io); }, 0,
         "300000 Checking; 300001 Checking:Payroll"},
        {"add another", [](auto& f, Io io) { return BankAddCommand(f, "Savings", io); }, 0,
         "300000 Checking; 300001 Checking:Payroll; 300002 Savings"},
        {"rename a sub-account",
         [](auto& f, Io io) {
             return BankRenameCommand(f, "Checking:Payroll", "Checking:Wages", io);
         },
         0, "300000 Checking; 300001 Checking:Wages; 300002 Savings"},
        {"move it",
         [](auto& f, Io io) { return BankRenameCommand(f, "Checking:Wages", "Savings:Wages", io); },
         0, "300000 Checking; 300002 Savings; 300001 Savings:Wages"},
        {"a top-level account stays where it is",
         [](auto& f, Io io) { return BankRenameCommand(f, "Checking", "Current", io); }, 2,
         "300000 Checking; 300002 Savings; 300001 Savings:Wages"},
        {"a parent with a sub-account stays",
         [](auto& f, Io io) { return BankRemoveCommand(f, "Savings", io); }, 2,
         "300000 Checking; 300002 Savings; 300001 Savings:Wages"},
        {"remove", [](auto& f, Io io) { return BankRemoveCommand(f, "Savings:Wages", io); }, 0,
         "300000 Checking; 300002 Savings"},
        {"ids are not used again", [](auto& f, Io io) { return BankAddCommand(f, "Wages", io); }, 0,
         "300000 Checking; 300002 Savings; 300003 Wages"},
    };
    for (Step const& step : steps) {
        SCOPED_TRACE(step.what);
        PmctlTesting::Result result = Capture([&](Io io) { return step.run(File(), io); });
        EXPECT_EQ(step.code, result.code) << result.err;
        EXPECT_EQ(step.accounts, Accounts());
    }
    // admin (Admin) holds everything on Bank Accounts, carol (Sales) nothing.
    EXPECT_TRUE(Allowed("admin", "Savings", "delete"));
    EXPECT_FALSE(Allowed("carol", "Savings", "view"));
}

TEST_F(BankCommandsTest, ImportChecksTheWholeListFirstThenAddsInBulk) {
    std::string list = Scratch("accounts.txt");
    std::ofstream(list)
        << "# accounts\nChecking\n\nChecking:Sweep\n  Petty Cash  \nChecking:Sweep\n";
    std::string before = PmctlTesting::ReadBytes(m_File);
    PmctlTesting::Result twice =
        Capture([&](Pmctl::Io io) { return Pmctl::BankImportCommand(File(), list, false, io); });
    EXPECT_EQ(Pmctl::kExitBadInput, twice.code);
    EXPECT_EQ("pmctl: " + list + ":6: there is a bank account \"Checking:Sweep\" already\n",
              twice.err);
    EXPECT_TRUE(before == PmctlTesting::ReadBytes(m_File));

    std::ofstream(list, std::ios::trunc) << "Checking\nChecking:Sweep\nPetty Cash\n";
    PmctlTesting::Result imported =
        Capture([&](Pmctl::Io io) { return Pmctl::BankImportCommand(File(), list, true, io); });
    ASSERT_EQ(0, imported.code) << imported.err;
    EXPECT_NE(std::string::npos, imported.out.find("] 3/3\nimported 3 bank accounts "
                                                   "(entitlements 300000 to 300002)"));
    EXPECT_EQ("300000 Checking; 300001 Checking:Sweep; 300002 Petty Cash", Accounts());
    EXPECT_TRUE(Allowed("admin", "Checking:Sweep", "modify"));
    EXPECT_FALSE(Allowed("dave", "Petty Cash", "view"));
}

} // namespace
