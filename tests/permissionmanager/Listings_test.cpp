// The entitlement tree as one role sees it, and merged sections under headings.
#include "support/CompanyFixture.h"
#include "support/PermissionManagerTestAccess.h"
#include "support/VerifyProbe.h"

#include <PM/PermissionManager.h>

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

namespace {

using PM::EntitlementDef;
using List = std::unique_ptr<std::vector<EntitlementDef>>;

// A tree small enough to read its listing off: Sales holds a nested category;
// Hidden is invisible with a visible child; Empty holds only an invisible
// row; Orphan hangs under an ordinary id and Loose under no one. Ids are
// dense within their bands, as the store's scan expects.
char const kTree[] = R"({"format": 1, "features": [
  {"id": "0", "name": "PermissionData", "enabled": false, "parameters": ["-1", "0", "1", "10"]},
  {"id": "1", "name": "Invoices", "parameters": ["100001", "637"]},
  {"id": "2", "name": "Estimates", "parameters": ["100001", "637"]},
  {"id": "3", "name": "Bills", "parameters": ["100002", "637"]},
  {"id": "4", "name": "Orphan", "parameters": ["2", "637"]},
  {"id": "5", "name": "Loose", "parameters": ["-1", "637"]},
  {"id": "6", "name": "Pay Bills", "parameters": ["100002", "637"]},
  {"id": "7", "name": "Secret", "parameters": ["100003", "637"]},
  {"id": "8", "name": "Deposit Slips", "enabled": false, "parameters": ["100004", "637"]},
  {"id": "9", "name": "Archived", "parameters": ["100005", "636"]},
  {"id": "100000", "name": "All Areas", "parameters": ["-1", "1"]},
  {"id": "100001", "name": "Sales", "parameters": ["100000", "125"]},
  {"id": "100002", "name": "Vendors", "parameters": ["100000", "125"]},
  {"id": "100003", "name": "Hidden", "parameters": ["100000", "124"]},
  {"id": "100004", "name": "Deposits", "parameters": ["100001", "125"]},
  {"id": "100005", "name": "Empty", "parameters": ["100000", "125"]}],
 "roles": [
  {"id": "BASE_ROLE", "name": "Base", "visible": false, "private": true, "grants": [{"actions": [],
   "features": ["0","1","2","3","4","5","6","7","8","9","100000","100001","100002","100003",
                "100004","100005"]}]},
  {"id": "ADMIN", "name": "Admin", "grants": [{"actions": [0,1,2,3,4,8], "features": "*"}]},
  {"id": "CLERK", "name": "Clerk", "grants": [{"actions": [0], "features": ["1", "8"]},
   {"actions": [0, 3], "features": ["3"]}]}],
 "flavors": [{"id": "Tiny", "defaultRoles": ["ADMIN", "CLERK"]}], "currentFlavor": "Tiny"})";

// Rows as "name:mask" ("!" when disabled); headings as
// "[label@category action,attrs,enabled,visible,mixed]".
std::string Render(std::vector<EntitlementDef> const* list) {
    if (list == nullptr) {
        return "null";
    }
    std::string out;
    for (EntitlementDef const& row : *list) {
        out += out.empty() ? "" : "|";
        if (row.GetId() == -1) {
            out += "[" + std::string(row.GetName()) + "@" + std::to_string(row.GetCategory()) +
                   " " + std::to_string(row.GetAction()) + "," + std::to_string(row.GetAttrs()) +
                   "," + std::to_string(row.IsEnabled()) + "," + std::to_string(row.IsVisible()) +
                   "," + std::to_string(row.IsMixed()) + "]";
        } else {
            out += std::string(row.GetName()) + ":" + std::to_string(row.GetAction()) +
                   (row.IsEnabled() ? "" : "!") + (row.IsMixed() ? "mixed" : "");
        }
    }
    return out;
}

class ListingsTest : public PMTest::CompanyFixture {
protected:
    void SetUp() override { SetUpCompanyFromText(kTree); }
    std::string Merge(int roleId, std::vector<int> categories, std::vector<TString> labels) {
        return Render(List(Manager().MergeEntitlements(roleId, &categories, &labels)).get());
    }
};

