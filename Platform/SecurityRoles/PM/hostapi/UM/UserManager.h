// The host's users. A user has a host user id and, separately, the record key
// under which the company file files the user's role assignments.
#pragma once

namespace UM {

class UserManager {
public:
    virtual ~UserManager();

    // The host's user manager for the open company file.
    static UserManager& GetTheUserManager();

    // The record key of a user id; -1 for an unknown user.
    virtual int GetDBRecKeyForUser(int userId) = 0;
    // The user id of a record key; -1 for an unknown key.
    virtual int GetUserForDBRecKey(int recordKey) = 0;
    // The id of the company file's administrator; -1 when there is none.
    virtual int GetAdminUserId() = 0;
};

} // namespace UM
