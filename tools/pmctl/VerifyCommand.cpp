// pmctl verify: the checks of the two predefined roles, with the library's
// own log lines as the report.
#include "CommandSupport.h"

#include <PM/PermissionManager.h>

#include <host/util/OpsHooks.h>

namespace Pmctl {

namespace {

// Collects the library's log lines while it lives; the sink before it comes
// back afterwards.
class LogCapture {
public:
    LogCapture()
        : m_Previous(Host::SetLogSink(
              [this](Host::LogRecord const& record) { m_Lines.push_back(record.text); })) {}
    ~LogCapture() { Host::SetLogSink(m_Previous); }
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    std::vector<std::string> const& Lines() const { return m_Lines; }

private:
    std::vector<std::string> m_Lines;
    Host::LogSink m_Previous;
};

struct Outcome {
    bool adminShort;
    bool accountantShort;
    std::vector<std::string> log;
};

Outcome Verify(PM::PermissionManager& manager, bool repair) {
    LogCapture capture;
    bool adminShort = manager.VerifyAdminRoleAccess(repair);
    bool accountantShort = manager.VerifyExternalAccountantRoleAccess(repair);
    return {adminShort, accountantShort, capture.Lines()};
}

} // namespace

int VerifyCommand(FileArgs const& args, bool repair, Io io) {
    std::unique_ptr<Session> session = OpenSession(args, io);
    if (session == nullptr) {
        return kExitBadInput;
    }
    PM::PermissionManager& manager = session->Manager();
    Outcome found = Verify(manager, repair);
    // After a repair the checks run again, without repairing, to say whether
    // the roles are whole now.
    Outcome now = repair ? Verify(manager, false) : found;
    bool whole = !now.adminShort && !now.accountantShort;
    auto state = [&](bool wasShort, bool isShort) {
        return !wasShort ? "in order"
               : !repair ? "short"
               : isShort ? "short, not repaired"
                         : "repaired";
    };
    if (args.json) {
        PrintJson({{"admin", state(found.adminShort, now.adminShort)},
                   {"externalAccountant", state(found.accountantShort, now.accountantShort)},
                   {"log", found.log}},
                  io);
    } else {
        io.out << "Admin: " << state(found.adminShort, now.adminShort) << "\n"
               << "External Accountant: " << state(found.accountantShort, now.accountantShort)
               << "\n";
        for (std::string const& line : found.log) {
            io.out << "  " << line << "\n";
        }
    }
    return whole ? kExitOk : kExitFailed;
}

} // namespace Pmctl
