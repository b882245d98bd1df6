// The grants of roles edit: what each asks for, read from the command line
// and from JSON, and the masks they come to on the role's entitlements.
#pragma once

#include "Commands.h"
#include "Session.h"

#include <PM/EntitlementDef.h>

#include <string>
#include <vector>

namespace Pmctl {

// The name that stands for every entitlement of the role.
extern char const kEveryEntitlement[]; // "*"

// One grant asked for: the entitlement as it was named (kEveryEntitlement
// for all of them), or by an id that a JSON row gave (named empty), and the
// new mask.
struct Grant {
    std::string named;
    int id;
    long mask;
};

// "ENTITLEMENT=ACTIONS" (the last '=' splits). False with the reason on io.err
// after "pmctl: FILE: ".
bool ParseGrant(std::string const& file, std::string const& text, Grant* grant, Io io);

// The grants of a JSON file, appended to grants, in either of two forms:
//   {"NAME": ACTIONS, ...}, NAME a full name or "*";
//   {"entitlements": [ROW, ...]}, what roles show --json prints: each ROW
//   names its entitlement by "fullName", else "id", else "name", and its mask
//   by "actions", else "mask"; other keys are ignored.
// ACTIONS is an array of action words, a string of words or a mask from 0 to
// 127. A key given twice is refused: the later grant would win without a
// word. False with the reason on io.err after "pmctl: PATH: ".
bool ReadJsonGrants(std::string const& path, std::vector<Grant>* grants, Io io);

// One entitlement that the grants set.
struct GrantedRow {
    int id;
    std::string fullName;
    long mask;
    bool named; // by a grant of its own, not only through '*' or a heading
};

// What the grants come to on the role's entitlements, whatever their order:
// the grant on the entitlement itself wins; then, with recursive, the grant
// on its nearest heading; then "*", which covers every visible entitlement
// of the role, bank accounts included. An entitlement that none of them
// reaches is left out. Rows in the order of the role's tree; named invisible
// entitlements last. False with the reason on io.err: an unknown name, the
// version record, an entitlement (or "*") granted twice.
bool ResolveGrants(Session& session, int roleId, std::vector<Grant> const& grants, bool recursive,
                   std::vector<GrantedRow>* rows, Io io);

} // namespace Pmctl
