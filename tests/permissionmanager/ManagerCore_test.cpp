// The manager without a company file: the C entries and the singleton, the
// object's own state, copy and context list, the access decision, and the
// names of dynamic entitlements.
#include "support/CountingStore.h"
#include "support/LogProbe.h"
#include "support/ManagerFixture.h"
#include "support/PermissionManagerTestAccess.h"
#include "support/VerifyProbe.h"

#include <PM/PermissionManager.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

using PM::EntitlementDef;
using PM::PermissionManager;
using PM::PermissionManagerTestAccess;

PermissionManager& Manager() {
    return PermissionManager::GetThePermissionManager();
}
char const kNew[] = "0/-1/none0/-/0/-/-"; // a manager as constructed

class ManagerCoreTest : public PMTest::ManagerFixture {};

TEST_F(ManagerCoreTest, TheCEntriesCreateOnceKeepTheObjectAndDestroyOnce) {
    PMTest::VerifyProbe verify;
    PermissionManager* created = &Manager(); // before Init: created, and Init keeps it
    EXPECT_EQ(kNew, PermissionManagerTestAccess(*created).State());
    EXPECT_FALSE(PermissionManagerTestAccess(*created).ConnectedEntitlementsEdited());
    created->SetEstablishedUser(3);
    PM_InitComponent();
    PM_InitComponent();
    PM::InitComponent();
    EXPECT_EQ(created, &Manager());
    EXPECT_EQ(3, Manager().GetEstablishedUser());
    EXPECT_TRUE(verify.Expressions().empty());

    int destroyed = 0; // the store goes with the object, through its base
    Manager().SetURPStore(new PMTest::CountingStore(&destroyed));
    PM_UninitComponent();
    EXPECT_EQ(1, destroyed);
    PM_UninitComponent();
    PM::UninitComponent();
    EXPECT_EQ(1, destroyed);
    EXPECT_EQ(kNew, PermissionManagerTestAccess(Manager()).State()); // a fresh object
}

// The host finds the entries by name in the shared object; internal helpers
// stay hidden.
TEST(ComponentExportTest, EntriesAreExportedByNameAndInternalsAreNot) {
    void* library = dlopen(PM_LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD);
    library = library != nullptr ? library : dlopen(PM_LIBRARY_PATH, RTLD_NOW);
    ASSERT_NE(nullptr, library) << dlerror();
    std::string exported;
    for (char const* symbol :
         {"PM_InitComponent", "PM_UninitComponent", "_ZN2PM13InitComponentEv",
          "_ZN2PM15UninitComponentEv", "_ZN2PM17PermissionManager23GetThePermissionManagerEv",
          "_ZN2PM17PermissionManager15IsAccessAllowedEil", "_ZN2PM25kLogPathPermissionManagerE"}) {
        exported += dlsym(library, symbol) != nullptr ? "y" : "n";
    }
    EXPECT_EQ("yyyyyyn", exported);
    dlclose(library);
}

TEST(ManagerFrameTest, ACopySharesThePointersAndCopiesTheValues) {
    int destroyed = 0;
    PermissionManager original;
    PermissionManagerTestAccess access(original);
    original.SetRoleCache(new std::vector<PM::RoleObject>(2));
    original.SetEntitlementCache(new std::vector<PM::EntitlementObject>(3));
    original.SetURPStore(new PMTest::CountingStore(&destroyed));
    original.SetDSAccessType(PM::kDataStorageRecords);
    original.SetEstablishedUser(5);
    original.SetInitialized(true);
    access.PushContext("Tallyframe", {{1, 63}});
    access.SortedEntitlements().resize(4);
    access.ConnectedEntitlementSets().insert(PM::ConnectedEntitlementSet{{"109", "63"}});
    access.PmCombiRoles().insert(8);
    access.CustomRoleCombinations().push_back({109, 113});
    access.ConnectedEntitlementsEdited() = true;
    auto shared = [](PermissionManager& m) {
        return std::make_tuple(m.GetRoleCache(), m.GetEntitlementCache(), m.GetURPStore(),
                               m.GetContextCache(), m.GetCurrentContext());
    };
    {
        PermissionManager copy(original);
        PermissionManagerTestAccess copyAccess(copy);
        EXPECT_EQ(shared(original), shared(copy));
        EXPECT_EQ("1/5/store1/3/4/2/1+", copyAccess.State());
        EXPECT_TRUE(copyAccess.ConnectedEntitlementsEdited());
        EXPECT_EQ(access.ConnectedEntitlementSets(), copyAccess.ConnectedEntitlementSets());
        EXPECT_EQ(access.PmCombiRoles(), copyAccess.PmCombiRoles());
        EXPECT_EQ(access.CustomRoleCombinations(), copyAccess.CustomRoleCombinations());
        copyAccess.DetachSharedPointers(); // the original deletes what they reach
    }
    EXPECT_EQ(0, destroyed);
}

