// The sphere module for manager tests. SphereProbe registers an in-process
// "SphereMgmt.DLL" with the chosen exports: it serves a strdup'ed document (or
// null), records facts as "name=value@index" lines and answers a slot count,
// counting calls. RealSphere points the loader at the built module and its
// facts file into a scratch directory.
#pragma once

#include <host/loader/ModuleLoaderHooks.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

namespace PMTest {

class SphereProbe {
public:
    enum { kText = 1, kFacts = 2, kLimit = 4, kAll = 7 };
    struct Data {
        char const* document = nullptr; // served when not null
        char* block = nullptr;          // the last block handed out
        int textCalls = 0, limitCalls = 0;
        std::uint32_t limit = 3;
        std::string facts;
    };
    static Data& State() {
        static Data data;
        return data;
    }

    explicit SphereProbe(int exports = kAll) {
        State() = Data();
        void* const all[] = {(void*)&Text, (void*)&Facts, (void*)&Limit};
        char const* const names[] = {"GetConnectedRolesListFromDCE", "UpdateUMFacts",
                                     "GetMaxEntitlementsToTrack"};
        Host::ModuleExports table;
        for (int i = 0; i < 3; ++i) {
            if (exports & (1 << i)) {
                table[names[i]] = all[i];
            }
        }
        Host::RegisterModule("SphereMgmt.DLL", table);
    }
    ~SphereProbe() {
        Host::UnregisterModule("SphereMgmt.DLL");
        EXPECT_EQ(0u, Host::OpenModuleCount()); // held for one operation only
    }

private:
    static char* Text() {
        ++State().textCalls;
        return State().block = State().document ? strdup(State().document) : nullptr;
    }
    static int Facts(char const* name, char const* value, int index) {
        State().facts += std::string(name) + "=" + value + "@" + std::to_string(index) + "\n";
        return 0;
    }
    static std::uint32_t Limit() {
        ++State().limitCalls;
        return State().limit;
    }
};

class RealSphere {
public:
    RealSphere() {
        std::filesystem::create_directories(m_Dir);
        Host::SetModuleSearchPath(PM_MODULE_DIR);
        setenv("SPHERE_MGMT_FACTS_FILE", Facts().c_str(), 1);
    }
    ~RealSphere() {
        Host::SetModuleSearchPath("");
        unsetenv("SPHERE_MGMT_CONNECTED_ROLES");
        unsetenv("SPHERE_MGMT_FACTS_FILE");
        unsetenv("SPHERE_MGMT_MAX_TRACKED");
        std::filesystem::remove_all(m_Dir);
    }
    std::string Facts() const { return (m_Dir / "facts.jsonl").string(); }
    // The facts written so far; the file starts again empty.
    std::string TakeFacts() const {
        std::stringstream text;
        text << std::ifstream(Facts()).rdbuf();
        std::filesystem::remove(Facts());
        return text.str();
    }

private:
    std::filesystem::path const m_Dir =
        std::filesystem::temp_directory_path() / ("sphere_" + std::to_string(getpid()));
};

} // namespace PMTest
