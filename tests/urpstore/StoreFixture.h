// What the store tests share: a fresh in-memory company file per test, the
// fault plan disarmed and counted from zero, and a user manager whose record
// keys differ from its user ids.
#pragma once

#include <PM/ResultCodes.h>
#include <PM/URPStore.h>
#include <Records/DMUSRRoleAction.h>
#include <UM/UserManager.h>
#include <host/records/CompanyFile.h>
#include <host/records/FaultPlan.h>
#include <host/users/UserManagerHooks.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <map>
#include <string>
#include <utility>

// One store operation as a table entry: STORE_CALL(URPSRemoveRoleFromDB(3)).
#define STORE_CALL(call) [&](PM::URPStore& s) { return s.call; }

namespace PMTest {

inline long Calls(char const* operation) {
    return Host::FaultPlan::Get().Calls(operation);
}

// Runs sql on the open company file; its rows as "a|b" separated by "; ".
inline std::string Query(std::string const& sql) {
    std::string rows;
    auto row = [](void* out, int columns, char** values, char**) {
        std::string& text = *static_cast<std::string*>(out);
        for (int i = 0; i < columns; ++i) {
            text += (i > 0 ? "|" : text.empty() ? "" : "; ") + std::string(values[i]);
        }
        return 0;
    };
    EXPECT_EQ(sqlite3_exec(Host::CurrentCompanyFileHandle(), sql.c_str(), row, &rows, nullptr),
              SQLITE_OK)
        << sql;
    return rows;
}

// Knows only the record keys it was given; installed for its lifetime.
class KeyedUserManager : public UM::UserManager {
public:
    explicit KeyedUserManager(std::map<int, int> userOfKey)
        : m_UserOfKey(std::move(userOfKey)), m_Previous(Host::SetUserManager(this)) {}
    ~KeyedUserManager() override { Host::SetUserManager(m_Previous); }
    int GetDBRecKeyForUser(int) override { return -1; }
    int GetUserForDBRecKey(int key) override {
        return m_UserOfKey.count(key) != 0 ? m_UserOfKey[key] : -1;
    }
    int GetAdminUserId() override { return -1; }

private:
    std::map<int, int> m_UserOfKey;
    UM::UserManager* m_Previous;
};

class StoreFixture : public ::testing::Test {
protected:
    void SetUp() override { Reopen(); }
    void TearDown() override {
        Host::FaultPlan::Get().Disarm();
        Host::CloseCompanyFile();
    }
    // An empty company file and a clean fault plan; the store stays as it is.
    void Reopen() {
        Host::CloseCompanyFile();
        ASSERT_TRUE(Host::OpenInMemoryCompanyFile().ok);
        Host::FaultPlan::Get().Disarm();
        Host::FaultPlan::Get().ResetCounts();
    }
    void AddRole(int id, char const* name) {
        PM::RoleDef role;
        role.SetId(id);
        role.SetName(name);
        ASSERT_EQ(store.URPSAddRoleToDB(role), PM_OK) << id;
    }
    void AddEntitlement(int id) {
        PM::EntitlementDef entitlement;
        entitlement.SetId(id);
        ASSERT_EQ(store.URPSAddEntitlementToDB(entitlement), PM_OK) << id;
    }
    // Into the table only, past the store and its cache.
    static void AddRawMask(int roleId, int eId, long mask) {
        DMUSRRoleAction record;
        record.SetRoleId(roleId);
        record.SetEntitlementId(eId);
        record.SetActionType(mask);
        ASSERT_TRUE(record.Add(nullptr).Succeeded());
    }
    // The mask in the table, or -1.
    static long StoredMask(int roleId, int eId) {
        DMUSRRoleAction record;
        Util::Status status = record.Load(roleId, eId, nullptr);
        bool found = status.Succeeded() && status.GetStatusCode() != Util::kRecordNotFound;
        return found ? record.GetActionType() : -1;
    }
    // The mask in the cache, or -1.
    long Cached(int roleId, int eId) const {
        long const* mask = store.m_RoleEntitlementActionCache.Find(roleId, eId);
        return mask == nullptr ? -1 : *mask;
    }

    PM::URPStore store;
};

} // namespace PMTest
