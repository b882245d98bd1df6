// The stored and cached role, owner of its entitlement list.
#include <PM/RoleObject.h>

#include "Diagnostics.h"

#include <memory>
#include <new>

namespace PM {

namespace {

typedef std::vector<EntitlementObject> EntitlementObjectList;

} // namespace

RoleObject::RoleObject()
    : m_Id(-1), m_Category(-1), m_Visible(true),
      m_pEntObjList(new (std::nothrow) EntitlementObjectList) {
    if (m_pEntObjList == nullptr) {
        PM_RAISE("entlist != NULL");
    }
}

// The reserved text is not copied; it stays empty.
RoleObject::RoleObject(RoleObject const& other)
    : m_Name(other.m_Name), m_Description(other.m_Description), m_Id(other.m_Id),
      m_Category(other.m_Category), m_Visible(other.m_Visible), m_pEntObjList(nullptr) {
    if (other.m_pEntObjList == nullptr) {
        return;
    }
    m_pEntObjList = new (std::nothrow) EntitlementObjectList;
    if (m_pEntObjList == nullptr) {
        // With no list there is nothing to copy into, whatever the handler says.
        PM_RAISE("m_pEntObjList != NULL");
        return;
    }
    m_pEntObjList->assign(other.m_pEntObjList->begin(), other.m_pEntObjList->end());
}

RoleObject& RoleObject::operator=(RoleObject const& other) {
    // The target's reserved text stays.
    m_Name = other.m_Name;
    m_Description = other.m_Description;
    m_Id = other.m_Id;
    m_Category = other.m_Category;
    m_Visible = other.m_Visible;

    if (other.m_pEntObjList == nullptr) {
        // Deliberately let go, not deleted, unlike the branch below: lists
        // change hands by plain pointer writes (SetEntitlementObjList), so the
        // old one may be held elsewhere. A caller that wants it freed takes it
        // with GetEntitlementObjList before assigning.
        m_pEntObjList = nullptr;
        return *this;
    }

    // Copy first, then drop the old list, so that assigning a role to itself
    // copies from a list that is still alive.
    std::unique_ptr<EntitlementObjectList> list(new (std::nothrow) EntitlementObjectList);
    if (!list) {
        PM_RAISE("m_pEntObjList != NULL");
    } else {
        list->assign(other.m_pEntObjList->begin(), other.m_pEntObjList->end());
    }
    delete m_pEntObjList;
    m_pEntObjList = list.release();
    return *this;
}

RoleObject::~RoleObject() {
    delete m_pEntObjList;
}

void RoleObject::init() {
    if (m_pEntObjList != nullptr) {
        return;
    }
    m_pEntObjList = new (std::nothrow) EntitlementObjectList;
    if (m_pEntObjList == nullptr) {
        PM_RAISE("entlist != NULL");
    }
}

// The list must be there; its vector stays allocated.
void RoleObject::SetDefaults() {
    m_Name = TString();
    m_pEntObjList->clear();
}

RoleDef* RoleObject::RoleDefFactory() {
    RoleDef* role = new (std::nothrow) RoleDef;
    if (role == nullptr) {
        // Null either way: there is no record to fill in.
        PM_RAISE("role != NULL");
        return nullptr;
    }
    role->SetId(m_Id);
    role->SetCategory(m_Category);
    role->SetName(m_Name);
    role->SetDescription(m_Description);
    role->SetVisible(m_Visible);
    // Full access, connected role and the user role name keep their defaults;
    // the role listings fill them in.
    return role;
}

} // namespace PM
