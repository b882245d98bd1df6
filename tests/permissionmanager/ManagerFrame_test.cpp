// The manager object: its initial state, copy, destruction and the context
// list's teardown.
#include "support/CountingStore.h"
#include "support/ManagerFixture.h"
#include "support/PermissionManagerTestAccess.h"

#include <PM/PermissionManager.h>

#include <gtest/gtest.h>

namespace {

using PM::PermissionManager;
using PM::PermissionManagerTestAccess;

TEST(ManagerFrameTest, ConstructionNeedsNothingAndStartsEmpty) {
    PermissionManager manager;
    PermissionManagerTestAccess access(manager);
    EXPECT_EQ(nullptr, manager.GetRoleCache());
    EXPECT_EQ(nullptr, manager.GetEntitlementCache());
    EXPECT_EQ(-1, manager.GetEstablishedUser());
    EXPECT_FALSE(manager.IsInitialized());
    EXPECT_EQ(nullptr, manager.GetURPStore());
    EXPECT_EQ(PM::kDataStorageNone, manager.GetDSAccessType());
    EXPECT_EQ(nullptr, manager.GetContextCache());
    EXPECT_EQ(nullptr, manager.GetCurrentContext());
    EXPECT_TRUE(access.SortedEntitlements().empty());
    EXPECT_FALSE(access.ConnectedEntitlementsEdited());
    EXPECT_STREQ(" This role needs Orvane account.", access.ConnectedRoleSuffix());
}

TEST(ManagerFrameTest, CopySharesPointersAndCopiesValues) {
    int destroyed = 0;
    PermissionManager original;
    PermissionManagerTestAccess originalAccess(original);
    original.SetRoleCache(new std::vector<PM::RoleObject>(2));
    original.SetEntitlementCache(new std::vector<PM::EntitlementObject>(3));
    original.SetURPStore(new PMTest::CountingStore(&destroyed));
    original.SetDSAccessType(PM::kDataStorageRecords);
    original.SetEstablishedUser(5);
    original.SetInitialized(true);
    PM::PermissionContextObject* context = originalAccess.PushContext("Tallyframe", {{1, 63}});
    originalAccess.SortedEntitlements().resize(4);
    originalAccess.ConnectedEntitlementSets().insert(PM::ConnectedEntitlementSet{{"109", "63"}});
    originalAccess.PmCombiRoles().insert(8);
    originalAccess.CustomRoleCombinations().push_back({109, 113});
    originalAccess.ConnectedEntitlementsEdited() = true;

    {
        PermissionManager copy(original);
        PermissionManagerTestAccess copyAccess(copy);
        EXPECT_EQ(original.GetRoleCache(), copy.GetRoleCache());
        EXPECT_EQ(original.GetEntitlementCache(), copy.GetEntitlementCache());
        EXPECT_EQ(original.GetURPStore(), copy.GetURPStore());
        EXPECT_EQ(original.GetContextCache(), copy.GetContextCache());
        EXPECT_EQ(context, copy.GetCurrentContext());
        EXPECT_EQ(5, copy.GetEstablishedUser());
        EXPECT_TRUE(copy.IsInitialized());
        EXPECT_EQ(PM::kDataStorageRecords, copy.GetDSAccessType());
        EXPECT_TRUE(copyAccess.ConnectedEntitlementsEdited());

        // Value members are the copy's own.
        copyAccess.SortedEntitlements().clear();
        copyAccess.ConnectedEntitlementSets().clear();
        copyAccess.PmCombiRoles().clear();
        copyAccess.CustomRoleCombinations().clear();
        copyAccess.DetachSharedPointers();
    }
    EXPECT_EQ(4u, originalAccess.SortedEntitlements().size());
    EXPECT_EQ(1u, originalAccess.ConnectedEntitlementSets().size());
    EXPECT_EQ(std::set<int>{8}, originalAccess.PmCombiRoles());
    EXPECT_EQ((std::vector<std::vector<int>>{{109, 113}}), originalAccess.CustomRoleCombinations());
    EXPECT_EQ(0, destroyed);
}

TEST(ManagerFrameTest, DestructionReleasesTheStoreThroughItsBase) {
    int destroyed = 0;
    {
        PermissionManager manager;
        manager.SetURPStore(new PMTest::CountingStore(&destroyed));
        manager.SetRoleCache(new std::vector<PM::RoleObject>(2));
        manager.SetEntitlementCache(new std::vector<PM::EntitlementObject>(2));
        PermissionManagerTestAccess(manager).PushContext("Tallyframe", {{1, 1}});
    }
    EXPECT_EQ(1, destroyed);
}

TEST(ManagerFrameTest, ClearKeepsTheEmptyListAndDestroyFreesIt) {
    PermissionManager manager;
    PermissionManagerTestAccess access(manager);

    access.ClearContextCache(); // no list: nothing to do
    EXPECT_EQ(nullptr, manager.GetContextCache());

    access.PushContext("Tallyframe", {{1, 63}});
    access.PushContext("com.example.app", {{1, 1}});
    EXPECT_EQ(1, access.GetCurrentActionCache()->at(1));

    access.ClearContextCache();
    ASSERT_NE(nullptr, manager.GetContextCache());
    EXPECT_TRUE(manager.GetContextCache()->empty());
    EXPECT_EQ(nullptr, manager.GetCurrentContext());
    EXPECT_EQ(nullptr, access.GetCurrentActionCache());

    access.PushContext("Tallyframe", {{1, 63}});
    access.DestroyContextCache();
    EXPECT_EQ(nullptr, manager.GetContextCache());
    EXPECT_EQ(nullptr, manager.GetCurrentContext());
}

} // namespace
