// Loading a module of the host by name for the length of one operation.
// On Windows these are the system's own; elsewhere the host provides them.
// A module that cannot be found, or an export it lacks, is answered with null,
// never with a crash: the library then does without the module.
#pragma once

#if defined(_WIN32)
#include <windows.h>
#else
#include <cstdint>

typedef struct HostModule__* HMODULE;
typedef int BOOL;
typedef std::intptr_t (*FARPROC)();

extern "C" {
// A handle to the named module ("SphereMgmt.DLL"), or null when it cannot be
// loaded. Each handle is released by exactly one FreeLibrary.
HMODULE LoadLibraryA(char const* moduleName);
// The named export of a loaded module, or null. The address is valid until
// the handle is released.
FARPROC GetProcAddress(HMODULE module, char const* exportName);
// Releases a handle from LoadLibraryA; non-zero on success, 0 on failure.
// Either way the handle is not to be used afterwards.
BOOL FreeLibrary(HMODULE module);
}
#endif
