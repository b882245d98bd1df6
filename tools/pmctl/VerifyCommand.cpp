// pmctl verify: the predefined roles, the bank accounts' rights against their
// parents' and the assignments, checked on a snapshot, or mended in one
// change with repair.
#include "CommandSupport.h"
#include "Verification.h"

namespace Pmctl {

namespace {

int Report(Findings const& findings, bool json, bool verbose, Io io) {
    if (json) {
        PrintJson({{"admin", findings.AdminState()},
                   {"externalAccountant", findings.AccountantState()},
                   {"log", findings.log},
                   {"bankAccounts", findings.accounts},
                   {"orphanAssignments", findings.orphans},
                   {"inOrder", findings.InOrder()}},
                  io);
    } else {
        PrintFindings(findings, verbose, io);
    }
    return findings.InOrder() ? kExitOk : kExitFailed;
}

} // namespace

int VerifyCommand(FileArgs const& args, bool repair, bool verbose, Io io) {
    if (!repair) {
        return RunRead(args, io, [&](Session& session) {
            return Report(CheckAll(session, false), args.json, verbose, io);
        });
    }
    ChangeOptions options;
    options.repairs = true;
    options.bodyPrintsJson = true;
    return RunChange(
        args, io,
        [&](Session& session, Io held) {
            return Report(RepairAll(session), args.json, verbose, held);
        },
        options);
}

} // namespace Pmctl
