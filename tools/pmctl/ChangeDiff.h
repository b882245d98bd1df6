// What a change did to the company file, told by comparing its tables as the
// change found them with the tables as it leaves them. The result is the
// details of the change's history record (JSON), with a section for each kind
// of thing that changed and none for the others:
//
//   "version":      {"from": 26, "to": 27}   the permission data version
//   "users":        {"added": [{"id", "name", "admin"}], "removed": [{"id", "name"}],
//                    "changed": [{"id", "name", "admin"}]}
//   "roles":        {"created": [{"id", "name", "description"}],
//                    "renamed": [{"id", "from", "to"}], "deleted": [{"id", "name"}],
//                    "changed": [{"id", "name", "description": [before, after],
//                                 "visible": [before, after]}]}
//   "accounts":     {"added" | "removed" | "changed": [{"id", "name"}],
//                    "renamed": [{"id", "from", "to"}]}       bank accounts, by full name
//   "entitlements": {"added" | "removed" | "changed": [{"id", "name"}]}  the catalogue's
//   "assignments":  {"added" | "removed": [{"user", "role"}]}
//   "masks":        [[role, entitlement, before, after], ...]  action masks, by name
//
// A mask that no row holds is 0. Masks are not listed for a role that the
// change deleted or an account that it removed (they went with it), nor for an
// account that it added where the role holds on it what it holds on the
// account's parent (what bank add and bank import give every role); they are
// listed otherwise. Names are those after the change, or before it for what
// the change took away.
#pragma once

#include "CommandSupport.h"

#include <host/records/CompanyTables.h>

namespace Pmctl {

Json DescribeChange(Host::CompanyTables const& before, Host::CompanyTables const& after);

} // namespace Pmctl
