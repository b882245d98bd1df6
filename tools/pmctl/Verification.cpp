// The checks and repairs behind pmctl verify.
#include "Verification.h"

#include "Actions.h"
#include "BankAccounts.h"
#include "CommandSupport.h"

#include <PM/PermissionManager.h>
#include <PM/URPStoreBase.h>
#include <Records/DMUSRUserRole.h>

#include <host/users/CompanyUsers.h>
#include <host/util/OpsHooks.h>

#include <map>

namespace Pmctl {

namespace {

const std::size_t kLinesShown = 20;

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

// Each account on which a role lacks an action it holds on the parent. With
// repair the role is given the parent's actions on the account as well.
void CheckAccounts(Session& session, Findings* findings) {
    PM::PermissionManager& manager = session.Manager();
    std::map<int, std::string> paths;
    std::vector<Account> accounts = Accounts(session);
    for (Account const& account : accounts) {
        paths[account.id] = account.path;
    }
    for (Account const& account : accounts) {
        auto parent = paths.find(account.parent);
        std::string parentName = parent == paths.end() ? kBankAccountsName : parent->second;
        for (PM::RoleObject const& role : *manager.GetRoleCache()) {
            long onParent = RoleMask(session, role.GetId(), account.parent);
            long onAccount = RoleMask(session, role.GetId(), account.id);
            if ((onParent & ~onAccount) == 0) {
                continue;
            }
            findings->accounts.push_back(account.path + ": " + std::string(role.GetName()) +
                                         " holds " + DescribeGrant(onAccount) + ", less than " +
                                         DescribeGrant(onParent) + " on " + parentName);
            if (findings->repair && manager.GetURPStore()->URPSUpdateRoleActionAssociation(
                                        role.GetId(), account.id, onAccount | onParent) != PM_OK) {
                findings->mendFailed = true;
            }
        }
    }
}

void CheckOrphans(Session& session, Findings* findings) {
    std::vector<Host::OrphanAssignment> orphans = Host::FindOrphanAssignments();
    for (Host::OrphanAssignment const& orphan : orphans) {
        findings->orphans.push_back(
            "an assignment of record key " + std::to_string(orphan.recordKey) + " to role " +
            std::to_string(orphan.roleId) + ": " +
            (orphan.userGone && orphan.roleGone ? "no such user and no such role"
             : orphan.userGone ? "no such user (role " + RoleName(session, orphan.roleId) + ")"
                               : "no such role"));
    }
    if (!findings->repair) {
        return;
    }
    // The record layer deletes assignments by user or by role: an orphan's
    // missing half is what goes, with every assignment that has it.
    for (Host::OrphanAssignment const& orphan : orphans) {
        DMUSRUserRole record;
        Util::Status status = orphan.userGone ? record.DeleteByUserId(orphan.recordKey, nullptr)
                                              : record.DeleteByRoleId(orphan.roleId, nullptr);
        findings->mendFailed = findings->mendFailed || status.Failed();
    }
}

void PrintLines(char const* heading, std::vector<std::string> const& lines, bool verbose, Io io) {
    if (lines.empty()) {
        return;
    }
    io.out << heading << ": " << lines.size() << "\n";
    std::size_t shown = verbose ? lines.size() : std::min(lines.size(), kLinesShown);
    for (std::size_t i = 0; i < shown; ++i) {
        io.out << "  " << lines[i] << "\n";
    }
    if (shown < lines.size()) {
        io.out << "  ... and " << lines.size() - shown << " more (--verbose shows all)\n";
    }
}

char const* State(bool repair, bool wasShort, bool isShort) {
    return !wasShort ? "in order"
           : !repair ? "short"
           : isShort ? "short, not repaired"
                     : "repaired";
}

} // namespace

bool Findings::InOrder() const {
    bool found = !accounts.empty() || !orphans.empty();
    return !adminStillShort && !accountantStillShort && (repair ? !mendFailed : !found);
}

bool Findings::Found() const {
    return adminShort || accountantShort || !accounts.empty() || !orphans.empty();
}

char const* Findings::AdminState() const {
    return State(repair, adminShort, adminStillShort);
}

char const* Findings::AccountantState() const {
    return State(repair, accountantShort, accountantStillShort);
}

Findings CheckAll(Session& session, bool repair) {
    PM::PermissionManager& manager = session.Manager();
    Findings findings;
    findings.repair = repair;
    {
        LogCapture capture;
        findings.adminShort = manager.VerifyAdminRoleAccess(repair);
        findings.accountantShort = manager.VerifyExternalAccountantRoleAccess(repair);
        findings.log = capture.Lines();
    }
    findings.adminStillShort = findings.adminShort;
    findings.accountantStillShort = findings.accountantShort;
    if (repair) {
        // The checks again, without repairing, say whether the roles are whole.
        LogCapture quiet;
        findings.adminStillShort = manager.VerifyAdminRoleAccess(false);
        findings.accountantStillShort = manager.VerifyExternalAccountantRoleAccess(false);
    }
    CheckAccounts(session, &findings);
    CheckOrphans(session, &findings);
    return findings;
}

void PrintFindings(Findings const& findings, bool verbose, Io io) {
    io.out << "Admin: " << findings.AdminState() << "\n"
           << "External Accountant: " << findings.AccountantState() << "\n";
    for (std::string const& line : findings.log) {
        io.out << "  " << line << "\n";
    }
    char const* verb =
        findings.repair ? (findings.mendFailed ? "not all mended" : "mended") : "to mend";
    PrintLines(
        (std::string("bank accounts where a role holds less than on the parent, ") + verb).c_str(),
        findings.accounts, verbose, io);
    PrintLines((std::string("assignments whose user or role is gone, ") + verb).c_str(),
               findings.orphans, verbose, io);
    if (findings.accounts.empty() && findings.orphans.empty()) {
        io.out << "bank accounts and assignments: in order\n";
    }
}

} // namespace Pmctl
