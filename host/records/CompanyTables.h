// The rows of the company file's permission tables and users table, read
// whole, so that a host can tell what a change did by comparing them before
// and after it (inside the change's write bracket both are the bracket's
// view of the file).
#pragma once

#include <string>
#include <vector>

namespace Host {

struct RoleRow {
    int id;
    int category;
    int visible;
    std::string name;
    std::string description;
};

struct EntitlementRow {
    int id;
    int parent; // category_type: the entitlement it is below
    long attributes;
    int visible;
    int enabled;
    std::string name;
};

struct MaskRow {
    int role;
    int entitlement;
    long mask;
};

struct AssignmentRow {
    int userKey; // the user's record key, not the user id
    int role;
};

struct UserRow {
    int id;
    int recordKey;
    std::string name;
    bool admin;
};

// Each table's rows in key order: masks by role, then entitlement;
// assignments by record key, then role. A mask of 0 is left out: it grants
// what no row grants.
struct CompanyTables {
    std::vector<RoleRow> roles;
    std::vector<EntitlementRow> entitlements;
    std::vector<MaskRow> masks;
    std::vector<AssignmentRow> assignments;
    std::vector<UserRow> users;
};

// Reads the open company file's tables into *tables. False, with the SQLite
// reason in *error, when no file is open or a read fails (inside a write
// bracket that has failed, every read does).
bool ReadCompanyTables(CompanyTables* tables, std::string* error);

} // namespace Host
