// The component's entries: one singleton, created and destroyed once, and the
// C entries visible by name in the shared object.
#include "support/CountingStore.h"
#include "support/ManagerFixture.h"
#include "support/VerifyProbe.h"

#include <PM/PermissionManager.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

using PM::PermissionManager;
using PMTest::CountingStore;
using PMTest::ManagerFixture;

class ComponentEntryTest : public ManagerFixture {};

TEST_F(ComponentEntryTest, InitTwiceKeepsTheSameObjectAndItsState) {
    PM_InitComponent();
    PermissionManager* first = &PermissionManager::GetThePermissionManager();
    first->SetEstablishedUser(12);
    PM_InitComponent();
    PM::InitComponent();
    EXPECT_EQ(first, &PermissionManager::GetThePermissionManager());
    EXPECT_EQ(12, PermissionManager::GetThePermissionManager().GetEstablishedUser());
}

TEST_F(ComponentEntryTest, GetTheManagerBeforeInitCreatesTheObjectThatInitKeeps) {
    PMTest::VerifyProbe verify;
    PermissionManager* created = &PermissionManager::GetThePermissionManager();
    created->SetEstablishedUser(3);
    PM_InitComponent();
    EXPECT_EQ(created, &PermissionManager::GetThePermissionManager());
    EXPECT_EQ(3, created->GetEstablishedUser());
    EXPECT_TRUE(verify.Expressions().empty());
}

TEST_F(ComponentEntryTest, UninitDestroysOnceAndASecondCallDoesNothing) {
    int destroyed = 0;
    PM_InitComponent();
    PermissionManager::GetThePermissionManager().SetURPStore(new CountingStore(&destroyed));
    PermissionManager::GetThePermissionManager().SetEstablishedUser(4);

    PM_UninitComponent();
    EXPECT_EQ(1, destroyed);
    PM_UninitComponent();
    PM::UninitComponent();
    EXPECT_EQ(1, destroyed);

    // The next access builds a fresh object, not the destroyed one.
    EXPECT_EQ(-1, PermissionManager::GetThePermissionManager().GetEstablishedUser());
    EXPECT_EQ(nullptr, PermissionManager::GetThePermissionManager().GetURPStore());
}

// The host finds the entries by name in the shared object; internal helpers
// stay hidden.
TEST(ComponentExportTest, EntriesAreExportedByNameAndInternalsAreNot) {
    void* library = dlopen(PM_LIBRARY_PATH, RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr) {
        library = dlopen(PM_LIBRARY_PATH, RTLD_NOW);
    }
    ASSERT_NE(nullptr, library) << dlerror();
    struct Case {
        char const* symbol;
        bool exported;
    } const cases[] = {
        {"PM_InitComponent", true},
        {"PM_UninitComponent", true},
        {"_ZN2PM13InitComponentEv", true},
        {"_ZN2PM15UninitComponentEv", true},
        {"_ZN2PM17PermissionManager23GetThePermissionManagerEv", true},
        {"_ZN2PM17PermissionManager15IsAccessAllowedEil", true},
        {"_ZN2PM25kLogPathPermissionManagerE", false},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.symbol);
        EXPECT_EQ(c.exported, dlsym(library, c.symbol) != nullptr);
    }
    dlclose(library);
}

} // namespace
