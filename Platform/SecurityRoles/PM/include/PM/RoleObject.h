// A role as the store delivers it and the role cache holds it, with an
// entitlement list of its own.
#pragma once

#include <PM/EntitlementDef.h>
#include <PM/EntitlementObject.h>
#include <PM/Export.h>
#include <PM/RoleDef.h>
#include <Util/TString.h>

#include <cstdint>
#include <vector>

namespace PM {

class PM_API RoleObject {
public:
    RoleObject(); // id -1, category -1, visible, an empty list
    // Deep copy: the copy owns a list of its own (null when the source's is).
    RoleObject(RoleObject const& other);
    // Takes over name, description, id, category, visible and a copy of the
    // list. A source without a list leaves the target without one.
    RoleObject& operator=(RoleObject const& other);
    ~RoleObject(); // deletes the list

    TString& GetName() { return m_Name; }
    TString const& GetName() const { return m_Name; }
    void SetName(TString name) { m_Name = name; }
    TString& GetDescription() { return m_Description; }
    TString const& GetDescription() const { return m_Description; }
    void SetDescription(TString description) { m_Description = description; }
    int GetId() const { return m_Id; }
    void SetId(int id) { m_Id = id; }
    int GetCategory() const { return m_Category; }
    void SetCategory(int category) { m_Category = category; }
    bool IsVisible() const { return m_Visible; }
    void SetVisible(bool visible) { m_Visible = visible; }

    std::vector<EntitlementObject>* GetEntitlementObjList() const { return m_pEntObjList; }
    // A plain pointer write: the old list is neither deleted nor copied, and
    // the object owns what it is given.
    void SetEntitlementObjList(std::vector<EntitlementObject>* list) { m_pEntObjList = list; }

    // Gives the object an empty list when it has none.
    void init();
    // Empties the name and the list; everything else stays.
    void SetDefaults();
    // A new RoleDef for this role, owned by the caller; null when refused.
    RoleDef* RoleDefFactory();
    // The entitlements as this role sees them, each with the role's stored
    // mask (the cached action for a role id below 0). category -1: every
    // entitlement once, in name order; a category id: its subtree, parent
    // before children. New list owned by the caller, or null.
    std::vector<EntitlementDef>* EntitlementDefFactory(int category, bool visibleOnly);

private:
    TString m_Name;
    TString m_Description;
    TString m_Reserved; // kept for the record's layout; nothing reads or copies it
    std::int32_t m_Id;
    std::int32_t m_Category;
    bool m_Visible;
    std::vector<EntitlementObject>* m_pEntObjList;
};

} // namespace PM