TEST(ManagerFrameTest, ClearKeepsTheEmptyContextListAndDestroyFreesIt) {
    PermissionManager manager;
    PermissionManagerTestAccess access(manager);
    access.ClearContextCache(); // no list: nothing to do
    EXPECT_EQ(kNew, access.State());
    access.PushContext("Tallyframe", {{1, 63}});
    access.PushContext("com.example.app", {{1, 1}});
    access.ClearContextCache();
    EXPECT_EQ("0/-1/none0/-/0/-/0", access.State());
    EXPECT_EQ(nullptr, access.GetCurrentActionCache());
    access.PushContext("Tallyframe", {{1, 63}});
    access.DestroyContextCache();
    EXPECT_EQ(kNew, access.State());
}

// Per id of the table below: IsAccessAllowed for the masks 0, 1, 2, 3, 16, 32,
// 64 and 127 ("y"/"n"), then "F" when IsFullAccess.
std::string Answers() {
    std::string out;
    for (int id : {10, 11, 12, 13, 14, 99, -1}) {
        out += " ";
        for (long mask : {0, 1, 2, 3, 16, 32, 64, 127}) {
            out += Manager().IsAccessAllowed(id, mask) ? "y" : "n";
        }
        out += Manager().IsFullAccess(id) ? "F" : "-";
    }
    return out;
}

TEST_F(ManagerCoreTest, TheDecisionReadsTheCurrentTableOnlyWhileAUserIsEstablished) {
    std::string const allYes = " yyyyyyyyF yyyyyyyyF yyyyyyyyF yyyyyyyyF yyyyyyyyF yyyyyyyyF "
                               "yyyyyyyyF";
    PermissionManagerTestAccess access(Manager());
    EXPECT_EQ(nullptr, access.GetCurrentActionCache());
    EXPECT_EQ(allYes, Answers()); // no table is needed
    access.PushContext("Tallyframe", {{10, 17}, {11, 64}, {12, 63}, {13, 127}, {14, 0}});
    Manager().SetEstablishedUser(-3); // any negative id means no user
    EXPECT_EQ(allYes, Answers());
    Manager().SetEstablishedUser(7);
    // 0 asks for any of the six actions, other masks for any of their bits;
    // full access is 63 exactly.
    EXPECT_EQ(" yynyynny- nnnnnnyy- yyyyyynyF yyyyyyyy- nnnnnnnn- nnnnnnnn- nnnnnnnn-", Answers());
    // An application's context answers, the user stays.
    access.PushContext("com.example.app", {{10, 1}});
    EXPECT_EQ(" yynynnny- nnnnnnnn- nnnnnnnn- nnnnnnnn- nnnnnnnn- nnnnnnnn- nnnnnnnn-", Answers());
    EXPECT_EQ(7, Manager().GetEstablishedUser());
}

EntitlementDef Entitlement(int id, int category, char const* name) {
    EntitlementDef def;
    def.SetId(id);
    def.SetCategory(category);
    def.SetName(name);
    return def;
}

class EntitlementNamingTest : public ::testing::Test {
protected:
    std::string Full(std::vector<EntitlementDef>* list, EntitlementDef const& ent) {
        return manager.GetFullEntName(list, &ent).c_str();
    }
    std::string Parent(std::vector<EntitlementDef>* list, EntitlementDef const& ent) {
        return access.GetFullParentEntName(list, &ent).c_str();
    }
    PermissionManager manager;
    PermissionManagerTestAccess access{manager};
};

