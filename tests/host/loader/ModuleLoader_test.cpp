// Module loading by Windows name over dlopen, registered in-process modules,
// _itoa, and the built sphere module's exports.
#include <host/loader/ModuleLoaderHooks.h>

#include <Loader/Itoa.h>
#include <Loader/ModuleLoader.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

template <class Fn> Fn Export(HMODULE module, char const* name) {
    return reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

std::uint32_t FortyTwo() {
    return 42;
}

TEST(ItoaTest, WritesEveryRadixIntoTheGivenBuffer) {
    struct Case {
        int value, radix;
        char const* text;
    } const cases[] = {
        // clang-format off
        {0, 10, "0"}, {-56, 10, "-56"}, {INT_MAX, 10, "2147483647"}, {INT_MIN, 10, "-2147483648"},
        {5, 2, "101"}, {-1, 16, "ffffffff"}, {-8, 8, "37777777770"}, {35, 36, "z"}, {7, 1, ""},
        {7, 37, ""},
        // clang-format on
    };
    for (Case const& c : cases) {
        char buffer[40] = "garbage";
        EXPECT_EQ(buffer, _itoa(c.value, buffer, c.radix));
        EXPECT_STREQ(c.text, buffer) << c.value << " radix " << c.radix;
    }
}

class ModuleLoaderTest : public ::testing::Test {
protected:
    void SetUp() override { fs::create_directories(scratch); }
    void TearDown() override {
        Host::SetModuleSearchPath("");
        Host::UnregisterModule("SphereMgmt.DLL");
        unsetenv("SPHERE_MGMT_CONNECTED_ROLES");
        unsetenv("SPHERE_MGMT_FACTS_FILE");
        fs::remove_all(scratch);
        EXPECT_EQ(0u, Host::OpenModuleCount());
    }
    fs::path const scratch = fs::temp_directory_path() / ("loader_" + std::to_string(getpid()));
};

TEST_F(ModuleLoaderTest, WindowsNamesMapToSharedObjectsInTheSearchPath) {
    fs::copy_file(fs::path(PM_MODULE_DIR) / "libSphereMgmt.so", scratch / "SphereMgmt.so");
    std::string const dir = PM_MODULE_DIR, plain = scratch.string();
    struct Case {
        std::string path;
        char const* name;
        bool found;
    } const cases[] = {
        // clang-format off
        {dir, "SphereMgmt.DLL", true}, {dir, "SphereMgmt.dll", true}, {dir, "SphereMgmt", true},
        {"/no/such::" + dir + "/", "SphereMgmt.Dll", true}, {plain, "SphereMgmt.DLL", true},
        {dir, "spheremgmt.DLL", false}, {dir, "SphereMgmt.DLLX", false}, {dir, "Missing.DLL", false},
        {dir, "../lib/SphereMgmt.DLL", false}, {dir, "..\\SphereMgmt.DLL", false},
        {"", "SphereMgmt.DLL", false}, {dir, "", false},
        // clang-format on
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.path + " | " + c.name);
        Host::SetModuleSearchPath(c.path);
        HMODULE module = LoadLibraryA(c.name);
        ASSERT_EQ(c.found, module != nullptr);
        if (module != nullptr) {
            EXPECT_NE(nullptr, GetProcAddress(module, "GetMaxEntitlementsToTrack"));
            EXPECT_EQ(nullptr, GetProcAddress(module, "getmaxentitlementstotrack"));
            EXPECT_EQ(1, FreeLibrary(module));
        }
    }
    EXPECT_EQ(nullptr, LoadLibraryA(nullptr));
}

TEST_F(ModuleLoaderTest, RegisteredModulesComeFirstAndKeepTheirExportsWhileLoaded) {
    Host::SetModuleSearchPath(PM_MODULE_DIR);
    Host::RegisterModule("sphereMGMT.dll", {{"GetMaxEntitlementsToTrack", (void*)&FortyTwo}});
    HMODULE first = LoadLibraryA("SphereMgmt.DLL"), second = LoadLibraryA("SPHEREMGMT.DLL");
    ASSERT_TRUE(first != nullptr && second != nullptr && first != second);
    EXPECT_EQ(2u, Host::OpenModuleCount());
    EXPECT_EQ(nullptr, GetProcAddress(first, "UpdateUMFacts")); // not the file's
    EXPECT_TRUE(Host::UnregisterModule("SphereMgmt.DLL"));
    EXPECT_FALSE(Host::UnregisterModule("SphereMgmt.DLL"));
    EXPECT_EQ(42u, Export<std::uint32_t (*)()>(first, "GetMaxEntitlementsToTrack")());
    EXPECT_EQ(1, FreeLibrary(first));
    EXPECT_EQ(0, FreeLibrary(first)); // released already
    EXPECT_EQ(nullptr, GetProcAddress(first, "GetMaxEntitlementsToTrack"));
    EXPECT_EQ(1, FreeLibrary(second));
    EXPECT_EQ(0, FreeLibrary(nullptr));
}

TEST_F(ModuleLoaderTest, SphereModuleReadsItsSettingsAtEachCall) {
    Host::SetModuleSearchPath(PM_MODULE_DIR);
    HMODULE module = LoadLibraryA("SphereMgmt.DLL");
    ASSERT_NE(nullptr, module);
    auto text = Export<char* (*)()>(module, "GetConnectedRolesListFromDCE");
    auto update = Export<int (*)(char const*, char const*, int)>(module, "UpdateUMFacts");
    auto max = Export<std::uint32_t (*)()>(module, "GetMaxEntitlementsToTrack");
    EXPECT_EQ(nullptr, text());         // unset
    EXPECT_EQ(-1, update("N", "V", 0)); // no facts file named
    for (fs::path const& unreadable : {scratch / "absent.json", scratch}) {
        setenv("SPHERE_MGMT_CONNECTED_ROLES", unreadable.c_str(), 1);
        EXPECT_EQ(nullptr, text()) << unreadable;
    }
    // The slot count is never 0: the library pads up to one below it, unsigned.
    std::pair<char const*, std::uint32_t> const counts[] = {
        {"7", 7}, {"0", 3}, {"-2", 3}, {"5x", 3}, {"4294967295", 4294967295u}, {"4294967296", 3}};
    for (auto const& [setting, count] : counts) {
        setenv("SPHERE_MGMT_MAX_TRACKED", setting, 1);
        EXPECT_EQ(count, max()) << setting;
    }
    unsetenv("SPHERE_MGMT_MAX_TRACKED");
    EXPECT_EQ(3u, max());
    EXPECT_EQ(1, FreeLibrary(module));
}

} // namespace
