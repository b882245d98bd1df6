// Module loading by Windows name over dlopen, registered in-process modules,
// _itoa, and the sphere module's exports as the loader reaches them.
#include <host/loader/ModuleLoaderHooks.h>

#include <Loader/Itoa.h>
#include <Loader/ModuleLoader.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

typedef char* (*GetTextFn)();
typedef int (*UpdateFactsFn)(char const*, char const*, int);
typedef std::uint32_t (*GetCountFn)();

// An export as the function it is; void (*)() passes any function type.
template <class Fn> Fn Export(HMODULE module, char const* name) {
    return reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

std::uint32_t FortyTwo() {
    return 42;
}

class ModuleLoaderTest : public ::testing::Test {
protected:
    void SetUp() override {
        scratch = fs::temp_directory_path() / ("loader_test_" + std::to_string(getpid()));
        fs::remove_all(scratch);
        fs::create_directories(scratch);
    }
    void TearDown() override {
        Host::SetModuleSearchPath("");
        Host::UnregisterModule("SphereMgmt.DLL");
        Host::UnregisterModule("Fake.DLL");
        unsetenv("SPHERE_MGMT_CONNECTED_ROLES");
        unsetenv("SPHERE_MGMT_FACTS_FILE");
        unsetenv("SPHERE_MGMT_MAX_TRACKED");
        fs::remove_all(scratch);
        EXPECT_EQ(0u, Host::OpenModuleCount());
    }
    fs::path scratch;
};

TEST(ItoaTest, WritesEveryRadixIntoTheGivenBuffer) {
    struct Case {
        int value;
        int radix;
        char const* text;
    } const cases[] = {
        {0, 10, "0"},
        {1234, 10, "1234"},
        {-56, 10, "-56"},
        {INT_MAX, 10, "2147483647"},
        {INT_MIN, 10, "-2147483648"},
        {5, 2, "101"},
        {255, 16, "ff"},
        {-1, 16, "ffffffff"},
        {-8, 8, "37777777770"},
        {35, 36, "z"},
        {7, 1, ""},
        {7, 37, ""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(std::to_string(c.value) + " radix " + std::to_string(c.radix));
        char buffer[40];
        std::fill(std::begin(buffer), std::end(buffer), 'x');
        EXPECT_EQ(buffer, _itoa(c.value, buffer, c.radix));
        EXPECT_STREQ(c.text, buffer);
    }
}

TEST_F(ModuleLoaderTest, WindowsNamesMapToSharedObjectsInTheSearchPath) {
    // A second directory holds the module under the plain "<base>.so" form.
    fs::copy_file(fs::path(PM_MODULE_DIR) / "libSphereMgmt.so", scratch / "SphereMgmt.so");
    std::string const dir = PM_MODULE_DIR;
    struct Case {
        std::string path;
        char const* name;
        bool found;
    } const cases[] = {
        {dir, "SphereMgmt.DLL", true},
        {dir, "SphereMgmt.dll", true},
        {dir, "SphereMgmt", true},
        {"/no/such/dir::" + dir + "/", "SphereMgmt.Dll", true},
        {scratch.string(), "SphereMgmt.DLL", true},
        {dir, "spheremgmt.DLL", false}, // the base name is matched as the file system does
        {dir, "SphereMgmt.DLLX", false},
        {dir, "Missing.DLL", false},
        {dir, "../lib/SphereMgmt.DLL", false},
        {dir, "..\\SphereMgmt.DLL", false},
        {"", "SphereMgmt.DLL", false},
        {dir, "", false},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.path + " | " + c.name);
        Host::SetModuleSearchPath(c.path);
        EXPECT_EQ(c.path, Host::GetModuleSearchPath());
        HMODULE module = LoadLibraryA(c.name);
        ASSERT_EQ(c.found, module != nullptr);
        if (module == nullptr) {
            continue;
        }
        EXPECT_EQ(1u, Host::OpenModuleCount());
        for (char const* name :
             {"GetConnectedRolesListFromDCE", "UpdateUMFacts", "GetMaxEntitlementsToTrack"}) {
            EXPECT_NE(nullptr, GetProcAddress(module, name)) << name;
        }
        EXPECT_EQ(nullptr, GetProcAddress(module, "getmaxentitlementstotrack"));
        EXPECT_EQ(nullptr, GetProcAddress(module, "Escaped")); // not exported
        EXPECT_EQ(1, FreeLibrary(module));
    }
    EXPECT_EQ(nullptr, LoadLibraryA(nullptr));
}

TEST_F(ModuleLoaderTest, RegisteredModulesComeFirstAndKeepTheirExportsWhileLoaded) {
    Host::SetModuleSearchPath(PM_MODULE_DIR);
    Host::RegisterModule("sphereMGMT.dll", {{"GetMaxEntitlementsToTrack", (void*)&FortyTwo}});
    HMODULE module = LoadLibraryA("SphereMgmt.DLL");
    ASSERT_NE(nullptr, module);
    EXPECT_EQ(nullptr, GetProcAddress(module, "UpdateUMFacts")); // not the file's
    EXPECT_TRUE(Host::UnregisterModule("SphereMgmt.DLL"));
    EXPECT_FALSE(Host::UnregisterModule("SphereMgmt.DLL"));
    auto max = Export<GetCountFn>(module, "GetMaxEntitlementsToTrack");
    ASSERT_NE(nullptr, max);
    EXPECT_EQ(42u, max());
    EXPECT_EQ(1, FreeLibrary(module));
    // Unregistered, the name reaches the file again.
    module = LoadLibraryA("SphereMgmt.DLL");
    ASSERT_NE(nullptr, module);
    EXPECT_NE(nullptr, GetProcAddress(module, "UpdateUMFacts"));
    EXPECT_EQ(1, FreeLibrary(module));

    Host::SetModuleSearchPath("");
    Host::RegisterModule("Fake.DLL", {});
    HMODULE first = LoadLibraryA("FAKE.DLL");
    HMODULE second = LoadLibraryA("fake.dll");
    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, second);
    EXPECT_NE(first, second);
    EXPECT_EQ(2u, Host::OpenModuleCount());
    EXPECT_EQ(nullptr, GetProcAddress(first, "Anything"));
    EXPECT_EQ(nullptr, GetProcAddress(first, nullptr));
    EXPECT_EQ(1, FreeLibrary(first));
    EXPECT_EQ(0, FreeLibrary(first)); // released already
    EXPECT_EQ(1, FreeLibrary(second));
    EXPECT_EQ(0, FreeLibrary(nullptr));
    EXPECT_EQ(nullptr, GetProcAddress(nullptr, "Anything"));
}

