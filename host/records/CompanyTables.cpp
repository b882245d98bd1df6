// Reading the company's tables whole, through the open company's engine, so
// that it reads the same on a file and on a server.
#include "CompanyTables.h"

#include "CompanyFile.h"
#include "Engine.h"

#include <cstdlib>

namespace Host {

namespace {

const char kRoles[] =
    "SELECT role_id, category_type, is_visible, name, description FROM roles ORDER BY role_id";
const char kEntitlements[] = "SELECT entitlement_id, category_type, attributes_id, is_visible, "
                             "is_enabled, name FROM entitlements ORDER BY entitlement_id";
// A mask of 0 grants what no row grants: such rows are left out.
const char kMasks[] = "SELECT role_id, entitlement_id, action_type FROM role_actions "
                      "WHERE action_type <> 0 ORDER BY role_id, entitlement_id";
const char kAssignments[] = "SELECT user_key, role_id FROM user_roles ORDER BY user_key, role_id";
const char kUsers[] = "SELECT user_id, record_key, name, is_admin FROM users ORDER BY user_id";

long Number(std::string const& text) {
    return std::strtol(text.c_str(), nullptr, 10);
}

int Int(std::string const& text) {
    return static_cast<int>(Number(text));
}

// Runs sql and hands each row to take; false with the reason in *error.
template <class Take> bool EachRow(char const* sql, Take const& take, std::string* error) {
    detail::Engine* engine = detail::CurrentEngine();
    if (engine == nullptr) {
        *error = "no company file is open";
        return false;
    }
    detail::TextRows rows;
    if (!engine->Execute(sql, &rows, error)) {
        return false;
    }
    for (std::vector<std::string> const& row : rows) {
        take(row);
    }
    return true;
}

using Row = std::vector<std::string>;

} // namespace

bool ReadCompanyTables(CompanyTables* tables, std::string* error) {
    *tables = CompanyTables();
    return EachRow(
               kRoles,
               [&](Row const& r) {
                   tables->roles.push_back({Int(r[0]), Int(r[1]), Int(r[2]), r[3], r[4]});
               },
               error) &&
           EachRow(
               kEntitlements,
               [&](Row const& r) {
                   tables->entitlements.push_back(
                       {Int(r[0]), Int(r[1]), Number(r[2]), Int(r[3]), Int(r[4]), r[5]});
               },
               error) &&
           EachRow(
               kMasks,
               [&](Row const& r) {
                   tables->masks.push_back({Int(r[0]), Int(r[1]), Number(r[2])});
               },
               error) &&
           EachRow(
               kAssignments,
               [&](Row const& r) {
                   tables->assignments.push_back({Int(r[0]), Int(r[1])});
               },
               error) &&
           EachRow(
               kUsers,
               [&](Row const& r) {
                   tables->users.push_back({Int(r[0]), Int(r[1]), r[2], Number(r[3]) == 1});
               },
               error);
}

} // namespace Host
