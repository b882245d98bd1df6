// Reading the company file's tables whole.
#include "CompanyTables.h"

#include "CachedStatement.h"
#include "CompanyFile.h"
#include "Transactions.h"

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

std::string Text(sqlite3_stmt* statement, int column) {
    char const* text = reinterpret_cast<char const*>(sqlite3_column_text(statement, column));
    return text != nullptr ? text : "";
}

// Runs sql and hands each row to take; false with the reason in *error.
template <class Take> bool EachRow(char const* sql, Take const& take, std::string* error) {
    detail::CachedStatementUse use(sql);
    if (use.get() == nullptr) {
        *error = use.rc() == SQLITE_MISUSE && !IsCompanyFileOpen() ? "no company file is open"
                                                                   : DescribeWriteFailure(use.rc());
        return false;
    }
    int rc = SQLITE_ROW;
    while ((rc = sqlite3_step(use.get())) == SQLITE_ROW) {
        take(use.get());
    }
    if (rc != SQLITE_DONE) {
        *error = DescribeWriteFailure(rc);
        return false;
    }
    return true;
}

} // namespace

bool ReadCompanyTables(CompanyTables* tables, std::string* error) {
    *tables = CompanyTables();
    return EachRow(
               kRoles,
               [&](sqlite3_stmt* s) {
                   tables->roles.push_back({sqlite3_column_int(s, 0), sqlite3_column_int(s, 1),
                                            sqlite3_column_int(s, 2), Text(s, 3), Text(s, 4)});
               },
               error) &&
           EachRow(
               kEntitlements,
               [&](sqlite3_stmt* s) {
                   tables->entitlements.push_back(
                       {sqlite3_column_int(s, 0), sqlite3_column_int(s, 1),
                        static_cast<long>(sqlite3_column_int64(s, 2)), sqlite3_column_int(s, 3),
                        sqlite3_column_int(s, 4), Text(s, 5)});
               },
               error) &&
           EachRow(
               kMasks,
               [&](sqlite3_stmt* s) {
                   tables->masks.push_back({sqlite3_column_int(s, 0), sqlite3_column_int(s, 1),
                                            static_cast<long>(sqlite3_column_int64(s, 2))});
               },
               error) &&
           EachRow(
               kAssignments,
               [&](sqlite3_stmt* s) {
                   tables->assignments.push_back(
                       {sqlite3_column_int(s, 0), sqlite3_column_int(s, 1)});
               },
               error) &&
           EachRow(
               kUsers,
               [&](sqlite3_stmt* s) {
                   tables->users.push_back({sqlite3_column_int(s, 0), sqlite3_column_int(s, 1),
                                            Text(s, 2), sqlite3_column_int(s, 3) == 1});
               },
               error);
}

} // namespace Host
