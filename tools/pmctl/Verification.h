// What pmctl verify checks and mends: the two predefined roles whole, no bank
// account on which a role holds less than on the account's parent, and no
// assignment whose user or role is gone.
#pragma once

#include "Commands.h"
#include "Session.h"

#include <string>
#include <vector>

namespace Pmctl {

struct Findings {
    bool repair = false;
    // Before and, with repair, after: whether each predefined role is short.
    bool adminShort = false;
    bool accountantShort = false;
    bool adminStillShort = false;
    bool accountantStillShort = false;
    // What the library logged while it checked the two roles.
    std::vector<std::string> log;
    // One line for each account and role that holds less than on the
    // parent, and for each orphan assignment.
    std::vector<std::string> accounts;
    std::vector<std::string> orphans;
    // With repair: whether every account and orphan could be mended.
    bool mendFailed = false;

    // Everything is in order now: nothing found, or all of it mended.
    bool InOrder() const;
    // Something was found, mended or not.
    bool Found() const;
    // "in order", "short", "repaired" or "short, not repaired".
    char const* AdminState() const;
    char const* AccountantState() const;
};

// Checks everything, and with repair mends what it found in the session's
// bracket.
Findings CheckAll(Session& session, bool repair);
// The same with repair, for commands that mend as part of their change.
inline Findings RepairAll(Session& session) {
    return CheckAll(session, true);
}

// The summary: the two roles' state and the counts, then at most 20 lines of
// what was found (all with verbose).
void PrintFindings(Findings const& findings, bool verbose, Io io);

} // namespace Pmctl
