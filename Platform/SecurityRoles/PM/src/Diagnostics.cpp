// The log source paths of the library's three parts.
#include "Diagnostics.h"

namespace PM {

char const kLogPathPermissionManager[] = "Platform\\SecurityRoles\\PM\\src\\permissionmanager";
char const kLogPathRoleObject[] = "Platform\\SecurityRoles\\PM\\src\\roleobject";
char const kLogPathURPStore[] = "Platform\\SecurityRoles\\PM\\src\\urpstore";

} // namespace PM
