// What the store tests share: a fresh in-memory company file per case, the
// fault plan disarmed and counted from zero, catalogues in a short notation,
// and the tables rendered as text straight from SQLite.
#pragma once

#include "support/RecordTesting.h"
#include "support/TextJoin.h"

#include <PM/ResultCodes.h>
#include <PM/URPStore.h>
#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

// One store operation as a table entry: STORE_CALL(URPSRemoveRoleFromDB(3)).
#define STORE_CALL(call) [&](PM::URPStore& s) { return s.call; }

namespace PMTest {

using StoreCall = std::function<int(PM::URPStore&)>;

inline long Calls(char const* operation) {
    return Host::FaultPlan::Get().Calls(operation);
}

// "V29/3, 1 Invoices, 2 Bills@61": the features of a catalogue; "V" is feature
// "0" with version 29 and count 3, the rest lie under 100000 with attrs 125
// unless given after "@".
std::string Features(std::string const& notation);
// Every role with its masks on the listed ids: "Admin{1:63,2:63}; Clerk{1:1}".
std::string Masks(std::string const& ids);
// "id|name|category|attrs|visible|enabled" rows, or "null"; deletes the list.
std::string Render(std::vector<PM::EntitlementDef>* list);

class StoreFixture : public ::testing::Test {
protected:
    void SetUp() override { Reopen(); }
    void TearDown() override;
    // An empty company file and a clean fault plan; the store stays as it is.
    void Reopen();
    // Loads a catalogue of features and roles after "BASE_ROLE" (which lists
    // every feature), whose one flavor lists defaults (quoted ids).
    static void LoadInline(std::string const& features, std::string const& roles = "",
                           std::string const& defaults = "");
    void AddRole(int id, char const* name);
    void AddEntitlement(int id);
    // The users 101, 102 and 103 (record keys 1, 2, 3), whom the library's
    // user manager then knows.
    static void AddUsers();
    // Writes since ResetCounts: entitlements "add/update/delete", then masks
    // "add/delete by entitlement".
    static std::string Writes();

    PM::URPStore store;
};

} // namespace PMTest
