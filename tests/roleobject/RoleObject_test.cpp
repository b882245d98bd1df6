// The role record with its entitlement list: copies own their lists, and a
// source without a list gives a copy without one.
#include <PM/RoleObject.h>
#include <support/TextJoin.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using PM::EntitlementObject;
using PM::RoleObject;
using List = std::vector<EntitlementObject>;

// "name/id/visible:" and the ids of the list, or "no list".
std::string Show(RoleObject const& role) {
    std::string out = std::string(role.GetName().c_str()) + "/" + std::to_string(role.GetId()) +
                      "/" + std::to_string(role.IsVisible()) + ":";
    List const* list = role.GetEntitlementObjList();
    return out + (list == nullptr ? "no list" : PMTest::Join(*list, "", [](auto const& entry) {
               return std::to_string(entry.m_Id) + ",";
           }));
}

TEST(RoleObjectTest, CopiesOwnTheirListsAndAListlessSourceGivesNone) {
    RoleObject source;
    source.SetName("Banking");
    source.SetId(7);
    source.SetVisible(false);
    source.GetEntitlementObjList()->push_back(EntitlementObject{"Checks", 11});
    RoleObject copy(source);
    RoleObject assigned;
    assigned.GetEntitlementObjList()->push_back(EntitlementObject{"Payroll", 40});
    assigned = source;
    for (RoleObject* made : {&copy, &assigned}) {
        EXPECT_EQ("Banking/7/0:11,", Show(*made));
        made->GetEntitlementObjList()->push_back(EntitlementObject{"Transfers", 13});
    }
    RoleObject& alias = source;
    source = alias;
    EXPECT_EQ("Banking/7/0:11,", Show(source));

    // The target's old list is let go, not deleted: the test takes it first.
    std::unique_ptr<List> sourceList(source.GetEntitlementObjList());
    source.SetEntitlementObjList(nullptr);
    std::unique_ptr<List> oldList(assigned.GetEntitlementObjList());
    assigned = source;
    EXPECT_EQ("Banking/7/0:no list", Show(assigned));
    EXPECT_EQ("Banking/7/0:no list", Show(RoleObject(source)));
    assigned.init(); // makes a missing list
    EXPECT_EQ("Banking/7/0:", Show(assigned));
}

} // namespace
