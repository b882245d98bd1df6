// The entitlement tree as one role sees it, and merged sections under headings.
#include "support/CompanyFixture.h"
#include "support/VerifyProbe.h"

#include <PM/Constants.h>

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace {

using PM::EntitlementDef;

// Hidden is invisible with a visible child, Empty holds only an invisible row,
// Orphan hangs under an ordinary id. Ids are dense per band, as the scan needs.
char const kTree[] = R"({"format": 1, "features": [
 {"id": "0", "name": "V", "enabled": false, "parameters": ["-1", "0", "1", "7"]},
 {"id": "1", "name": "Invoices", "parameters": ["100001", "637"]},
 {"id": "2", "name": "Estimates", "parameters": ["100001", "637"]},
 {"id": "3", "name": "Bills", "parameters": ["100002", "637"]},
 {"id": "4", "name": "Orphan", "parameters": ["2", "637"]},
 {"id": "5", "name": "Secret", "parameters": ["100003", "637"]},
 {"id": "6", "name": "Archived", "parameters": ["100004", "636"]},
 {"id": "100000", "name": "All", "parameters": ["-1", "1"]},
 {"id": "100001", "name": "Sales", "enabled": false, "parameters": ["100000", "125"]},
 {"id": "100002", "name": "Vendors", "parameters": ["100000", "125"]},
 {"id": "100003", "name": "Hidden", "parameters": ["100000", "124"]},
 {"id": "100004", "name": "Empty", "parameters": ["100000", "125"]}],
 "roles": [{"id": "BASE_ROLE", "name": "Base", "grants": [{"actions": [], "features": "*"}]},
  {"id": "ADMIN", "name": "Admin", "grants": [{"actions": [0, 1, 2, 3, 4, 8], "features": "*"}]},
  {"id": "CLERK", "name": "Clerk", "grants": [{"actions": [0], "features": ["1"]},
   {"actions": [0, 3], "features": ["3"]}]}],
 "flavors": [{"id": "T", "defaultRoles": ["ADMIN", "CLERK"]}], "currentFlavor": "T"})";

// Rows as "name:mask" ("!" when disabled); headings as
// "[label@category action,attrs,<enabled><visible><mixed>]".
std::string Render(std::vector<EntitlementDef>* list) {
    std::unique_ptr<std::vector<EntitlementDef>> owned(list);
    if (owned == nullptr) {
        return "null";
    }
    std::string out;
    for (EntitlementDef const& row : *owned) {
        out += std::string(out.empty() ? "" : "|") + (row.GetId() == -1 ? "[" : "") +
               row.GetName().c_str();
        if (row.GetId() == -1) {
            out += "@" + std::to_string(row.GetCategory()) + " " + std::to_string(row.GetAction()) +
                   "," + std::to_string(row.GetAttrs()) + "," + std::to_string(row.IsEnabled()) +
                   std::to_string(row.IsVisible()) + std::to_string(row.IsMixed()) + "]";
        } else {
            out += ":" + std::to_string(row.GetAction()) + (row.IsEnabled() ? "" : "!") +
                   (row.IsMixed() ? "?" : "");
        }
    }
    return out;
}

class ListingsTest : public PMTest::CompanyFixture {
protected:
    void SetUp() override { SetUpCompanyFromText(kTree); }
    std::string Merge(int roleId, std::vector<int> categories, std::vector<TString> labels) {
        return Render(Manager().MergeEntitlements(roleId, &categories, &labels));
    }
};

TEST_F(ListingsTest, TheTreeHasChildrenBehindParentsAndTheRolesMasks) {
    char const cached[] = "Empty:0|Sales:0!|Estimates:0|Invoices:0|Vendors:0|Bills:0";
    std::pair<int, char const*> const cases[] = {
        {-1, cached},
        {-7, cached},
        {99, "null"},
        {1, "Empty:0|Sales:0!|Estimates:0|Invoices:1|Vendors:0|Bills:3"}};
    for (auto const& [roleId, listing] : cases) {
        EXPECT_EQ(listing, Render(Manager().GetSortedEntitlements(roleId))) << roleId;
    }
}

TEST_F(ListingsTest, MergedSectionsInTheCallersOrder) {
    // Empty has no visible rows: its heading stands right before the next.
    EXPECT_EQ("[Sales@100001 0,0,010]|Estimates:0|Invoices:1|[None@100004 0,0,010]|"
              "[Vendors@100002 0,0,010]|Bills:3",
              Merge(1, {100001, 100004, 100002}, {"Sales", "None", "Vendors"}));
    EXPECT_EQ("[A@2 0,0,010]|Orphan:63|[B@100002 0,0,010]|Bills:63|[C@100002 0,0,010]|Bills:63",
              Merge(0, {2, 100002, 100002}, {"A", "B", "C"}));
    PMTest::VerifyProbe probe;
    EXPECT_EQ("null", Merge(0, {1, 2, 3}, {"A", "B"}));
    EXPECT_EQ("null", Merge(0, {}, {}));
    EXPECT_EQ("null", Merge(99, {2}, {"A"}));
    std::vector<int> categories = {100001};
    std::vector<TString> labels = {"Sales"};
    EXPECT_EQ(nullptr, Manager().MergeEntitlements(0, nullptr, &labels));
    EXPECT_EQ(nullptr, Manager().MergeEntitlements(0, &categories, nullptr));
    EXPECT_EQ((std::vector<std::string>{"categoryList != NULL", "labelList != NULL"}),
              probe.Expressions());
}

