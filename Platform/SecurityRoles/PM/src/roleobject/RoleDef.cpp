// The role record handed across the library's boundary.
#include <PM/RoleDef.h>

#include <Util/StringCompare.h>

namespace PM {

namespace {

char const kAdminRoleName[] = "Admin";
char const kExternalAccountantRoleName[] = "External Accountant";

} // namespace

RoleDef::RoleDef()
    : m_Id(-1), m_Category(-1), m_Visible(true), m_IsFullAccess(false), m_IsConnectedRole(false) {}

// Copies share the string blocks.
RoleDef::RoleDef(RoleDef const& other) = default;
RoleDef& RoleDef::operator=(RoleDef const& other) = default;
RoleDef::~RoleDef() = default;

bool RoleDef::IsRoleVisible() const {
    return m_Visible == true;
}

// The predefined roles are known by name alone, never by id.
bool RoleDef::isRoleAdmin() {
    return Util::CompareStrings(m_Name, kAdminRoleName, Util::kCaseInsensitive) ==
           Util::kStringEqual;
}

bool RoleDef::isRoleExternalAccountant() {
    return Util::CompareStrings(m_Name, kExternalAccountantRoleName, Util::kCaseInsensitive) ==
           Util::kStringEqual;
}

} // namespace PM
