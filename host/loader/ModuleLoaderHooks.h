// The reference host's controls over LoadLibraryA: where modules are found on
// disk, and modules registered in-process (for tests and for hosts that link a
// module in).
//
// Name mapping. A module is named as on Windows ("SphereMgmt.DLL"). A trailing
// ".dll", in any case, is dropped, leaving the base name B; a name without it is
// B as it stands. Each directory of the search path is tried in order, first
// for "libB.so", then for "B.so". B itself is matched byte for byte, as the file
// system does. A name holding '/' or '\' is never loaded: modules come from
// the search path only.
//
// Registered modules come first: a name registered here (matched ignoring
// ASCII case, as Windows matches module names) is found without any file.
//
// LoadLibraryA gives a new handle for each successful call; each handle is
// released by one FreeLibrary. A missing module, a missing export or an
// unknown handle is answered with null or 0, never with a crash.
#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace Host {

// Directories searched for modules on disk, separated by ':'; empty pieces are
// skipped. Empty by default: until the host sets a path only registered
// modules are found.
void SetModuleSearchPath(std::string const& directories);
std::string GetModuleSearchPath();

// Export name to address.
typedef std::map<std::string, void*> ModuleExports;

// Registers (or replaces) an in-process module. A handle already loaded keeps
// the exports it was loaded with.
void RegisterModule(std::string const& name, ModuleExports const& exports);
// False when no module of that name was registered.
bool UnregisterModule(std::string const& name);

// Handles given out by LoadLibraryA and not yet released.
std::size_t OpenModuleCount();

} // namespace Host
