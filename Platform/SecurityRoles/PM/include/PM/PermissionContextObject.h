// On whose behalf the host acts: the logged-in user ("Tallyframe") or an
// integrated application, with the action table the access decision reads.
#pragma once

#include <PM/ActionTableIndex.h>
#include <PM/Export.h>
#include <Util/TString.h>

#include <map>

namespace PM {

// The manager reads and writes the fields directly.
class PM_API PermissionContextObject {
public:
    PermissionContextObject();
    ~PermissionContextObject(); // deletes the table, then releases the name

    PermissionContextObject(PermissionContextObject const&) = delete;
    PermissionContextObject& operator=(PermissionContextObject const&) = delete;

    TString AppName;
    std::map<int, long>* ActionTable;         // entitlement id to mask; owned
    PermissionContextObject* PreviousContext; // the context to go back to; not owned
    // The rows of ActionTable, flat, for the access decision. The manager
    // rebuilds it whenever it installs or changes the table; whoever else puts
    // a table here or changes its rows rebuilds it too. A table it was never
    // built from is answered from the map.
    ActionTableIndex ActionIndex;
};

} // namespace PM
