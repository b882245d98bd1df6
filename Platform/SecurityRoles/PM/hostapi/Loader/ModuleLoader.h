// Loading a module of the host by name for the length of one operation.
// On Windows these are the system's own; elsewhere the host provides them.
#pragma once

#if defined(_WIN32)
#include <windows.h>
#else
#include <cstdint>

typedef struct HostModule__* HMODULE;
typedef int BOOL;
typedef std::intptr_t (*FARPROC)();

extern "C" {
// A handle to the named module, or null when it cannot be loaded.
HMODULE LoadLibraryA(char const* moduleName);
// The named export of a loaded module, or null.
FARPROC GetProcAddress(HMODULE module, char const* exportName);
// Releases a handle from LoadLibraryA; non-zero on success.
BOOL FreeLibrary(HMODULE module);
}
#endif
