// The entitlement tree as one role sees it (RoleView), and merged sections
// under headings (Listings).
#include "support/CompanyFixture.h"

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

// Rows as "name:mask" ("!" when disabled); headings as "[label@category]".
std::string Render(std::vector<EntitlementDef>* list) {
    std::unique_ptr<std::vector<EntitlementDef>> owned(list);
    return owned == nullptr ? "null" : PMTest::Join(*owned, "|", [](EntitlementDef const& row) {
        std::string const name = row.GetName().c_str();
        return row.GetId() == -1
                   ? "[" + name + "@" + std::to_string(row.GetCategory()) + "]"
                   : name + ":" + std::to_string(row.GetAction()) + (row.IsEnabled() ? "" : "!");
    });
}

class ListingsTest : public PMTest::CompanyFixture {
protected:
    void SetUp() override { SetUpCompany(kTree); }
    std::string Merge(int roleId, std::vector<int> categories, std::vector<TString> labels) {
        return Render(Manager().MergeEntitlements(roleId, &categories, &labels));
    }
};

// Below the first level a listing holds visible rows only, each category's
// children right behind it.
TEST_F(ListingsTest, TheTreeListsChildrenBehindParentsWithTheRolesMasks) {
    char const cached[] = "Empty:0|Sales:0!|Estimates:0|Invoices:0|Vendors:0|Bills:0";
    EXPECT_EQ(cached, Render(Manager().GetSortedEntitlements(-1)));
    EXPECT_EQ("null", Render(Manager().GetSortedEntitlements(99)));
    EXPECT_EQ("Empty:0|Sales:0!|Estimates:0|Invoices:1|Vendors:0|Bills:3",
              Render(Manager().GetSortedEntitlements(1)));
    EXPECT_EQ("Empty:0|Hidden:0|Secret:0|Sales:0!|Estimates:0|Invoices:1|Vendors:0|Bills:3",
              Render(Manager().GetEntitlements(1, 100000, false)));
}

TEST_F(ListingsTest, MergedSectionsStandInTheCallersOrderUnderTheirHeadings) {
    // Empty has no visible rows: its heading stands right before the next.
    EXPECT_EQ("[Sales@100001]|Estimates:0|Invoices:1|[None@100004]|[Vendors@100002]|Bills:3",
              Merge(1, {100001, 100004, 100002}, {"Sales", "None", "Vendors"}));
    EXPECT_EQ("[A@2]|Orphan:63|[B@100002]|Bills:63|[C@100002]|Bills:63",
              Merge(0, {2, 100002, 100002}, {"A", "B", "C"}));
    EXPECT_EQ("null", Merge(0, {1, 2, 3}, {"A", "B"}));
    EXPECT_EQ("null", Merge(99, {2}, {"A"}));
}

} // namespace
