#include <PM/EmailDef.h>
#include <PM/EntitlementDef.h>
#include <PM/RoleDef.h>
#include <PM/RoleEntActionAssocCacheEntry.h>
#include <PM/RoleObject.h>
#include <roleobject/NameOrder.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

using PM::EntitlementObject;
using PM::RoleDef;
using PM::RoleObject;
typedef std::vector<EntitlementObject> List;

namespace {

// name, id, description, category, visible, full access, connected, user role name
typedef std::tuple<std::string, int, std::string, int, bool, bool, bool, std::string> DefFields;
template <class Def> DefFields DefFieldsOf(Def const& d) {
    return DefFields(d.GetName().c_str(), d.GetId(), d.GetDescription().c_str(), d.GetCategory(),
                     d.GetVisible(), d.GetIsFullAccess(), d.GetIsConnectedRole(),
                     d.GetUserRoleNameForConnectedRole().c_str());
}

// name, description, id, category, visible, ids in the list (empty for no list)
typedef std::tuple<std::string, std::string, int, int, bool, std::vector<int>> RoleFields;
RoleFields RoleFieldsOf(RoleObject const& role) {
    std::vector<int> ids;
    if (List const* list = role.GetEntitlementObjList()) {
        for (EntitlementObject const& entry : *list) {
            ids.push_back(entry.m_Id);
        }
    }
    return RoleFields(role.GetName().c_str(), role.GetDescription().c_str(), role.GetId(),
                      role.GetCategory(), role.IsVisible(), ids);
}

const RoleFields kBanking("Banking", "Bank work", 7, 3, false, {11, 12});

RoleObject MakeBanking() {
    RoleObject role;
    role.SetName("Banking");
    role.SetDescription("Bank work");
    role.SetId(7);
    role.SetCategory(3);
    role.SetVisible(false);
    role.GetEntitlementObjList()->push_back(EntitlementObject{"Checks", 11});
    role.GetEntitlementObjList()->push_back(EntitlementObject{"Deposits", 12});
    return role;
}

} // namespace

TEST(RoleDef, DefaultsCopiesAndEmailDef) {
    RoleDef role;
    EXPECT_EQ(DefFieldsOf(role), DefFields("", -1, "", -1, true, false, false, ""));
    EXPECT_TRUE(role.IsRoleVisible());

    role.SetName("Banking");
    role.SetId(7);
    role.SetDescription("Bank work");
    role.SetCategory(3);
    role.SetVisible(false);
    role.SetIsFullAccess(true);
    role.SetIsConnectedRole(true);
    role.SetUserRoleNameForConnectedRole("Teller");
    const DefFields expected("Banking", 7, "Bank work", 3, false, true, true, "Teller");
    RoleDef assigned;
    assigned = role;
    PM::EmailDef email(role);
    PM::EmailDef emailAssigned(RoleDef{});
    emailAssigned = email;
    EXPECT_EQ(DefFieldsOf(RoleDef(role)), expected);
    EXPECT_EQ(DefFieldsOf(assigned), expected);
    EXPECT_EQ(DefFieldsOf(email), expected);
    EXPECT_EQ(DefFieldsOf(PM::EmailDef(email)), expected);
    EXPECT_EQ(DefFieldsOf(emailAssigned), expected);
    EXPECT_FALSE(role.IsRoleVisible());
    EXPECT_FALSE(email.IsRoleVisible());
}

TEST(RoleDef, PredefinedRolesByNameIgnoringCase) {
    // name, isRoleAdmin, isRoleExternalAccountant
    const std::tuple<char const*, bool, bool> rows[] = {
        {"Admin", true, false},
        {"aDMIN", true, false},
        {"Admin ", false, false},
        {"Administrator", false, false},
        {"", false, false},
        {"External Accountant", false, true},
        {"EXTERNAL ACCOUNTANT", false, true},
    };
    for (auto const& [name, admin, externalAccountant] : rows) {
        SCOPED_TRACE(name);
        RoleDef role;
        role.SetName(name);
        role.SetId(0); // the id plays no part
        EXPECT_EQ(role.isRoleAdmin(), admin);
        EXPECT_EQ(role.isRoleExternalAccountant(), externalAccountant);
    }
}

