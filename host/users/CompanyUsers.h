// The users of the open company file and the user manager over them. A user
// has a host user id and, as a separate number, the record key under which
// the company file files the user's role assignments: ids count from 101,
// keys from 1, so an id is never a key of the same user.
#pragma once

#include <UM/UserManager.h>

#include <string>
#include <vector>

namespace Host {

struct CompanyUser {
    int userId = -1;
    int recordKey = -1;
    std::string name;
    bool isAdmin = false;
};

// Adds a user to the open company file and returns the new user id, or -1
// with *error saying why (no company file open, empty or taken name).
int AddCompanyUser(std::string const& name, bool isAdmin, std::string* error);
// Removes the user; false when there is no such user. The user's role
// assignments are the permission manager's to purge.
bool RemoveCompanyUser(int userId);
// All users, by user id.
std::vector<CompanyUser> ListCompanyUsers();
// The user id for a name (exact match), or -1.
int FindCompanyUser(std::string const& name);

// An assignment of a user to a role whose user or role is gone: the library
// reads nothing from it, but a new user given the same record key, or a new
// role given the same id, would silently inherit it.
struct OrphanAssignment {
    int recordKey = -1;
    int roleId = -1;
    bool userGone = false;
    bool roleGone = false;
};
// The orphan assignments of the open company file, by record key and role.
std::vector<OrphanAssignment> FindOrphanAssignments();

// UM::UserManager over the users table of whichever company file is open.
class CompanyUserManager : public UM::UserManager {
public:
    int GetDBRecKeyForUser(int userId) override;
    int GetUserForDBRecKey(int recordKey) override;
    // The admin user with the lowest id; -1 when there is none.
    int GetAdminUserId() override;
};

// Makes the company-file user manager the one the library talks to.
void UseCompanyUserManager();

} // namespace Host