TEST_F(ModuleLoaderTest, SphereModuleServesItsFilesAndTheSlotCount) {
    Host::SetModuleSearchPath(PM_MODULE_DIR);
    HMODULE module = LoadLibraryA("SphereMgmt.DLL");
    ASSERT_NE(nullptr, module);
    auto text = Export<GetTextFn>(module, "GetConnectedRolesListFromDCE");
    auto update = Export<UpdateFactsFn>(module, "UpdateUMFacts");
    auto max = Export<GetCountFn>(module, "GetMaxEntitlementsToTrack");
    ASSERT_TRUE(text != nullptr && update != nullptr && max != nullptr);

    // Unset, empty and unreadable configuration give no text and write nothing.
    EXPECT_EQ(nullptr, text());
    EXPECT_EQ(-1, update("N", "V", 0));
    setenv("SPHERE_MGMT_CONNECTED_ROLES", "", 1);
    EXPECT_EQ(nullptr, text());
    setenv("SPHERE_MGMT_CONNECTED_ROLES", (scratch / "absent.json").c_str(), 1);
    EXPECT_EQ(nullptr, text());
    setenv("SPHERE_MGMT_CONNECTED_ROLES", scratch.c_str(), 1); // a directory
    EXPECT_EQ(nullptr, text());

    // The document is read at each call, whole.
    std::string const document = "{\"a\": {\"b\": \"c\"}}\n";
    std::ofstream(scratch / "roles.json") << document;
    setenv("SPHERE_MGMT_CONNECTED_ROLES", (scratch / "roles.json").c_str(), 1);
    char* block = text();
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(document, block);
    std::free(block);
    std::ofstream(scratch / "roles.json") << "";
    block = text();
    ASSERT_NE(nullptr, block);
    EXPECT_STREQ("", block);
    std::free(block);

    setenv("SPHERE_MGMT_FACTS_FILE", (scratch / "facts.jsonl").c_str(), 1);
    EXPECT_EQ(0, update("UM_NUM_ROLES_PP_COMBI", "2", 0));
    EXPECT_EQ(0, update("say \"hi\"\\", "tab\there\n", -7));
    EXPECT_EQ(-1, update(nullptr, "1", 0));
    std::stringstream facts;
    facts << std::ifstream(scratch / "facts.jsonl").rdbuf();
    EXPECT_EQ(
        "{\"name\":\"UM_NUM_ROLES_PP_COMBI\",\"value\":\"2\",\"index\":0}\n"
        "{\"name\":\"say \\\"hi\\\"\\\\\",\"value\":\"tab\\u0009here\\u000a\",\"index\":-7}\n",
        facts.str());
    setenv("SPHERE_MGMT_FACTS_FILE", (scratch / "no" / "dir.jsonl").c_str(), 1);
    EXPECT_EQ(-1, update("N", "V", 0));

    struct Case {
        char const* setting;
        std::uint32_t count;
    } const cases[] = {{nullptr, 3},
                       {"", 3},
                       {"7", 7},
                       {"1", 1},
                       {"0", 3},
                       {"-2", 3},
                       {"5x", 3},
                       {" 5", 3},
                       {"4294967295", 4294967295u},
                       {"4294967296", 3},
                       {"99999999999999999999", 3}};
    for (Case const& c : cases) {
        SCOPED_TRACE(c.setting == nullptr ? "unset" : c.setting);
        if (c.setting == nullptr) {
            unsetenv("SPHERE_MGMT_MAX_TRACKED");
        } else {
            setenv("SPHERE_MGMT_MAX_TRACKED", c.setting, 1);
        }
        EXPECT_EQ(c.count, max());
    }
    EXPECT_EQ(1, FreeLibrary(module));
}

} // namespace
