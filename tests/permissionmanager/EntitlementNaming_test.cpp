// Full and short names of dynamic entitlements, and the differentiators.
#include "support/LogProbe.h"
#include "support/PermissionManagerTestAccess.h"

#include <PM/PermissionManager.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using PM::EntitlementDef;

EntitlementDef Entitlement(int id, int category, char const* name) {
    EntitlementDef def;
    def.SetId(id);
    def.SetCategory(category);
    def.SetName(name);
    return def;
}

char const kCorrupt[] = "Corrupt account permission encountered. Permissions for this file may "
                        "need to be reset. Contact customer support.";

class EntitlementNamingTest : public ::testing::Test {
protected:
    std::string Full(std::vector<EntitlementDef>* list, EntitlementDef const& ent) {
        return manager.GetFullEntName(list, &ent).c_str();
    }
    PM::PermissionManager manager;
    PM::PermissionManagerTestAccess access{manager};
};

TEST_F(EntitlementNamingTest, FullNamesWalkUpToTheBankAccountsEntitlement) {
    // Checking hangs under the bank-accounts entitlement, Petty Cash under
    // Checking; the list may hold parents by full or short name.
    std::vector<EntitlementDef> list = {
        Entitlement(300000, 100012, "Bank Registers:Checking"),
        Entitlement(300001, 300000, "Petty Cash"),
        Entitlement(100012, 100000, "Bank Accounts"),
    };
    EXPECT_EQ("Bank Registers:Checking", Full(&list, Entitlement(300000, 100012, "Checking")));
    EXPECT_EQ("Bank Registers:Checking:Petty Cash", Full(&list, list[1]));
    EXPECT_EQ("Bank Registers:Checking:Petty Cash:Coins",
              Full(&list, Entitlement(300002, 300001, "Coins")));
    EXPECT_EQ("Bank Registers", std::string(access.GetFullParentEntName(&list, &list[0]).c_str()));
    EXPECT_EQ("Bank Registers:Checking",
              std::string(access.GetFullParentEntName(&list, &list[1]).c_str()));
}

TEST_F(EntitlementNamingTest, MissingAncestorsShortenTheNameWithoutAHead) {
    std::vector<EntitlementDef> list = {Entitlement(300000, 777, "Orphaned")};
    EntitlementDef empty = Entitlement(300005, 100012, "");
    EXPECT_EQ("Bank Registers: ", Full(&list, empty));
    EXPECT_EQ(":Lost", Full(&list, Entitlement(300001, 4242, "Lost")));
    EXPECT_EQ(":Lost", Full(nullptr, Entitlement(300001, 4242, "Lost")));
    // Only the immediate parent is found: its path keeps the trailing ':'.
    EXPECT_EQ("Orphaned::Below", Full(&list, Entitlement(300001, 300000, "Below")));
    // A null list still knows the head when the parent is the bank accounts.
    EXPECT_EQ("Bank Registers:Top", Full(nullptr, Entitlement(300001, 100012, "Top")));
}

TEST_F(EntitlementNamingTest, DeepChainsAreReportedFromTheSeventhAncestorOn) {
    struct Case {
        int ancestors;
        std::size_t messages;
    } const cases[] = {{6, 0}, {7, 1}, {8, 2}};
    for (Case const& c : cases) {
        SCOPED_TRACE(c.ancestors);
        std::vector<EntitlementDef> chain;
        int parent = 100012;
        for (int i = 0; i < c.ancestors; ++i) {
            chain.push_back(Entitlement(300000 + i, parent, ("L" + std::to_string(i)).c_str()));
            parent = 300000 + i;
        }
        PMTest::LogProbe log;
        std::string full = Full(&chain, Entitlement(310000, parent, "Leaf"));
        EXPECT_EQ(0u, full.find("Bank Registers:L0:L1:L2:L3:L4:L5"));
        ASSERT_EQ(c.messages, log.Records().size());
        for (Host::LogRecord const& record : log.Records()) {
            EXPECT_EQ(kCorrupt, record.text);
            EXPECT_EQ(6, record.level);
            EXPECT_EQ(5, record.eventType);
            EXPECT_EQ("Platform\\SecurityRoles\\PM\\src\\permissionmanager", record.sourcePath);
        }
    }
}

TEST_F(EntitlementNamingTest, ShortNamesAndDifferentiators) {
    struct Case {
        char const* name;
        char const* shortName;
    } const cases[] = {
        {"Bank Registers:Checking:Petty Cash", "Petty Cash"},
        {"Checking", "Checking"},
        {"", ""},
        {"Bank Registers:", ""},
        {":", ""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_STREQ(c.shortName, access.GetShortEntName(c.name));
    }
    EXPECT_STREQ("Clerk**", manager.GetDifferentiatorAppendwithUserandRoleName(
                                manager.GetDifferentiatorAppendwithUserandRoleName("Clerk")));
    EXPECT_STREQ("*", manager.GetDifferentiatorAppendwithUserandRoleName(""));
    EXPECT_STREQ("Clerk", manager.GetDifferentiatorAppendwithUserandRoleName("Clerk", ""));
    EXPECT_STREQ("#2", manager.GetDifferentiatorAppendwithUserandRoleName("", "#2"));
    EXPECT_STREQ("Clerk#2", manager.GetDifferentiatorAppendwithUserandRoleName("Clerk", "#2"));
}

} // namespace
