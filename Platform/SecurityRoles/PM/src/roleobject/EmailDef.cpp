// EmailDef: RoleDef's fields under a second exported name.
#include <PM/EmailDef.h>

namespace PM {

EmailDef::EmailDef(RoleDef const& role)
    : m_Name(role.GetName()), m_Id(role.GetId()), m_Description(role.GetDescription()),
      m_Category(role.GetCategory()), m_Visible(role.GetVisible()),
      m_IsFullAccess(role.GetIsFullAccess()), m_IsConnectedRole(role.GetIsConnectedRole()),
      m_UserRoleName(role.GetUserRoleNameForConnectedRole()) {}

EmailDef::EmailDef(EmailDef const& other) = default;
EmailDef& EmailDef::operator=(EmailDef const& other) = default;

bool EmailDef::IsRoleVisible() const {
    return m_Visible == true;
}

} // namespace PM
