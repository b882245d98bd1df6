// A permission context: a name and the action table it owns.
#include <PM/PermissionContextObject.h>

namespace PM {

PermissionContextObject::PermissionContextObject()
    : ActionTable(nullptr), PreviousContext(nullptr) {}

PermissionContextObject::~PermissionContextObject() {
    delete ActionTable;
    ActionTable = nullptr;
}

} // namespace PM
