// The host's users. A user has a host user id and, separately, the record key
// under which the company file files the user's role assignments.
#pragma once

namespace UM {

class UserManager {
public:
    virtual ~UserManager();

    // The host's user manager for the open company file. Always answers; the
    // object is the host's, and the library neither deletes it nor keeps the
    // reference: it asks again for every question.
    static UserManager& GetTheUserManager();

    // The record key of a user id; -1 for an unknown user, also when there is
    // nothing to ask (no company file open). A key is never given to two
    // users, and never again once its user is gone, since assignments filed
    // under it would pass to the new holder.
    virtual int GetDBRecKeyForUser(int userId) = 0;
    // The user id of a record key; -1 for an unknown key, as above.
    virtual int GetUserForDBRecKey(int recordKey) = 0;
    // The id of the company file's administrator; -1 when there is none.
    virtual int GetAdminUserId() = 0;
};

} // namespace UM