TEST_F(ListingsTest, AnAddedDynamicEntitlementStandsAfterItsLoadedSiblingsUntilInit) {
    EntitlementDef added;
    added.SetId(300000);
    added.SetCategory(100002);
    added.SetName("Aardvark");
    added.SetAction(5);
    added.SetAttrs(637);
    ASSERT_EQ(PM_OK, Manager().GetURPStore()->URPSAddEntitlementToDB(added));
    ASSERT_EQ(PM_OK, Access().AddEntitlementCacheEntry(added));
    // No stored mask for the role: the cached action.
    EXPECT_EQ("[V@100002 0,0,010]|Bills:63|Aardvark:5", Merge(0, {100002}, {"V"}));
    ASSERT_EQ(PM_OK, Manager().Init());
    EXPECT_EQ("[V@100002 0,0,010]|Aardvark:0|Bills:63", Merge(0, {100002}, {"V"}));
}

// The role view as first written: a fresh copy of the catalogue searched at
// every level. The view the library builds must give the same rows, masks and
// order.
std::vector<EntitlementDef> ViewSearchingEveryLevel(int roleId, int category, bool visibleOnly) {
    PM::PermissionManager& manager = PM::PermissionManager::GetThePermissionManager();
    std::unique_ptr<std::vector<EntitlementDef>> catalogue(manager.GetEntitlements(-1, -1, true));
    std::vector<EntitlementDef> view;
    for (EntitlementDef row : *catalogue) {
        if ((visibleOnly && !row.IsVisible()) || (category >= 0 && row.GetCategory() != category)) {
            continue;
        }
        long action = 0;
        if (roleId >= 0 &&
            manager.GetRoleActionAssociation(roleId, row.GetId(), &action) == PM_OK) {
            row.SetAction(static_cast<int>(action));
        }
        view.push_back(row);
        if (row.GetId() >= PM::kFirstCategoryEntId && category != -1) {
            std::vector<EntitlementDef> below = ViewSearchingEveryLevel(roleId, row.GetId(), true);
            view.insert(view.end(), below.begin(), below.end());
        }
    }
    return view;
}

class RoleViewTest : public PMTest::CompanyFixture {};

// Nested accounts, an invisible (blanked) account with a visible child, and
// the shipped catalogue's own invisible rows, seen by the scratch role and by
// real roles from every kind of category.
TEST_F(RoleViewTest, EachLevelListsWhatASearchOfTheWholeCatalogueWouldFind) {
    for (char const* account : {"Checking", "Savings", "Petty Cash"}) {
        Manager().AddDynamicEntitlement((std::string("Bank Registers:") + account).c_str(),
                                        "Bank Accounts");
    }
    Manager().AddDynamicEntitlement("Bank Registers:Checking:Payroll", "Bank Registers:Checking");
    Manager().AddDynamicEntitlement("Bank Registers:Savings:Reserve", "Bank Registers:Savings");
    ASSERT_EQ(PM_OK, Manager().DeleteDynamicEntitlement("Bank Registers:Savings"));
    ASSERT_EQ(PM_OK, Manager().Init());
    int const checking = EntitlementId("Bank Registers:Checking");
    auto render = [](std::vector<EntitlementDef> const& rows) {
        std::string out;
        for (EntitlementDef const& row : rows) {
            out += std::to_string(row.GetId()) + ":" + std::to_string(row.GetAction()) + " ";
        }
        return out;
    };
    std::unique_ptr<std::vector<EntitlementDef>> scratch(Manager().GetSortedEntitlements(-1));
    EXPECT_EQ(render(ViewSearchingEveryLevel(-1, PM::kEntitlementRootId, true)), render(*scratch));
    EXPECT_GT(scratch->size(), 200u);
    for (int role : {0, RoleId("Sales"), RoleId("View Only")}) {
        for (int category :
             {-1, -7, PM::kEntitlementRootId, PM::BankAccountsEntitlementId, checking, 6, 99999}) {
            for (bool visibleOnly : {false, true}) {
                SCOPED_TRACE(testing::Message() << "role " << role << " category " << category
                                                << " visible only " << visibleOnly);
                std::unique_ptr<std::vector<EntitlementDef>> view(
                    Manager().GetEntitlements(role, category, visibleOnly));
                ASSERT_NE(nullptr, view);
                EXPECT_EQ(render(ViewSearchingEveryLevel(role, category, visibleOnly)),
                          render(*view));
            }
        }
    }
}

} // namespace
