#include <PM/EntitlementDef.h>
#include <PM/EntitlementObject.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

using PM::EntitlementDef;
using PM::EntitlementObject;

namespace {

typedef bool (EntitlementDef::*Check)() const;

// name, id, category, action, attrs, enabled, visible, mixed
typedef std::tuple<std::string, int, int, int, long, bool, bool, bool> Fields;
Fields FieldsOf(EntitlementDef const& d) {
    return Fields(d.GetName().c_str(), d.GetId(), d.GetCategory(), d.GetAction(), d.GetAttrs(),
                  d.IsEnabled(), d.IsVisible(), d.IsMixed());
}

} // namespace

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
    struct Bit {
        int value;
        Check is;
        void (EntitlementDef::*set)();
        void (EntitlementDef::*reset)();
    };
    typedef EntitlementDef E;
    const Bit bits[] = {
        {1, &E::IsActionView, &E::SetActionView, &E::ResetActionView},
        {2, &E::IsActionCreate, &E::SetActionCreate, &E::ResetActionCreate},
        {4, &E::IsActionModify, &E::SetActionModify, &E::ResetActionModify},
        {8, &E::IsActionDelete, &E::SetActionDelete, &E::ResetActionDelete},
        {16, &E::IsActionPrint, &E::SetActionPrint, &E::ResetActionPrint},
        {32, &E::IsActionViewBal, &E::SetActionViewBal, &E::ResetActionViewBal},
        {64, &E::IsActionCustom, &E::SetActionCustom, &E::ResetActionCustom},
    };
    for (Bit const& bit : bits) {
        SCOPED_TRACE(bit.value);
        EntitlementDef def;
        (def.*bit.set)();
        EXPECT_EQ(def.GetAction(), bit.value);
        for (Bit const& other : bits) {
            EXPECT_EQ((def.*other.is)(), other.value == bit.value) << other.value;
        }
        def.SetAction(127);
        (def.*bit.reset)();
        EXPECT_EQ(def.GetAction(), 127 - bit.value);
        EXPECT_FALSE((def.*bit.is)());
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
    const Check tests[] = {
        &E::IsFullNoneRelated,
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
        &E::IsViewPrintRelated,
    };
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
        {76, "............"},   {100, "............"},  {196, "............"},
    };
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
        {"Custom Transactions", 63, false, false},     {"", 63, false, false},
    };
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
