// The server engine's deletes and counts, by selection (Engine.h): one
// prepared statement each.
#include "ServerConnection.h"

#include "../Connection.h"

namespace Host {
namespace detail {

namespace {

// Deletes and counts, by selection (Engine.h); a null text where the record
// classes have no such operation.
struct SelectionStatements {
    ServerStatement remove;
    ServerStatement count;
    bool keyed;
};

SelectionStatements StatementsOf(Selection rows) {
    switch (rows) {
    case Selection::kRole:
        return {{"pm_role_delete", "DELETE FROM roles WHERE role_id = $1"}, {}, true};
    case Selection::kAllRoles:
        return {{"pm_role_delete_all", "DELETE FROM roles"},
                {"pm_role_count", "SELECT count(*) FROM roles"},
                false};
    case Selection::kEntitlement:
        return {{"pm_entitlement_delete", "DELETE FROM entitlements WHERE entitlement_id = $1"},
                {},
                true};
    case Selection::kAllEntitlements:
        return {{"pm_entitlement_delete_all", "DELETE FROM entitlements"},
                {"pm_entitlement_count", "SELECT count(*) FROM entitlements"},
                false};
    case Selection::kAssignmentsOfUser:
        return {{"pm_user_role_delete_user", "DELETE FROM user_roles WHERE user_key = $1"},
                {"pm_user_role_count_user", "SELECT count(*) FROM user_roles WHERE user_key = $1"},
                true};
    case Selection::kAssignmentsOfRole:
        return {{"pm_user_role_delete_role", "DELETE FROM user_roles WHERE role_id = $1"},
                {"pm_user_role_count_role", "SELECT count(*) FROM user_roles WHERE role_id = $1"},
                true};
    case Selection::kAllAssignments:
        return {{"pm_user_role_delete_all", "DELETE FROM user_roles"}, {}, false};
    case Selection::kMasksOfRole:
        return {
            {"pm_role_action_delete_role", "DELETE FROM role_actions WHERE role_id = $1"},
            {"pm_role_action_count_role", "SELECT count(*) FROM role_actions WHERE role_id = $1"},
            true};
    case Selection::kMasksOfEntitlement:
        return {{"pm_role_action_delete_entitlement",
                 "DELETE FROM role_actions WHERE entitlement_id = $1"},
                {},
                true};
    case Selection::kAllMasks:
        return {{"pm_role_action_delete_all", "DELETE FROM role_actions"}, {}, false};
    }
    return {{}, {}, false};
}

Util::Status Changed(pqxx::result const& result) {
    return result.affected_rows() == 0 ? Util::Status::RecordNotFound()
                                       : Util::Status::GetSucceeded();
}

} // namespace

Util::Status ServerConnection::Delete(Selection rows, long key) {
    SelectionStatements statements = StatementsOf(rows);
    int code = Gate(true);
    pqxx::result result;
    if (code == kEngineOk) {
        code = statements.keyed ? Run(statements.remove, &result, key)
                                : Run(statements.remove, &result);
    }
    if (code != kEngineOk) {
        return Util::Status(false, code);
    }
    bool mustExist = rows == Selection::kRole || rows == Selection::kEntitlement;
    return mustExist ? Changed(result) : Util::Status::GetSucceeded();
}

Util::Status ServerConnection::Count(Selection rows, long key, long* count) {
    SelectionStatements statements = StatementsOf(rows);
    if (statements.count.name == nullptr) {
        return Util::Status(false, kEngineNoCompanyOpen);
    }
    int code = Gate(false);
    pqxx::result result;
    if (code == kEngineOk) {
        code =
            statements.keyed ? Run(statements.count, &result, key) : Run(statements.count, &result);
    }
    if (code != kEngineOk) {
        return Util::Status(false, code);
    }
    *count = result[0][0].as<long>();
    return Util::Status::GetSucceeded();
}

} // namespace detail
} // namespace Host
