// The entitlement record: copying rules, the action mask and the attrs word.
#include <PM/ActionMask.h>
#include <PM/Constants.h>
#include <PM/EntitlementDef.h>

#include <Util/StringCompare.h>

namespace PM {

namespace {

// The five regular offers: View, Create, Modify, Delete, Print.
const long kAttrRegular = kAttrView | kAttrCreate | kAttrModify | kAttrDelete | kAttrPrint;

// A grant on one of these makes a role count as having full access. Order of
// the tries is part of the contract.
char const* const kFullAccessEntitlementNames[] = {
    "Find All Transactions",     "Accountant & Taxes Detail", "Company & Financial Detail",
    "Custom Transaction Detail", "Accountant & Taxes",        "Company & Financial",
    "Custom Transaction",
};

char const kDifferentiator[] = "**";

bool AllSet(long word, long bits) {
    return (word & bits) == bits;
}
bool NoneSet(long word, long bits) {
    return (word & bits) == 0;
}

} // namespace

EntitlementDef::EntitlementDef()
    : m_Id(-1), m_Category(-1), m_Action(0), m_Attrs(0), m_Enabled(true), m_Visible(true),
      m_Mixed(false) {}

EntitlementDef::EntitlementDef(EntitlementDef const& other) = default;

// A record made from the stored form starts without the host's mixed mark.
EntitlementDef::EntitlementDef(EntitlementObject& object)
    : m_Name(object.m_Name), m_Id(object.m_Id), m_Category(object.m_Category),
      m_Action(object.m_Action), m_Attrs(object.m_Attrs), m_Enabled(object.m_Enabled),
      m_Visible(object.m_Visible), m_Mixed(false) {}

EntitlementDef::~EntitlementDef() = default;

EntitlementDef& EntitlementDef::operator=(EntitlementDef const& other) = default;

// Unlike construction, assignment keeps mixed: the stored form has no such
// field, so refreshing an existing record from it leaves the host's mark as it
// was, while a record newly made from it starts without one. Kept on purpose.
EntitlementDef& EntitlementDef::operator=(EntitlementObject const& object) {
    m_Name = object.m_Name;
    m_Id = object.m_Id;
    m_Category = object.m_Category;
    m_Action = object.m_Action;
    m_Attrs = object.m_Attrs;
    m_Enabled = object.m_Enabled;
    m_Visible = object.m_Visible;
    return *this;
}

bool EntitlementDef::IsActionView() const {
    return (m_Action & kActionView) != 0;
}
bool EntitlementDef::IsActionCreate() const {
    return (m_Action & kActionCreate) != 0;
}
bool EntitlementDef::IsActionModify() const {
    return (m_Action & kActionModify) != 0;
}
bool EntitlementDef::IsActionDelete() const {
    return (m_Action & kActionDelete) != 0;
}
bool EntitlementDef::IsActionPrint() const {
    return (m_Action & kActionPrint) != 0;
}
bool EntitlementDef::IsActionViewBal() const {
    return (m_Action & kActionViewBal) != 0;
}
bool EntitlementDef::IsActionCustom() const {
    return (m_Action & kActionCustom) != 0;
}

void EntitlementDef::SetActionView() {
    m_Action |= kActionView;
}
void EntitlementDef::SetActionCreate() {
    m_Action |= kActionCreate;
}
void EntitlementDef::SetActionModify() {
    m_Action |= kActionModify;
}
void EntitlementDef::SetActionDelete() {
    m_Action |= kActionDelete;
}
void EntitlementDef::SetActionPrint() {
    m_Action |= kActionPrint;
}
void EntitlementDef::SetActionViewBal() {
    m_Action |= kActionViewBal;
}
void EntitlementDef::SetActionCustom() {
    m_Action |= kActionCustom;
}

void EntitlementDef::ResetActionView() {
    m_Action &= ~kActionView;
}
void EntitlementDef::ResetActionCreate() {
    m_Action &= ~kActionCreate;
}
void EntitlementDef::ResetActionModify() {
    m_Action &= ~kActionModify;
}
void EntitlementDef::ResetActionDelete() {
    m_Action &= ~kActionDelete;
}
void EntitlementDef::ResetActionPrint() {
    m_Action &= ~kActionPrint;
}
void EntitlementDef::ResetActionViewBal() {
    m_Action &= ~kActionViewBal;
}
void EntitlementDef::ResetActionCustom() {
    m_Action &= ~kActionCustom;
}

bool EntitlementDef::IsActionNone() const {
    return m_Action == 0;
}

// Custom is no part of Any: a mask carrying it is never Any.
bool EntitlementDef::IsActionAny() const {
    return (m_Action & kActionFull) != 0 && (m_Action & kActionCustom) == 0;
}

bool EntitlementDef::IsActionFull() const {
    return (m_Action & kActionFull) == kActionFull;
}

void EntitlementDef::SetActionFull() {
    m_Action = kActionFull;
}

bool EntitlementDef::IsFullNone() const {
    return (m_Attrs & kAttrFullNone) != 0;
}
bool EntitlementDef::IsViewOn() const {
    return (m_Attrs & kAttrView) != 0;
}
bool EntitlementDef::IsCreateOn() const {
    return (m_Attrs & kAttrCreate) != 0;
}
bool EntitlementDef::IsModifyOn() const {
    return (m_Attrs & kAttrModify) != 0;
}
bool EntitlementDef::IsDeleteOn() const {
    return (m_Attrs & kAttrDelete) != 0;
}
bool EntitlementDef::IsPrintOn() const {
    return (m_Attrs & kAttrPrint) != 0;
}
bool EntitlementDef::IsViewBalOn() const {
    return (m_Attrs & kAttrViewBal) != 0;
}
bool EntitlementDef::IsListOn() const {
    return (m_Attrs & kAttrList) != 0;
}
bool EntitlementDef::IsBatchPrintOn() const {
    return (m_Attrs & kAttrBatchPrint) != 0;
}
bool EntitlementDef::IsCustomOn() const {
    return (m_Attrs & kAttrCustom) != 0;
}

// The ...Related family: each is "these offers all present, those all absent".
// Batch print and Custom are ignored except where named.

bool EntitlementDef::IsFullNoneRelated() const {
    return IsFullNone();
}

bool EntitlementDef::IsBatchPrintRelated() const {
    return IsBatchPrintOn();
}

// Offering List rules this out even with all five regular offers present.
bool EntitlementDef::IsRegularRelated() const {
    return AllSet(m_Attrs, kAttrRegular) && NoneSet(m_Attrs, kAttrViewBal | kAttrList);
}

bool EntitlementDef::IsListRegularRelated() const {
    return AllSet(m_Attrs, kAttrRegular) && NoneSet(m_Attrs, kAttrViewBal) &&
           AllSet(m_Attrs, kAttrList);
}

// Excludes nothing, so it can hold together with IsCustomRelated.
bool EntitlementDef::IsListViewBalRelated() const {
    return AllSet(m_Attrs, kAttrRegular | kAttrViewBal | kAttrList);
}

bool EntitlementDef::IsCustomRelated() const {
    return AllSet(m_Attrs, kAttrRegular | kAttrViewBal | kAttrCustom);
}

bool EntitlementDef::IsModifyDeletePrintRelated() const {
    return NoneSet(m_Attrs, kAttrView | kAttrCreate) &&
           AllSet(m_Attrs, kAttrModify | kAttrDelete | kAttrPrint) &&
           NoneSet(m_Attrs, kAttrViewBal | kAttrList);
}

bool EntitlementDef::IsViewCreateModifyDeleteRelated() const {
    return AllSet(m_Attrs, kAttrView | kAttrCreate | kAttrModify | kAttrDelete) &&
           NoneSet(m_Attrs, kAttrPrint | kAttrViewBal | kAttrList);
}

bool EntitlementDef::IsViewModifyDeletePrintRelated() const {
    return AllSet(m_Attrs, kAttrView) && NoneSet(m_Attrs, kAttrCreate) &&
           AllSet(m_Attrs, kAttrModify | kAttrDelete | kAttrPrint) &&
           NoneSet(m_Attrs, kAttrViewBal | kAttrList);
}

bool EntitlementDef::IsViewModifyPrintRelated() const {
    return AllSet(m_Attrs, kAttrView | kAttrModify | kAttrPrint) &&
           NoneSet(m_Attrs, kAttrCreate | kAttrDelete) &&
           NoneSet(m_Attrs, kAttrViewBal | kAttrList);
}

bool EntitlementDef::IsViewModifyRelated() const {
    return AllSet(m_Attrs, kAttrView | kAttrModify) && NoneSet(m_Attrs, kAttrCreate) &&
           NoneSet(m_Attrs, kAttrDelete | kAttrPrint | kAttrViewBal | kAttrList);
}

bool EntitlementDef::IsViewPrintRelated() const {
    return AllSet(m_Attrs, kAttrView | kAttrPrint) &&
           NoneSet(m_Attrs, kAttrCreate | kAttrModify | kAttrDelete) &&
           NoneSet(m_Attrs, kAttrViewBal | kAttrList);
}

bool EntitlementDef::IsDynamicEntitlement() const {
    return m_Id >= kFirstDynamicEntitlementId;
}

bool EntitlementDef::IsFullAcessEntitlement() {
    for (char const* fullAccessName : kFullAccessEntitlementNames) {
        if (Util::CompareStrings(m_Name, fullAccessName, Util::kCaseInsensitive) ==
            Util::kStringEqual) {
            return true;
        }
    }
    return false;
}

// The action is tested first, so a record without a grant never compares names.
bool EntitlementDef::GetIfFullAccess() {
    return m_Action > 0 && IsFullAcessEntitlement();
}

TString EntitlementDef::GetDifferentiatorAppendwithEntitlementName(TString name) {
    // Right(2) is empty for a name shorter than two, which never equals "**".
    if (Util::CompareStrings(name.Right(2), kDifferentiator, Util::kCaseInsensitive) !=
        Util::kStringEqual) {
        name.Append(kDifferentiator);
    }
    return name;
}

} // namespace PM