TEST(RoleObject, DefaultAndDeepCopy) {
    RoleObject empty;
    EXPECT_EQ(RoleFieldsOf(empty), RoleFields("", "", -1, -1, true, {}));
    ASSERT_NE(empty.GetEntitlementObjList(), nullptr);
    EXPECT_TRUE(empty.GetEntitlementObjList()->empty());

    RoleObject source = MakeBanking();
    RoleObject copy(source);
    EXPECT_EQ(RoleFieldsOf(copy), kBanking);
    ASSERT_NE(copy.GetEntitlementObjList(), source.GetEntitlementObjList());
    (*copy.GetEntitlementObjList())[0].m_Id = 99;
    copy.GetEntitlementObjList()->push_back(EntitlementObject{"Transfers", 13});
    EXPECT_EQ(RoleFieldsOf(source), kBanking);

    std::unique_ptr<List> taken(source.GetEntitlementObjList());
    source.SetEntitlementObjList(nullptr);
    RoleObject copyOfListless(source);
    EXPECT_EQ(copyOfListless.GetEntitlementObjList(), nullptr);
    EXPECT_EQ(RoleFieldsOf(copyOfListless), RoleFields("Banking", "Bank work", 7, 3, false, {}));
}

TEST(RoleObject, AssignmentAndInit) {
    RoleObject source = MakeBanking();
    RoleObject target;
    target.GetEntitlementObjList()->push_back(EntitlementObject{"Payroll", 40});
    target = source;
    EXPECT_EQ(RoleFieldsOf(target), kBanking);
    ASSERT_NE(target.GetEntitlementObjList(), source.GetEntitlementObjList());
    RoleObject& alias = target;
    target = alias;
    EXPECT_EQ(RoleFieldsOf(target), kBanking);

    // A listless source: the target's old list is let go, not deleted, so the
    // test takes it first.
    std::unique_ptr<List> sourceList(source.GetEntitlementObjList());
    source.SetEntitlementObjList(nullptr);
    std::unique_ptr<List> oldList(target.GetEntitlementObjList());
    target.SetName("Other");
    target = source;
    EXPECT_EQ(target.GetEntitlementObjList(), nullptr);
    EXPECT_EQ(RoleFieldsOf(target), RoleFields("Banking", "Bank work", 7, 3, false, {}));
    EXPECT_EQ(oldList->size(), 2u);

    target.init();
    ASSERT_NE(target.GetEntitlementObjList(), nullptr);
    EXPECT_TRUE(target.GetEntitlementObjList()->empty());
    List* present = target.GetEntitlementObjList();
    present->push_back(EntitlementObject{"Checks", 11});
    target.init();
    EXPECT_EQ(target.GetEntitlementObjList(), present);
    EXPECT_EQ(present->size(), 1u);
}

TEST(RoleObject, RoleDefFactoryAndSetDefaults) {
    RoleObject role = MakeBanking();
    std::unique_ptr<RoleDef> def(role.RoleDefFactory());
    ASSERT_NE(def, nullptr);
    EXPECT_EQ(DefFieldsOf(*def), DefFields("Banking", 7, "Bank work", 3, false, false, false, ""));

    List* list = role.GetEntitlementObjList();
    role.SetDefaults();
    EXPECT_EQ(role.GetEntitlementObjList(), list);
    EXPECT_EQ(RoleFieldsOf(role), RoleFields("", "Bank work", 7, 3, false, {}));
}

TEST(RoleEntActionAssocCacheEntry, Defaults) {
    RoleEntActionAssocCacheEntry entry;
    EXPECT_EQ(entry.GetRoleId(), -1);
    EXPECT_EQ(entry.GetEntId(), -1);
    EXPECT_EQ(entry.GetAction(), 0);
}

namespace {

template <class Record> bool InOrder(char const* a, char const* b) {
    Record first, second;
    first.SetName(a);
    second.SetName(b);
    return PM::IsInNameOrder(first, second);
}

template <> bool InOrder<EntitlementObject>(char const* a, char const* b) {
    return PM::IsInNameOrder(EntitlementObject{a}, EntitlementObject{b});
}

} // namespace

TEST(NameOrder, BeforeExactlyWhenLessIgnoringCase) {
    const std::tuple<char const*, char const*, bool> rows[] = {
        {"a", "B", true}, {"B", "a", false}, {"Admin", "aDMIN", false},
        {"", "a", true},  {"a", "", false},  {"Checks", "checks 2", true}};
    for (auto const& [a, b, before] : rows) {
        SCOPED_TRACE(std::string(a) + " < " + b);
        EXPECT_EQ(InOrder<EntitlementObject>(a, b), before);
        EXPECT_EQ(InOrder<PM::EntitlementDef>(a, b), before);
        EXPECT_EQ(InOrder<RoleObject>(a, b), before);
        EXPECT_EQ(InOrder<RoleDef>(a, b), before);
    }
}
