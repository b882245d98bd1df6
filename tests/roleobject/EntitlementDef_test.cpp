// The entitlement record's predicates: what its action mask grants and which
// family of offered actions its attrs word belongs to.
#include <PM/EntitlementDef.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

using PM::EntitlementDef;
typedef bool (EntitlementDef::*Check)() const;

// Full is the six standard actions, with or without Custom (64); Any wants
// one of the six.
TEST(EntitlementDefTest, TheActionMaskIsNoneAnyOrFull) {
    std::pair<int, char const*> const rows[] = {{0, "none"},      {1, "any"}, {62, "any"},
                                                {63, "any full"}, {64, ""},   {65, ""},
                                                {127, "full"},    {128, ""}};
    for (auto const& [mask, expected] : rows) {
        EntitlementDef def;
        def.SetAction(mask);
        std::string found = std::string(def.IsActionNone() ? "none" : "") +
                            (def.IsActionAny() ? "any" : "") +
                            (def.IsActionAny() && def.IsActionFull() ? " " : "") +
                            (def.IsActionFull() ? "full" : "");
        EXPECT_EQ(expected, found) << mask;
    }
}

TEST(EntitlementDefTest, TheRelatedFamilyClassifiesTheAttrs) {
    Check const tests[] = {&EntitlementDef::IsFullNoneRelated,
                           &EntitlementDef::IsBatchPrintRelated,
                           &EntitlementDef::IsRegularRelated,
                           &EntitlementDef::IsListRegularRelated,
                           &EntitlementDef::IsListViewBalRelated,
                           &EntitlementDef::IsCustomRelated,
                           &EntitlementDef::IsModifyDeletePrintRelated,
                           &EntitlementDef::IsViewCreateModifyDeleteRelated,
                           &EntitlementDef::IsViewModifyDeletePrintRelated,
                           &EntitlementDef::IsViewModifyPrintRelated,
                           &EntitlementDef::IsViewModifyRelated,
                           &EntitlementDef::IsViewPrintRelated};
    // One column per test above, in order: FullNone BatchPrint Regular ListRegular
    // ListViewBal Custom MDP VCMD VMDP VMP VM VP.
    std::pair<long, char const*> const rows[] = {
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
        EntitlementDef def;
        def.SetAttrs(attrs);
        std::string found;
        for (Check test : tests) {
            found += (def.*test)() ? "x" : ".";
        }
        EXPECT_EQ(holds, found) << attrs;
    }
}

} // namespace
