// The entitlement record that crosses the library's boundary.
#pragma once

#include <PM/EntitlementObject.h>
#include <PM/Export.h>
#include <Util/TString.h>

#include <cstdint>

namespace PM {

// A value record: copies share the name block and nothing else. The action is
// a role's grant when the record came from a role's view; attrs says which
// actions the entitlement offers at all. mixed is the host's own mark.
class PM_API EntitlementDef {
public:
    EntitlementDef(); // id -1, category -1, no action, enabled and visible
    EntitlementDef(EntitlementDef const& other);
    EntitlementDef(EntitlementObject& object); // mixed false
    ~EntitlementDef();
    EntitlementDef& operator=(EntitlementDef const& other);
    EntitlementDef& operator=(EntitlementObject const& object); // mixed kept

    TString const& GetName() const { return m_Name; }
    void SetName(TString name) { m_Name = name; }
    int GetId() const { return m_Id; }
    void SetId(int id) { m_Id = id; }
    int GetCategory() const { return m_Category; }
    void SetCategory(int category) { m_Category = category; }
    int GetAction() const { return m_Action; }
    void SetAction(int action) { m_Action = action; }
    void ClearAction() { m_Action = 0; }
    long GetAttrs() const { return m_Attrs; }
    void SetAttrs(long attrs) { m_Attrs = static_cast<std::int32_t>(attrs); }
    bool IsEnabled() const { return m_Enabled; }
    void SetEnabled(bool enabled) { m_Enabled = enabled; }
    bool IsVisible() const { return m_Visible; }
    void SetVisible(bool visible) { m_Visible = visible; }
    bool IsMixed() const { return m_Mixed; }
    void SetMixed(bool mixed) { m_Mixed = mixed; }

    // Action mask.
    bool IsActionView() const;
    bool IsActionCreate() const;
    bool IsActionModify() const;
    bool IsActionDelete() const;
    bool IsActionPrint() const;
    bool IsActionViewBal() const;
    bool IsActionCustom() const;
    void SetActionView();
    void SetActionCreate();
    void SetActionModify();
    void SetActionDelete();
    void SetActionPrint();
    void SetActionViewBal();
    void SetActionCustom();
    void ResetActionView();
    void ResetActionCreate();
    void ResetActionModify();
    void ResetActionDelete();
    void ResetActionPrint();
    void ResetActionViewBal();
    void ResetActionCustom();
    bool IsActionNone() const; // mask is 0; Custom alone is not None
    bool IsActionAny() const;  // one of the six, and no Custom bit
    bool IsActionFull() const; // all six; the Custom bit does not matter
    void SetActionFull();      // mask becomes 63, dropping Custom

    // Attrs word.
    bool IsFullNone() const;
    bool IsViewOn() const;
    bool IsCreateOn() const;
    bool IsModifyOn() const;
    bool IsDeleteOn() const;
    bool IsPrintOn() const;
    bool IsViewBalOn() const;
    bool IsListOn() const;
    bool IsBatchPrintOn() const;
    bool IsCustomOn() const;

    // Classification by the combination of actions offered (attrs only).
    bool IsFullNoneRelated() const;
    bool IsBatchPrintRelated() const;
    bool IsRegularRelated() const;
    bool IsListRegularRelated() const;
    bool IsListViewBalRelated() const;
    bool IsCustomRelated() const;
    bool IsModifyDeletePrintRelated() const;
    bool IsViewCreateModifyDeleteRelated() const;
    bool IsViewModifyDeletePrintRelated() const;
    bool IsViewModifyPrintRelated() const;
    bool IsViewModifyRelated() const;
    bool IsViewPrintRelated() const;

    bool IsDynamicEntitlement() const; // id 300000 or more
    // Whether the name is one of the seven full-access entitlement names.
    bool IsFullAcessEntitlement();
    // A full-access entitlement on which this record grants something.
    bool GetIfFullAccess();
    // name with "**" at its end, added only when it does not end so already.
    // Reads nothing of this record.
    TString GetDifferentiatorAppendwithEntitlementName(TString name);

private:
    TString m_Name;
    std::int32_t m_Id;
    std::int32_t m_Category;
    std::int32_t m_Action;
    std::int32_t m_Attrs;
    bool m_Enabled;
    bool m_Visible;
    bool m_Mixed;
};

} // namespace PM
