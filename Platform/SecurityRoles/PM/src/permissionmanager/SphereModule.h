// The sibling module as the manager's parts see it: its name, the types of its
// exports, and the one way to turn a found export into a callable function.
// The module is loaded for the length of one operation and never kept.
#pragma once

#include <Loader/ModuleLoader.h>

#include <cstdint>

namespace PM {

char const kSphereModuleName[] = "SphereMgmt.DLL";

// A zero-terminated JSON text in a block that the caller releases with free;
// or null.
typedef char* (*GetConnectedRolesListFromDCEFn)();
// Records one usage fact; the result is not looked at.
typedef int (*UpdateUMFactsFn)(char const* name, char const* value, int index);
// How many custom-role slots the module keeps; at least 1.
typedef std::uint32_t (*GetMaxEntitlementsToTrackFn)();

// The named export of module as a Fn, or null. The detour through void (*)()
// is the conversion that compilers accept between unrelated function types.
template <class Fn> Fn GetSphereExport(HMODULE module, char const* name) {
    return reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

} // namespace PM
