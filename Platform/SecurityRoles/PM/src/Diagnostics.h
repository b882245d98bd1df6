// How the library raises a failed check and writes a log line through the
// host's Util::Ops. Internal to the library.
#pragma once

#include <Util/Ops.h>

namespace PM {

// Source paths that go with every log line, as the host files them.
extern char const kLogPathPermissionManager[]; // ...\src\permissionmanager
extern char const kLogPathRoleObject[];        // ...\src\roleobject
extern char const kLogPathURPStore[];          // ...\src\urpstore

} // namespace PM

#if defined(__GNUC__)
#define PM_FUNCTION_SIGNATURE __PRETTY_FUNCTION__
#else
#define PM_FUNCTION_SIGNATURE __FUNCSIG__
#endif

// Reports a check that has already failed, with the expression text as the
// system words it. Evaluates to the handler's answer: true means go on as
// though the check had passed, false means leave with the failure result.
#define PM_RAISE(expressionText)                                                                   \
    (::Util::GetOps().Verify(false, expressionText, __FILE__, __LINE__, __func__,                  \
                             PM_FUNCTION_SIGNATURE))

// One log line: PM_LOG(path, level, eventType)(format, args...).
#define PM_LOG(sourcePath, level, eventType)                                                       \
    ::Util::Ops::MessageFunctor(::Util::GetOps(), ::Util::Ops::level, ::Util::Ops::eventType,      \
                                sourcePath, __LINE__, __func__, PM_FUNCTION_SIGNATURE)
