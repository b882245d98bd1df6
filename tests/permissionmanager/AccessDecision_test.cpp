// The access decision, read from the current context's table while a user is
// established; everything is allowed while none is. The table's flat index
// stays in step with the map through every change the manager makes.
#include "support/CompanyFixture.h"

#include <PM/Constants.h>

#include <climits>
#include <map>
#include <set>

namespace {

// Per id: IsAccessAllowed for the masks 0, 1, 2, 16, 32 and 64 ("y"/"n"), then
// "F" when IsFullAccess.
std::string Answers(PM::PermissionManager& manager) {
    std::string out;
    for (int id : {10, 11, 12, 13, 14, 99, -1}) {
        out += " " + std::to_string(id) + ":";
        for (long mask : {0, 1, 2, 16, 32, 64}) {
            out += manager.IsAccessAllowed(id, mask) ? "y" : "n";
        }
        out += manager.IsFullAccess(id) ? "F" : "-";
    }
    return out;
}

TEST(AccessDecisionTest, TheCurrentTableAnswersOnlyWhileAUserIsEstablished) {
    std::string const allowed =
        " 10:yyyyyyF 11:yyyyyyF 12:yyyyyyF 13:yyyyyyF 14:yyyyyyF 99:yyyyyyF -1:yyyyyyF";
    PM::PermissionManager manager;
    PM::PermissionManagerTestAccess access(manager);
    EXPECT_EQ(allowed, Answers(manager)); // no user, and no table is needed
    access.PushContext("Tallyframe", {{10, 17}, {11, 64}, {12, 63}, {13, 127}, {14, 0}});
    manager.SetEstablishedUser(-3); // any negative id means no user
    EXPECT_EQ(allowed, Answers(manager));
    manager.SetEstablishedUser(7);
    // Mask 0 asks for any of the six actions, so Custom alone (64) is not
    // enough; full access is 63 exactly, not 127.
    EXPECT_EQ(" 10:yynynn- 11:nnnnny- 12:yyyyynF 13:yyyyyy- 14:nnnnnn- 99:nnnnnn- -1:nnnnnn-",
              Answers(manager));
    access.PushContext("com.example.app", {{10, 1}}); // an application's table answers
    EXPECT_EQ(" 10:yynnnn- 11:nnnnnn- 12:nnnnnn- 13:nnnnnn- 14:nnnnnn- 99:nnnnnn- -1:nnnnnn-",
              Answers(manager));
}

// Whether the current context's index holds its table ("indexed") or the map
// answers ("not indexed"), then "in step" when both decisions agree with the
// map for every id of the table, its neighbours, ids far from any row, and
// every mask bit, 0 and two mixed masks; else the first id and mask that
// differ.
std::string AgainstMap(PM::PermissionManager& manager) {
    PM::PermissionContextObject const* context = manager.GetCurrentContext();
    std::map<int, long> const& table = *context->ActionTable;
    std::string out = context->ActionIndex.Holds(&table) ? "indexed" : "not indexed";
    std::set<int> ids = {0, 99999, 150000, 299999, 400000, INT_MAX};
    for (auto const& row : table) {
        ids.insert({row.first - 1, row.first, row.first + 1});
    }
    for (int id : ids) {
        auto row = table.find(id);
        for (long mask : {0L, 1L, 2L, 4L, 8L, 16L, 32L, 64L, 3L, 127L}) {
            bool expected = row != table.end() && (row->second & (mask == 0 ? 63 : mask)) != 0;
            if (id >= 0 && manager.IsAccessAllowed(id, mask) != expected) {
                return out + " differs at " + std::to_string(id) + "/" + std::to_string(mask);
            }
        }
        if (id >= 0 && manager.IsFullAccess(id) != (row != table.end() && row->second == 63)) {
            return out + " differs at " + std::to_string(id) + " full";
        }
    }
    return out + " in step";
}

class IndexInStepTest : public PMTest::CompanyFixture {};

// Each kind of change the manager makes to a table, in turn on one company,
// each followed by the comparison with the map; a table whose index was never
// built is answered from the map.
TEST_F(IndexInStepTest, EveryChangeOfATableKeepsItsIndexInStep) {
    int const bank = PM::BankAccountsEntitlementId;
    std::vector<int> const roles = {0, 1, 2, 3, 4, 5, 6, 7};
    std::string const a = "Bank Registers:A";
    auto inStep = [&](char const* change, char const* expected = "indexed in step") {
        EXPECT_EQ(expected, AgainstMap(Manager())) << "after " << change;
    };
    int const clerk = AddUser("clerk", {1, 4}); // Bookkeeper and Sales
    ASSERT_EQ(0, Manager().EstablishUser(clerk));
    inStep("a user established (a table installed)");
    // The adds read every role's mask on the parent and the root.
    SetMasks(roles, {bank, PM::kEntitlementRootId}, {63, 63});
    ASSERT_EQ(PM_OK, Manager().AddDynamicEntitlement(a.c_str(), "Bank Accounts"));
    ASSERT_EQ(PM_OK, Manager().AddDynamicEntitlement((a + ":B").c_str(), a.c_str()));
    ASSERT_EQ(PM_OK, Manager().AddDynamicEntitlement((a + ":X").c_str(), a.c_str()));
    inStep("accounts added (rows added)");
    SetMasks(roles, {300002, 300001, 300000}, {63, 5, 63}); // X 63 under A 63; B 5
    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    inStep("another user established (the table replaced)");
    ASSERT_EQ(63, (*Access().GetCurrentActionCache())[300002]);
    ASSERT_EQ(PM_OK, Manager().UpdateDynamicEntitlement((a + ":X").c_str(), (a + ":B:X").c_str()));
    ASSERT_EQ(5, (*Access().GetCurrentActionCache())[300002]);
    inStep("an account moved (a row lowered in place)");
    ASSERT_TRUE(Manager().SetContext("TimeClockBridge").Succeeded());
    inStep("an application's context set (its own table)");
    // The application's role, new to the company, holds no mask on A: the add
    // reports it, and the table gets its row all the same.
    Manager().AddDynamicEntitlement((a + ":C").c_str(), a.c_str());
    ASSERT_EQ(1u, Access().GetCurrentActionCache()->count(300003));
    inStep("an account added under the application");
    ASSERT_TRUE(Manager().RestoreContext().Succeeded());
    inStep("the user's context restored");
    SetMasks({0}, {300000, 1}, {1, 64});
    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    inStep("a role's masks edited, the user established again");
    ASSERT_EQ(PM_OK, Manager().Init());
    ASSERT_EQ(0, Manager().EstablishUser(clerk));
    inStep("the company reloaded (Init), the user established again");
    // Tables the manager did not make: answered from the map. 127 is not full.
    Access().PushContext("com.example.other", {{10, 17}, {11, 127}, {300000, 63}});
    Manager().GetCurrentContext()->ActionIndex.Rebuild(nullptr);
    inStep("a context made elsewhere, its index never built", "not indexed in step");
    std::map<int, long> sparse;
    for (int id = 1; id <= 9; ++id) {
        sparse.emplace(id * 10000, id % 2 == 0 ? 63 : 17);
    }
    Access().PushContext("com.example.app", sparse);
    inStep("a table pushed from outside, its ids too sparse to lay out", "not indexed in step");
}

} // namespace
