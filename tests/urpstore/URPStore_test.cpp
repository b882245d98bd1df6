// The record-backed store's single-record operations: how record statuses map
// to result codes.
#include <support/StoreTesting.h>

#include <string>
#include <tuple>

namespace {

using Host::FaultPlan;

class URPStoreTest : public PMTest::StoreFixture {};

// A failed record operation is PM_ERROR; not-found is PM_OK unless the
// operation gives it a code of its own: 6042 itself never comes back.
TEST_F(URPStoreTest, MapsRecordStatusesToResultCodes) {
    PM::RoleDef role;
    PM::RoleObject roleObject;
    PM::EntitlementObject entitlement;
    const FaultPlan::Fault kFail = FaultPlan::kFail, kNotFound = FaultPlan::kNotFound;
    // The record operation and its fault, the store operation, its result.
    std::tuple<char const*, FaultPlan::Fault, PMTest::StoreCall, int> const cases[] = {
        {"DMUSRRole::Delete", kFail, STORE_CALL(URPSRemoveRoleFromDB(3)), PM_ERROR},
        {"DMUSRRole::Delete", kNotFound, STORE_CALL(URPSRemoveRoleFromDB(3)), PM_ERR_NORECORD},
        {"DMUSRRole::Add", kNotFound, STORE_CALL(URPSAddRoleToDB(role)), PM_OK},
        {"DMUSRRole::Load", kNotFound, STORE_CALL(URPSGetRole(roleObject)), PM_ERR_NORECORD},
        {"DMUSREntitlement::Load", kNotFound, STORE_CALL(URPSGetEntitlement(entitlement)),
         PM_ERR_NOENT},
        {"DMUSRUserRole::Add", kFail, STORE_CALL(URPSAddUserRoleAssociation(1, 2)), PM_ERROR},
    };
    for (auto const& [operation, fault, call, expected] : cases) {
        SCOPED_TRACE(std::string(operation) + (fault == kFail ? " failing" : " not found"));
        Host::ScopedFault planned(operation, 1, fault);
        EXPECT_EQ(call(store), expected);
        EXPECT_TRUE(FaultPlan::Get().Fired());
    }
}

} // namespace