TEST_F(ListingsTest, TheTreeHasChildrenBehindParentsAndTheRolesMasks) {
    int clerk = RoleId("Clerk");
    char const cached[] = "Empty:0|Sales:0|Deposits:0|Deposit Slips:0!|Estimates:0|Invoices:0|"
                          "Vendors:0|Bills:0|Pay Bills:0";
    struct Case {
        int roleId;
        char const* listing;
    } const cases[] = {
        {-1, cached}, // every negative id means the catalogue with the cached actions
        {-7, cached},
        {clerk, "Empty:0|Sales:0|Deposits:0|Deposit Slips:1!|Estimates:0|Invoices:1|Vendors:0|"
                "Bills:3|Pay Bills:0"},
        {0, "Empty:63|Sales:63|Deposits:63|Deposit Slips:63!|Estimates:63|Invoices:63|"
            "Vendors:63|Bills:63|Pay Bills:63"},
        {99, "null"}, // an unknown role is no listing, not an empty one
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.roleId);
        EXPECT_EQ(c.listing, Render(List(Manager().GetSortedEntitlements(c.roleId)).get()));
    }
}

TEST_F(ListingsTest, MergedSectionsFollowTheCallersCategories) {
    int clerk = RoleId("Clerk");
    // Empty has no visible rows: its heading stands right before the next.
    EXPECT_EQ("[Sales@100001 0,0,0,1,0]|Deposits:0|Deposit Slips:1!|Estimates:0|Invoices:1|"
              "[Nothing@100005 0,0,0,1,0]|[Vendors@100002 0,0,0,1,0]|Bills:3|Pay Bills:0",
              Merge(clerk, {100001, 100005, 100002}, {"Sales", "Nothing", "Vendors"}));
    // Any id selects the rows naming it, duplicates stay, -1 is flat.
    EXPECT_EQ("[A@2 0,0,0,1,0]|Orphan:0|[B@100004 0,0,0,1,0]|Deposit Slips:0!|"
              "[C@100004 0,0,0,1,0]|Deposit Slips:0!",
              Merge(-1, {2, 100004, 100004}, {"A", "B", "C"}));
    EXPECT_EQ("[All@-1 0,0,0,1,0]|All Areas:0|Bills:0|Deposit Slips:0!|Deposits:0|Empty:0|"
              "Estimates:0|Invoices:0|Loose:0|Orphan:0|Pay Bills:0|Sales:0|Secret:0|Vendors:0",
              Merge(-1, {-1}, {"All"}));
}

TEST_F(ListingsTest, MergeRefusesMismatchedEmptyAndNullLists) {
    PMTest::VerifyProbe probe;
    EXPECT_EQ("null", Merge(0, {100001, 100002, 100005}, {"Sales", "Vendors"}));
    EXPECT_EQ("null", Merge(0, {}, {}));
    EXPECT_EQ("null", Merge(99, {100001}, {"Sales"}));
    EXPECT_TRUE(probe.Expressions().empty());
    std::vector<int> categories = {100001};
    std::vector<TString> labels = {"Sales"};
    EXPECT_EQ(nullptr, Manager().MergeEntitlements(0, nullptr, &labels));
    EXPECT_EQ(nullptr, Manager().MergeEntitlements(0, &categories, nullptr));
    EXPECT_EQ((std::vector<std::string>{"categoryList != NULL", "labelList != NULL"}),
              probe.Expressions());
}

TEST_F(ListingsTest, AnAddedDynamicEntitlementStandsAfterItsLoadedSiblings) {
    EntitlementDef added;
    added.SetId(300000);
    added.SetCategory(100002);
    added.SetName("Aardvark");
    added.SetAction(5);
    added.SetAttrs(637);
    ASSERT_EQ(PM_OK, Manager().GetURPStore()->URPSAddEntitlementToDB(added));
    ASSERT_EQ(PM_OK, PM::PermissionManagerTestAccess(Manager()).AddEntitlementCacheEntry(added));
    // The cached short name; no stored mask for the role, so the cached action.
    EXPECT_EQ("[Vendors@100002 0,0,0,1,0]|Bills:63|Pay Bills:63|Aardvark:5",
              Merge(0, {100002}, {"Vendors"}));
    ASSERT_EQ(PM_OK, Manager().Init()); // a reload sorts it among them
    EXPECT_EQ("[Vendors@100002 0,0,0,1,0]|Aardvark:0|Bills:63|Pay Bills:63",
              Merge(0, {100002}, {"Vendors"}));
}

} // namespace

namespace {

class ShippedListingTest : public PMTest::CompanyFixture {};

TEST_F(ShippedListingTest, EveryVisibleEntitlementOnceAfterItsParent) {
    List list(Manager().GetSortedEntitlements(RoleId("Sales")));
    ASSERT_NE(nullptr, list);
    // 232 rows less the version record, the root and the three invisible ones.
    EXPECT_EQ(227u, list->size());
    std::set<int> seen = {100000};
    for (EntitlementDef const& row : *list) {
        EXPECT_EQ(1u, seen.count(row.GetCategory())) << row.GetName().c_str();
        EXPECT_TRUE(seen.insert(row.GetId()).second) << row.GetName().c_str();
    }
}

} // namespace
