// PM_API marks what the library exports: the manager, the records, the store
// and the C entries. Everything else stays inside the shared object.
#pragma once

#if defined(_WIN32)
#if defined(PM_BUILDING_LIBRARY)
#define PM_API __declspec(dllexport)
#else
#define PM_API __declspec(dllimport)
#endif
#else
#define PM_API __attribute__((visibility("default")))
#endif
