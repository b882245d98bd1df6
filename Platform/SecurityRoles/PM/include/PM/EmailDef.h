// A record of the same shape as RoleDef, exported under a second name for the
// host. The library itself never makes one.
#pragma once

#include <PM/Export.h>
#include <PM/RoleDef.h>
#include <Util/TString.h>

#include <cstdint>

namespace PM {

class PM_API EmailDef {
public:
    // The record has no default state of its own: it is made from a role
    // record, field by field, or copied.
    explicit EmailDef(RoleDef const& role);
    EmailDef(EmailDef const& other);
    EmailDef& operator=(EmailDef const& other);

    TString& GetName() { return m_Name; }
    TString const& GetName() const { return m_Name; }
    void SetName(TString name) { m_Name = name; }
    int GetId() const { return m_Id; }
    void SetId(int id) { m_Id = id; }
    TString& GetDescription() { return m_Description; }
    TString const& GetDescription() const { return m_Description; }
    void SetDescription(TString description) { m_Description = description; }
    int GetCategory() const { return m_Category; }
    void SetCategory(int category) { m_Category = category; }
    bool GetVisible() const { return m_Visible; }
    void SetVisible(bool visible) { m_Visible = visible; }
    bool IsRoleVisible() const;
    bool GetIsFullAccess() const { return m_IsFullAccess; }
    void SetIsFullAccess(bool fullAccess) { m_IsFullAccess = fullAccess; }
    bool GetIsConnectedRole() const { return m_IsConnectedRole; }
    void SetIsConnectedRole(bool connected) { m_IsConnectedRole = connected; }
    TString GetUserRoleNameForConnectedRole() const { return m_UserRoleName; }
    void SetUserRoleNameForConnectedRole(TString name) { m_UserRoleName = name; }

private:
    TString m_Name;
    std::int32_t m_Id;
    TString m_Description;
    std::int32_t m_Category;
    bool m_Visible;
    bool m_IsFullAccess;
    bool m_IsConnectedRole;
    TString m_UserRoleName;
};

} // namespace PM
