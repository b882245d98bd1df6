// The value records: entitlement records with their action and attrs
// predicates, role records, their copy rules, and the name order.
#include <PM/EmailDef.h>
#include <PM/EntitlementDef.h>
#include <PM/EntitlementObject.h>
#include <PM/RoleDef.h>
#include <PM/RoleObject.h>
#include <roleobject/NameOrder.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using PM::EntitlementDef;
using PM::EntitlementObject;
using PM::RoleDef;
using PM::RoleObject;
typedef std::vector<EntitlementObject> List;

namespace {

typedef bool (EntitlementDef::*Check)() const;

// name, id, category, action, attrs, enabled, visible, mixed
typedef std::tuple<std::string, int, int, int, long, bool, bool, bool> Fields;
Fields FieldsOf(EntitlementDef const& d) {
    return Fields(d.GetName().c_str(), d.GetId(), d.GetCategory(), d.GetAction(), d.GetAttrs(),
                  d.IsEnabled(), d.IsVisible(), d.IsMixed());
}

TEST(EntitlementDef, DefaultsAndCopyRules) {
    EXPECT_EQ(FieldsOf(EntitlementDef()), Fields("", -1, -1, 0, 0, true, true, false));
    EntitlementObject empty;
    EXPECT_EQ(FieldsOf(EntitlementDef(empty)), Fields("", 0, 0, 0, 0, false, false, false));

    EntitlementObject object{"Banking", 100012, 100000, 17, 508, false, true};
    EntitlementDef def;
    def.SetMixed(true);
    def = object; // assignment keeps mixed
    const Fields stored("Banking", 100012, 100000, 17, 508, false, true, true);
    EXPECT_EQ(FieldsOf(def), stored);
    EntitlementDef assigned;
    assigned = def;
    EXPECT_EQ(FieldsOf(assigned), stored);
    EXPECT_EQ(FieldsOf(EntitlementDef(def)), stored);
    EXPECT_EQ(FieldsOf(EntitlementDef(object)),
              Fields("Banking", 100012, 100000, 17, 508, false, true, false));
}

TEST(EntitlementDef, ActionBitsAndSummaries) {
    typedef EntitlementDef E;
    typedef void (E::*Op)();
    // value, test, set, reset
    const std::tuple<int, Check, Op, Op> bits[] = {
        {1, &E::IsActionView, &E::SetActionView, &E::ResetActionView},
        {2, &E::IsActionCreate, &E::SetActionCreate, &E::ResetActionCreate},
        {4, &E::IsActionModify, &E::SetActionModify, &E::ResetActionModify},
        {8, &E::IsActionDelete, &E::SetActionDelete, &E::ResetActionDelete},
        {16, &E::IsActionPrint, &E::SetActionPrint, &E::ResetActionPrint},
        {32, &E::IsActionViewBal, &E::SetActionViewBal, &E::ResetActionViewBal},
        {64, &E::IsActionCustom, &E::SetActionCustom, &E::ResetActionCustom}};
    for (auto const& [value, is, set, reset] : bits) {
        SCOPED_TRACE(value);
        EntitlementDef def;
        (def.*set)();
        EXPECT_EQ(def.GetAction(), value);
        for (auto const& other : bits) {
            EXPECT_EQ((def.*std::get<1>(other))(), std::get<0>(other) == value);
        }
        def.SetAction(127);
        (def.*reset)();
        EXPECT_EQ(def.GetAction(), 127 - value);
        EXPECT_FALSE((def.*is)());
    }

    // mask, None, Any, Full
    const std::tuple<int, bool, bool, bool> rows[] = {
        {0, true, false, false},   {1, false, true, false},   {62, false, true, false},
        {63, false, true, true},   {64, false, false, false}, {65, false, false, false},
        {127, false, false, true}, {128, false, false, false}};
    for (auto const& [mask, none, any, full] : rows) {
        SCOPED_TRACE(mask);
        EntitlementDef def;
        def.SetAction(mask);
        EXPECT_EQ(def.IsActionNone(), none);
        EXPECT_EQ(def.IsActionAny(), any);
        EXPECT_EQ(def.IsActionFull(), full);
    }

    EntitlementDef def;
    def.SetAction(63);
    def.SetActionCustom();
    def.SetActionFull(); // drops Custom
    EXPECT_EQ(def.GetAction(), 63);
}

TEST(EntitlementDef, EachAttrsTestReadsOneBit) {
    typedef EntitlementDef E;
    const Check tests[] = {&E::IsFullNone,     &E::IsViewOn,  &E::IsCreateOn,  &E::IsModifyOn,
                           &E::IsDeleteOn,     &E::IsPrintOn, &E::IsViewBalOn, &E::IsListOn,
                           &E::IsBatchPrintOn, &E::IsCustomOn};
    EntitlementDef def;
    for (int bit = 0; bit <= 10; ++bit) {
        SCOPED_TRACE(bit);
        def.SetAttrs(1L << bit);
        for (int test = 0; test < 10; ++test) {
            EXPECT_EQ((def.*tests[test])(), test + 1 == bit) << "test " << test;
        }
        def.SetAttrs(2047 & ~(1L << bit));
        for (int test = 0; test < 10; ++test) {
            EXPECT_EQ((def.*tests[test])(), test + 1 != bit) << "test " << test;
        }
    }
}

TEST(EntitlementDef, RelatedFamilyClassifiesAttrs) {
    typedef EntitlementDef E;
    const Check tests[] = {&E::IsFullNoneRelated,
                           &E::IsBatchPrintRelated,
                           &E::IsRegularRelated,
                           &E::IsListRegularRelated,
                           &E::IsListViewBalRelated,
                           &E::IsCustomRelated,
                           &E::IsModifyDeletePrintRelated,
                           &E::IsViewCreateModifyDeleteRelated,
                           &E::IsViewModifyDeletePrintRelated,
                           &E::IsViewModifyPrintRelated,
                           &E::IsViewModifyRelated,
                           &E::IsViewPrintRelated};
    // One column per test above, in order: FullNone BatchPrint Regular ListRegular
    // ListViewBal Custom MDP VCMD VMDP VMP VM VP.
    const std::pair<long, char const*> rows[] = {
        {0, "............"},    {3, "x..........."},    {512, ".x.........."},
        {124, "..x........."},  {252, "............"},  {380, "...x........"},
        {508, "....x......."},  {1276, ".....x......"}, {1532, "....xx......"},
        {1660, ".xx........."}, {112, "......x....."},  {120, "............"},
        {368, "............"},  {60, ".......x...."},   {188, "............"},
        {116, "........x..."},  {244, "............"},  {84, ".........x.."},
        {92, "............"},   {20, "..........x."},   {28, "............"},
        {52, "............"},   {276, "............"},  {68, "...........x"},
        {76, "............"},   {100, "............"},  {196, "............"}};
    for (auto const& [attrs, holds] : rows) {
        SCOPED_TRACE(attrs);
        EntitlementDef def;
        def.SetAttrs(attrs);
        for (int test = 0; test < 12; ++test) {
            EXPECT_EQ((def.*tests[test])(), holds[test] == 'x') << "column " << test;
        }
    }
}

TEST(EntitlementDef, DynamicAndFullAccess) {
    EntitlementDef dynamic;
    dynamic.SetId(299999);
    EXPECT_FALSE(dynamic.IsDynamicEntitlement());
    dynamic.SetId(300000);
    EXPECT_TRUE(dynamic.IsDynamicEntitlement());

    // name, action, IsFullAcessEntitlement, GetIfFullAccess
    const std::tuple<char const*, int, bool, bool> rows[] = {
        {"Find All Transactions", 1, true, true},      {"Accountant & Taxes Detail", 1, true, true},
        {"Company & Financial Detail", 1, true, true}, {"Custom Transaction Detail", 1, true, true},
        {"Accountant & Taxes", 1, true, true},         {"Company & Financial", 1, true, true},
        {"Custom Transaction", 0, true, false},        {"Custom Transaction", 64, true, true},
        {"Custom Transaction", -1, true, false},       {"custom transaction", 1, true, true},
        {"Custom Transactions", 63, false, false},     {"", 63, false, false}};
    for (auto const& [name, action, listed, full] : rows) {
        SCOPED_TRACE(std::string(name) + " / " + std::to_string(action));
        EntitlementDef def;
        def.SetName(name);
        def.SetAction(action);
        EXPECT_EQ(def.IsFullAcessEntitlement(), listed);
        EXPECT_EQ(def.GetIfFullAccess(), full);
    }
}

TEST(EntitlementDef, DifferentiatorEndsInTwoStars) {
    const char* const rows[][2] = {{"", "**"},     {"*", "***"}, {"ab", "ab**"},  {"a*", "a***"},
                                   {"a**", "a**"}, {"**", "**"}, {"*a*", "*a***"}};
    EntitlementDef unrelated; // the record's own name plays no part
    unrelated.SetName("x**");
    for (auto const& row : rows) {
        SCOPED_TRACE(row[0]);
        TString name(row[0]);
        EXPECT_STREQ(EntitlementDef().GetDifferentiatorAppendwithEntitlementName(name).c_str(),
                     row[1]);
        EXPECT_STREQ(unrelated.GetDifferentiatorAppendwithEntitlementName(name).c_str(), row[1]);
        EXPECT_STREQ(name.c_str(), row[0]);
    }
}

// name, id, description, category, visible, full access, connected, user role name
typedef std::tuple<std::string, int, std::string, int, bool, bool, bool, std::string> DefFields;
template <class Def> DefFields DefFieldsOf(Def const& d) {
    return DefFields(d.GetName().c_str(), d.GetId(), d.GetDescription().c_str(), d.GetCategory(),
                     d.GetVisible(), d.GetIsFullAccess(), d.GetIsConnectedRole(),
                     d.GetUserRoleNameForConnectedRole().c_str());
}

// name, description, id, category, visible, "id," per entry of the list ("no
// list" when there is none)
typedef std::tuple<std::string, std::string, int, int, bool, std::string> RoleFields;
RoleFields RoleFieldsOf(RoleObject const& role) {
    List const* list = role.GetEntitlementObjList();
    std::string ids = list ? "" : "no list";
    for (EntitlementObject const& entry : list ? *list : List()) {
        ids += std::to_string(entry.m_Id) + ",";
    }
    return RoleFields(role.GetName().c_str(), role.GetDescription().c_str(), role.GetId(),
                      role.GetCategory(), role.IsVisible(), ids);
}

const RoleFields kBanking("Banking", "Bank work", 7, 3, false, "11,12,");
const RoleFields kListless("Banking", "Bank work", 7, 3, false, "no list");

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
    RoleDef assigned;
    assigned = role;
    PM::EmailDef email(role);
    PM::EmailDef emailAssigned(RoleDef{});
    emailAssigned = email;
    for (DefFields const& made :
         {DefFieldsOf(RoleDef(role)), DefFieldsOf(assigned), DefFieldsOf(email),
          DefFieldsOf(PM::EmailDef(email)), DefFieldsOf(emailAssigned)}) {
        EXPECT_EQ(made, DefFields("Banking", 7, "Bank work", 3, false, true, true, "Teller"));
    }
    EXPECT_FALSE(role.IsRoleVisible() || email.IsRoleVisible());
}

