// The reference host's control over UM::UserManager::GetTheUserManager: which
// user manager answers the library's questions about users.
#pragma once

#include <UM/UserManager.h>

namespace Host {

// Installs manager (not owned; it must outlive its use) and returns the one it
// replaces. Null restores the default, which knows no user: every translation
// answers -1 and there is no admin user.
UM::UserManager* SetUserManager(UM::UserManager* manager);

} // namespace Host