TEST_F(EntitlementNamingTest, FullNamesWalkUpToTheBankAccountsEntitlement) {
    // The list may hold parents by full or short name.
    std::vector<EntitlementDef> list = {
        Entitlement(300000, 100012, "Bank Registers:Checking"),
        Entitlement(300001, 300000, "Petty Cash"),
        Entitlement(100012, 100000, "Bank Accounts"),
    };
    EXPECT_EQ("Bank Registers:Checking", Full(&list, Entitlement(300000, 100012, "Checking")));
    EXPECT_EQ("Bank Registers:Checking:Petty Cash", Full(&list, list[1]));
    EXPECT_EQ("Bank Registers:Checking:Petty Cash:Coins",
              Full(&list, Entitlement(300002, 300001, "Coins")));
    EXPECT_EQ("Bank Registers", Parent(&list, list[0]));
    EXPECT_EQ("Bank Registers:Checking", Parent(&list, list[1]));

    // Missing ancestors shorten the name and lose the head.
    list = {Entitlement(300000, 777, "Orphaned")};
    EXPECT_EQ("Bank Registers: ", Full(&list, Entitlement(300005, 100012, "")));
    EXPECT_EQ(":Lost", Full(&list, Entitlement(300001, 4242, "Lost")));
    EXPECT_EQ(":Lost", Full(nullptr, Entitlement(300001, 4242, "Lost")));
    // Only the immediate parent is found: its path keeps the trailing ':'.
    EXPECT_EQ("Orphaned::Below", Full(&list, Entitlement(300001, 300000, "Below")));
    // A null list still knows the head when the parent is the bank accounts.
    EXPECT_EQ("Bank Registers:Top", Full(nullptr, Entitlement(300001, 100012, "Top")));
}

TEST_F(EntitlementNamingTest, DeepChainsAreReportedFromTheSeventhAncestorOn) {
    std::string const corrupt = "6/5 Corrupt account permission encountered. Permissions for this "
                                "file may need to be reset. Contact customer support.\n";
    for (int ancestors : {6, 7, 8}) {
        SCOPED_TRACE(ancestors);
        std::vector<EntitlementDef> chain;
        int parent = 100012;
        for (int i = 0; i < ancestors; ++i) {
            chain.push_back(Entitlement(300000 + i, parent, ("L" + std::to_string(i)).c_str()));
            parent = 300000 + i;
        }
        PMTest::LogProbe log;
        EXPECT_EQ(0u, Full(&chain, Entitlement(310000, parent, "Leaf"))
                          .find("Bank Registers:L0:L1:L2:L3:L4:L5"));
        std::string expected;
        for (int i = 6; i < ancestors; ++i) {
            expected += corrupt;
        }
        EXPECT_EQ(expected, log.Lines());
        for (Host::LogRecord const& record : log.Records()) {
            EXPECT_EQ("Platform\\SecurityRoles\\PM\\src\\permissionmanager", record.sourcePath);
        }
    }
}

TEST_F(EntitlementNamingTest, ShortNamesAndDifferentiators) {
    char const* const shortNames[][2] = {{"Bank Registers:Checking:Petty Cash", "Petty Cash"},
                                         {"Checking", "Checking"},
                                         {"", ""},
                                         {"Bank Registers:", ""},
                                         {":", ""}};
    for (auto const& c : shortNames) {
        EXPECT_STREQ(c[1], access.GetShortEntName(c[0])) << c[0];
    }
    char const* const differentiators[][3] = {{"Clerk*", nullptr, "Clerk**"},
                                              {"", nullptr, "*"},
                                              {"Clerk", "", "Clerk"},
                                              {"", "#2", "#2"},
                                              {"Clerk", "#2", "Clerk#2"}};
    for (auto const& c : differentiators) {
        EXPECT_STREQ(c[2], c[1] ? manager.GetDifferentiatorAppendwithUserandRoleName(c[0], c[1])
                                : manager.GetDifferentiatorAppendwithUserandRoleName(c[0]))
            << c[0];
    }
}

} // namespace
