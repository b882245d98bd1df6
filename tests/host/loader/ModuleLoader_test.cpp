// Modules by Windows name over dlopen, and registered in-process modules.
#include <host/loader/ModuleLoaderHooks.h>

#include <Loader/ModuleLoader.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>

namespace {

class ModuleLoaderTest : public ::testing::Test {
protected:
    void TearDown() override {
        Host::SetModuleSearchPath("");
        Host::UnregisterModule("SphereMgmt.DLL");
        EXPECT_EQ(Host::OpenModuleCount(), 0u);
    }
};

// "Name.DLL" in any case of the extension is libName.so in a directory of the
// search path; the name itself keeps its case and may not leave the directory.
TEST_F(ModuleLoaderTest, WindowsNamesMapToSharedObjectsInTheSearchPath) {
    std::string const dir = PM_MODULE_DIR;
    // The search path, the name asked for, whether it is found.
    std::tuple<std::string, char const*, bool> const cases[] = {
        // clang-format off
        {dir, "SphereMgmt.DLL", true}, {dir, "SphereMgmt", true},
        {"/no/such:" + dir, "SphereMgmt.Dll", true}, {dir, "spheremgmt.DLL", false},
        {dir, "SphereMgmt.DLLX", false}, {dir, "../lib/SphereMgmt.DLL", false},
        {"", "SphereMgmt.DLL", false},
        // clang-format on
    };
    for (auto const& [path, name, found] : cases) {
        SCOPED_TRACE(path + " | " + name);
        Host::SetModuleSearchPath(path);
        HMODULE module = LoadLibraryA(name);
        ASSERT_EQ(module != nullptr, found);
        if (module != nullptr) {
            EXPECT_NE(GetProcAddress(module, "GetMaxEntitlementsToTrack"), nullptr);
            EXPECT_EQ(FreeLibrary(module), 1);
        }
    }
}

// A registered module is found first, in any case, and keeps its exports
// until it is freed, even once unregistered.
TEST_F(ModuleLoaderTest, RegisteredModulesComeFirstAndKeepTheirExportsWhileLoaded) {
    Host::SetModuleSearchPath(PM_MODULE_DIR);
    std::uint32_t (*fortyTwo)() = [] { return 42u; };
    Host::RegisterModule("sphereMGMT.dll", {{"GetMaxEntitlementsToTrack", (void*)fortyTwo}});
    HMODULE module = LoadLibraryA("SphereMgmt.DLL");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(GetProcAddress(module, "UpdateUMFacts"), nullptr); // not the file's
    EXPECT_TRUE(Host::UnregisterModule("SphereMgmt.DLL"));
    auto max = reinterpret_cast<std::uint32_t (*)()>(
        reinterpret_cast<void (*)()>(GetProcAddress(module, "GetMaxEntitlementsToTrack")));
    EXPECT_EQ(max(), 42u);
    EXPECT_EQ(FreeLibrary(module), 1);
    EXPECT_EQ(FreeLibrary(module), 0); // released already
}

} // namespace
