// The singleton behind the C entries, and what the shared object exports.
#include <PM/PermissionManager.h>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

namespace {

PM::PermissionManager& Manager() {
    return PM::PermissionManager::GetThePermissionManager();
}

TEST(PermissionManagerTest, TheEntriesCreateTheManagerOnceAndDestroyIt) {
    PM_UninitComponent();
    PM::PermissionManager* created = &Manager(); // before InitComponent, which keeps it
    created->SetEstablishedUser(3);
    PM_InitComponent();
    PM::InitComponent();
    EXPECT_EQ(created, &Manager());
    EXPECT_EQ(3, Manager().GetEstablishedUser());
    PM_UninitComponent();
    PM::UninitComponent();                         // a second destroy finds nothing
    EXPECT_EQ(-1, Manager().GetEstablishedUser()); // a fresh manager
    PM_UninitComponent();
}

// The host finds the entries by name in the shared object; internals stay hidden.
TEST(PermissionManagerTest, EntriesAreExportedByNameAndInternalsAreNot) {
    void* library = dlopen(PM_LIBRARY_PATH, RTLD_NOW);
    ASSERT_NE(nullptr, library) << dlerror();
    std::string exported;
    for (char const* symbol :
         {"PM_InitComponent", "PM_UninitComponent", "_ZN2PM13InitComponentEv",
          "_ZN2PM17PermissionManager23GetThePermissionManagerEv",
          "_ZN2PM17PermissionManager15IsAccessAllowedEil", "_ZN2PM25kLogPathPermissionManagerE"}) {
        exported += dlsym(library, symbol) != nullptr ? "y" : "n";
    }
    EXPECT_EQ("yyyyyn", exported);
    dlclose(library);
}

} // namespace