TEST(RoleDef, PredefinedRolesByNameIgnoringCase) {
    // name, isRoleAdmin, isRoleExternalAccountant
    const std::tuple<char const*, bool, bool> rows[] = {{"Admin", true, false},
                                                        {"aDMIN", true, false},
                                                        {"Admin ", false, false},
                                                        {"Administrator", false, false},
                                                        {"", false, false},
                                                        {"External Accountant", false, true},
                                                        {"EXTERNAL ACCOUNTANT", false, true}};
    for (auto const& [name, admin, externalAccountant] : rows) {
        SCOPED_TRACE(name);
        RoleDef role;
        role.SetName(name);
        role.SetId(0); // the id plays no part
        EXPECT_EQ(role.isRoleAdmin(), admin);
        EXPECT_EQ(role.isRoleExternalAccountant(), externalAccountant);
    }
}

TEST(RoleObject, CopiesAreDeepAndAListlessSourceGivesNoList) {
    EXPECT_EQ(RoleFieldsOf(RoleObject()), RoleFields("", "", -1, -1, true, ""));
    RoleObject source = MakeBanking();
    RoleObject copy(source);
    RoleObject target;
    target.GetEntitlementObjList()->push_back(EntitlementObject{"Payroll", 40});
    target = source;
    for (RoleObject* made : {&copy, &target}) {
        EXPECT_EQ(RoleFieldsOf(*made), kBanking);
        (*made->GetEntitlementObjList())[0].m_Id = 99;
        made->GetEntitlementObjList()->push_back(EntitlementObject{"Transfers", 13});
    }
    RoleObject& alias = source;
    source = alias;
    EXPECT_EQ(RoleFieldsOf(source), kBanking);

    // A listless source: the target's old list is let go, not deleted, so the
    // test takes it first.
    std::unique_ptr<List> sourceList(source.GetEntitlementObjList());
    source.SetEntitlementObjList(nullptr);
    std::unique_ptr<List> oldList(target.GetEntitlementObjList());
    target.SetName("Other");
    target = source;
    EXPECT_EQ(RoleFieldsOf(target), kListless);
    EXPECT_EQ(RoleFieldsOf(RoleObject(source)), kListless);
    EXPECT_EQ(oldList->size(), 3u);

    target.init(); // makes a missing list, keeps one that is there
    EXPECT_EQ(RoleFieldsOf(target), RoleFields("Banking", "Bank work", 7, 3, false, ""));
    target.GetEntitlementObjList()->push_back(EntitlementObject{"Checks", 11});
    target.init();
    EXPECT_EQ(RoleFieldsOf(target), RoleFields("Banking", "Bank work", 7, 3, false, "11,"));

    std::unique_ptr<RoleDef> def(target.RoleDefFactory());
    ASSERT_NE(def, nullptr);
    EXPECT_EQ(DefFieldsOf(*def), DefFields("Banking", 7, "Bank work", 3, false, false, false, ""));
    List* list = target.GetEntitlementObjList();
    target.SetDefaults();
    EXPECT_EQ(target.GetEntitlementObjList(), list);
    EXPECT_EQ(RoleFieldsOf(target), RoleFields("", "Bank work", 7, 3, false, ""));
}

template <class Record> bool InOrder(char const* a, char const* b) {
    Record first, second;
    first.SetName(a);
    second.SetName(b);
    return PM::IsInNameOrder(first, second);
}

template <> bool InOrder<EntitlementObject>(char const* a, char const* b) {
    return PM::IsInNameOrder(EntitlementObject{a}, EntitlementObject{b});
}

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

} // namespace
