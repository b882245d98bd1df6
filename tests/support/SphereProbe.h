// The sphere module for manager tests. SphereProbe registers an in-process
// "SphereMgmt.DLL" with the chosen exports: it records facts as
// "name=value@index" lines and answers a slot count. RealSphere points the
// loader at the built module, and the module at a connected-role document.
#pragma once

#include <host/loader/ModuleLoaderHooks.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace PMTest {

class SphereProbe {
public:
    enum { kFacts = 1, kLimit = 2 };
    static std::string& Facts() { return s_Facts; }

    SphereProbe(int exports, std::uint32_t limit) {
        Facts().clear();
        s_Limit = limit;
        Host::ModuleExports table;
        if (exports & kFacts) {
            table["UpdateUMFacts"] = reinterpret_cast<void*>(&RecordFact);
        }
        if (exports & kLimit) {
            table["GetMaxEntitlementsToTrack"] = reinterpret_cast<void*>(&AnswerLimit);
        }
        Host::RegisterModule("SphereMgmt.DLL", table);
    }
    ~SphereProbe() {
        Host::UnregisterModule("SphereMgmt.DLL");
        EXPECT_EQ(0u, Host::OpenModuleCount()); // held for one operation only
    }

private:
    static inline std::string s_Facts;
    static inline std::uint32_t s_Limit = 0;
    static int RecordFact(char const* name, char const* value, int index) {
        Facts() += std::string(name) + "=" + value + "@" + std::to_string(index) + "\n";
        return 0;
    }
    static std::uint32_t AnswerLimit() { return s_Limit; }
};

class RealSphere {
public:
    explicit RealSphere(char const* document) {
        Host::SetModuleSearchPath(PM_MODULE_DIR);
        setenv("SPHERE_MGMT_CONNECTED_ROLES", document, 1);
    }
    ~RealSphere() {
        Host::SetModuleSearchPath("");
        unsetenv("SPHERE_MGMT_CONNECTED_ROLES");
    }
};

} // namespace PMTest
