// Which user manager the library talks to: the one the host installed, or a
// default that knows no user.
#include <host/users/UserManagerHooks.h>

namespace {

// Answers for a company file without users.
class NoUsers : public UM::UserManager {
public:
    int GetDBRecKeyForUser(int) override { return -1; }
    int GetUserForDBRecKey(int) override { return -1; }
    int GetAdminUserId() override { return -1; }
};

NoUsers gNoUsers;
UM::UserManager* gInstalled = nullptr;

} // namespace

namespace UM {

UserManager::~UserManager() = default;

UserManager& UserManager::GetTheUserManager() {
    return gInstalled != nullptr ? *gInstalled : gNoUsers;
}

} // namespace UM

namespace Host {

UM::UserManager* SetUserManager(UM::UserManager* manager) {
    UM::UserManager* previous = gInstalled;
    gInstalled = manager;
    return previous;
}

} // namespace Host
