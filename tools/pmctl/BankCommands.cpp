// pmctl bank: the entitlements of bank accounts, which the library creates at
// run time below "Bank Accounts" and knows by full names that start with
// "Bank Registers". The bank commands take an account by that full name or by
// its path below the head: "Checking", or "Checking:Payroll" for a
// sub-account of Checking.
#include "BankAccounts.h"
#include "CommandSupport.h"

#include <PM/Constants.h>
#include <PM/PermissionManager.h>

#include <Records/RecordText.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>

namespace Pmctl {

namespace {

// Every level has a name that is not blank, can be read and typed, and fits
// the company file.
bool CheckPath(std::string const& path, std::string* error) {
    std::size_t start = 0;
    for (;;) {
        std::size_t colon = path.find(':', start);
        std::string level = path.substr(start, colon == std::string::npos ? colon : colon - start);
        if (level.find_first_not_of(" \t") == std::string::npos) {
            *error = "\"" + path + "\" is not an account path (names joined by ':', none blank)";
            return false;
        }
        if (!CheckName("account name", level, error)) {
            return false;
        }
        if (level.size() >= static_cast<std::size_t>(kRecordTextBufferSize)) {
            *error = "the account name \"" + level.substr(0, 20) + "...\" is longer than " +
                     std::to_string(kRecordTextBufferSize - 1) + " bytes";
            return false;
        }
        if (colon == std::string::npos) {
            return true;
        }
        start = colon + 1;
    }
}

// The parent's full name as AddDynamicEntitlement wants it, checking it exists.
bool ParentOf(Session& session, std::string const& path, std::string* parentName, Io io) {
    std::string parent = ParentPath(path);
    PM::EntitlementDef def;
    if (parent.empty()) {
        *parentName = kBankAccountsName;
        return true;
    }
    if (!FindAccount(session, parent, &def)) {
        Complain(io, session.Path())
            << "no bank account \"" << parent << "\" to hold \"" << ShortName(path) << "\""
            << AccountDidYouMean(session, parent) << "\n";
        return false;
    }
    *parentName = def.GetName(); // as stored, whatever the case it was typed in
    return true;
}

// The roles whose mask on the account and on its parent break the rule
// (equal after an add, not above the parent after a move); a mask that is not
// stored counts as 0.
std::string RolesBreaking(Session& session, int accountId, int parentId, bool equal) {
    PM::PermissionManager& manager = session.Manager();
    std::string names;
    for (PM::RoleObject const& role : *manager.GetRoleCache()) {
        long onParent = RoleMask(session, role.GetId(), parentId);
        long onAccount = RoleMask(session, role.GetId(), accountId);
        if (equal ? onAccount != onParent : onAccount > onParent) {
            names += (names.empty() ? "" : ", ") + std::string(role.GetName());
        }
    }
    return names;
}

// The path as names are compared: ASCII letters without case, as the library
// finds entitlements by name.
std::string Folded(std::string const& path) {
    std::string folded = path;
    for (char& c : folded) {
        c = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return folded;
}

// Gives each role on each account what it holds on the account's parent. The
// bulk path gives every new account the roles' rights on Bank Accounts; a
// sub-account is to have its parent's, as one added alone has. Accounts come
// parents first, so a parent's masks are final when its children copy them.
bool CopyParentsMasks(Session& session, std::vector<Account> const& accounts, int bankAccountsId) {
    PM::PermissionManager& manager = session.Manager();
    for (Account const& account : accounts) {
        if (account.parent == bankAccountsId) {
            continue;
        }
        for (PM::RoleObject const& role : *manager.GetRoleCache()) {
            long onParent = RoleMask(session, role.GetId(), account.parent);
            long onAccount = RoleMask(session, role.GetId(), account.id);
            if (onAccount != onParent && manager.GetURPStore()->URPSUpdateRoleActionAssociation(
                                             role.GetId(), account.id, onParent) != PM_OK) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

int BankListCommand(FileArgs const& args, Io io) {
    return RunRead(args, io, [&](Session& session) {
        std::vector<Account> accounts = Accounts(session);
        if (args.json) {
            Json list = Json::array();
            for (Account const& account : accounts) {
                list.push_back({{"id", account.id},
                                {"name", BankFullName(account.path)},
                                {"path", account.path},
                                {"parent", account.parent}});
            }
            PrintJson(list, io);
            return kExitOk;
        }
        for (Account const& account : accounts) {
            io.out << account.id << "  " << BankFullName(account.path) << "\n";
        }
        if (accounts.empty()) {
            io.out << "no bank accounts\n";
        }
        return kExitOk;
    });
}

int BankAddCommand(FileArgs const& args, std::string const& named, Io io) {
    std::string const path = AccountPath(named);
    return RunChange(args, io, [&](Session& session, Io io) {
        std::string error;
        if (!CheckPath(path, &error)) {
            Complain(io, args.file) << error << "\n";
            return kExitBadInput;
        }
        std::string parentName;
        PM::EntitlementDef existing;
        if (FindAccount(session, path, &existing)) {
            Complain(io, args.file) << "there is a bank account \"" << path << "\" already\n";
            return kExitBadInput;
        }
        if (!ParentOf(session, path, &parentName, io)) {
            return kExitBadInput;
        }
        PM::PermissionManager& manager = session.Manager();
        int result = manager.AddDynamicEntitlement(BankFullName(path).c_str(), parentName.c_str());
        PM::EntitlementDef added;
        if (!FindAccount(session, path, &added)) {
            Complain(io, args.file) << "the bank account \"" << path << "\" could not be added ("
                                    << Result(result) << ")\n";
            return kExitFailed;
        }
        // A role that holds nothing on the parent has no stored mask there;
        // the library reports that role as a failure and gives it no mask on
        // the new account, which leaves it holding nothing, as on the parent.
        // So the result alone does not tell: compare each role's masks.
        std::string differing =
            RolesBreaking(session, added.GetId(),
                          manager.FindEntitlementDefByName(parentName.c_str()).GetId(), true);
        if (!differing.empty()) {
            Complain(io, args.file)
                << "the bank account \"" << path << "\" could not be given each role's rights on "
                << parentName << " (" << Result(result)
                << "); nothing was changed. Roles: " << differing << "\n";
            return kExitFailed;
        }
        io.out << "added the bank account " << added.GetName() << " (entitlement " << added.GetId()
               << "); each role holds on it what it holds on " << parentName << "\n";
        return kExitOk;
    });
}

int BankRenameCommand(FileArgs const& args, std::string const& named, std::string const& newNamed,
                      Io io) {
    std::string const path = AccountPath(named);
    std::string const newPath = AccountPath(newNamed);
    return RunChange(args, io, [&](Session& session, Io io) {
        std::string error;
        if (!CheckPath(newPath, &error)) {
            Complain(io, args.file) << error << "\n";
            return kExitBadInput;
        }
        std::string parentName;
        PM::EntitlementDef account;
        PM::EntitlementDef taken;
        if (!FindAccount(session, path, &account)) {
            Complain(io, args.file) << "no bank account \"" << named << "\""
                                    << AccountDidYouMean(session, named) << "\n";
            return kExitBadInput;
        }
        if (FindAccount(session, newPath, &taken) && taken.GetId() != account.GetId()) {
            Complain(io, args.file) << "there is a bank account \"" << newPath << "\" already\n";
            return kExitBadInput;
        }
        std::string newParent = ParentPath(newPath);
        if (newParent == path || newParent.compare(0, path.size() + 1, path + ":") == 0) {
            Complain(io, args.file) << "\"" << path << "\" cannot move below itself\n";
            return kExitBadInput;
        }
        if (!ParentOf(session, newPath, &parentName, io)) {
            return kExitBadInput;
        }
        if (ParentPath(path).empty() || newParent.empty()) {
            // The library finds the new parent by the path in front of the
            // short name. For a top-level account that path is "Bank
            // Registers", which names the register entitlement, not "Bank
            // Accounts": the account would land below the register and out of
            // the tree.
            Complain(io, args.file)
                << "only sub-accounts can be renamed or moved, and only below "
                   "another account; \""
                << (ParentPath(path).empty() ? path : newPath) << "\" is a top-level account\n";
            return kExitBadInput;
        }
        PM::PermissionManager& manager = session.Manager();
        int result = manager.UpdateDynamicEntitlement(BankFullName(path).c_str(),
                                                      BankFullName(newPath).c_str());
        PM::EntitlementDef moved;
        // As with add: roles without a stored mask make the library report a
        // failure though the move is made; what counts is that no role holds
        // more on the account than on its new parent.
        if (result != PM_OK && FindAccount(session, newPath, &moved) &&
            RolesBreaking(session, moved.GetId(), moved.GetCategory(), false).empty()) {
            result = PM_OK;
        }
        if (result != PM_OK) {
            Complain(io, args.file) << "the bank account \"" << path << "\" could not be renamed ("
                                    << Result(result) << ")\n";
            return kExitFailed;
        }
        io.out << "renamed the bank account " << account.GetName() << " to "
               << BankFullName(newPath) << " (entitlement " << account.GetId() << ")\n";
        return kExitOk;
    });
}

int BankRemoveCommand(FileArgs const& args, std::string const& named, Io io) {
    std::string const path = AccountPath(named);
    return RunChange(args, io, [&](Session& session, Io io) {
        PM::EntitlementDef account;
        if (!FindAccount(session, path, &account)) {
            Complain(io, args.file) << "no bank account \"" << named << "\""
                                    << AccountDidYouMean(session, named) << "\n";
            return kExitBadInput;
        }
        for (Account const& other : Accounts(session)) {
            if (other.parent == account.GetId()) {
                Complain(io, args.file) << "\"" << path << "\" holds the sub-account \""
                                        << other.path << "\"; remove that first\n";
                return kExitBadInput;
            }
        }
        int result = session.Manager().DeleteDynamicEntitlement(BankFullName(path).c_str());
        if (result != PM_OK) {
            Complain(io, args.file) << "the bank account \"" << path << "\" could not be removed ("
                                    << Result(result) << ")\n";
            return kExitFailed;
        }
        io.out << "removed the bank account " << account.GetName() << "; its entitlement "
               << account.GetId() << " stays blank and its id is not used again\n";
        return kExitOk;
    });
}

namespace {

// The paths of the list, checked whole before anything is written: each
// path is new (names compared without case), named once, and its parent is
// an account or comes earlier in the list. False with the line's number and
// the reason on io.err.
bool ReadAccountList(Session& session, std::string const& listFile, std::vector<std::string>* paths,
                     Io io) {
    std::ifstream in(listFile);
    if (!in) {
        io.err << "pmctl: " << listFile << ": cannot read the file\n";
        return false;
    }
    std::map<std::string, int> listed; // folded path: its line
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        // Blanks around a line are layout; blanks around a name inside it
        // ("Checking : Payroll") are refused by CheckPath.
        std::size_t first = line.find_first_not_of(" \t\r");
        std::size_t last = line.find_last_not_of(" \t\r");
        line = first == std::string::npos ? "" : line.substr(first, last - first + 1);
        if (line.empty() || line[0] == '#') {
            continue;
        }
        line = AccountPath(line);
        std::string where = listFile + ":" + std::to_string(number) + ": ";
        std::string error;
        PM::EntitlementDef existing;
        std::string parent = ParentPath(line);
        if (!CheckPath(line, &error)) {
            io.err << "pmctl: " << where << error << "\n";
            return false;
        }
        auto earlier = listed.find(Folded(line));
        if (earlier != listed.end()) {
            io.err << "pmctl: " << where << "\"" << line << "\" is listed on line "
                   << earlier->second << " already\n";
            return false;
        }
        if (FindAccount(session, line, &existing)) {
            io.err << "pmctl: " << where << "there is a bank account \"" << line << "\" already\n";
            return false;
        }
        if (!parent.empty() && listed.count(Folded(parent)) == 0 &&
            !FindAccount(session, parent, &existing)) {
            io.err << "pmctl: " << where << "no bank account \"" << parent << "\" to hold \""
                   << ShortName(line) << "\"" << AccountDidYouMean(session, parent) << "\n";
            return false;
        }
        listed[Folded(line)] = number;
        paths->push_back(line);
    }
    if (paths->empty()) {
        io.err << "pmctl: " << listFile << ": no bank accounts in the file\n";
        return false;
    }
    return true;
}

} // namespace

int ImportAccountList(Session& session, std::string const& listFile, Progress& progress, Io io) {
    std::vector<std::string> paths;
    progress.Phase("checking the list");
    if (!ReadAccountList(session, listFile, &paths, io)) {
        return kExitBadInput;
    }
    progress.Phase("adding the accounts", paths.size());
    // The bulk path writes store rows only; the ids are counted up here,
    // since the library's next id reads the cache, which does not see them.
    PM::PermissionManager& manager = session.Manager();
    PM::EntitlementDef bankAccounts = manager.FindEntitlementDefById(PM::BankAccountsEntitlementId);
    std::map<std::string, Account> created; // folded path: the new account
    std::vector<Account> added;
    int firstId = manager.GetNextDynamicEntId();
    int nextId = firstId;
    std::map<int, long> attrsOf;
    for (std::string const& path : paths) {
        std::string parent = ParentPath(path);
        Account account{nextId, bankAccounts.GetId(), path};
        long attrs = bankAccounts.GetAttrs();
        PM::EntitlementDef existing;
        auto fresh = created.find(Folded(parent));
        if (fresh != created.end()) {
            account.parent = fresh->second.id;
            attrs = attrsOf[fresh->second.id];
        } else if (!parent.empty() && FindAccount(session, parent, &existing)) {
            account.parent = existing.GetId();
            attrs = existing.GetAttrs();
        }
        int result = manager.AddDynamicEntitlementRapidly(ShortName(path).c_str(), nextId,
                                                          account.parent, static_cast<int>(attrs));
        if (result != PM_OK) {
            progress.EndLine();
            Complain(io, session.Path())
                << "the bank account \"" << path << "\" could not be added (" << Result(result)
                << "); nothing was changed\n";
            return kExitFailed;
        }
        attrsOf[nextId] = attrs;
        created[Folded(path)] = account;
        added.push_back(account);
        ++nextId;
        progress.Step(added.size());
    }
    int count = nextId - firstId;
    progress.Phase("giving each role its rights");
    int result = manager.UpdateDynamicEntitlementForRolesInBatch(firstId, count);
    if (result != PM_OK || !CopyParentsMasks(session, added, bankAccounts.GetId())) {
        Complain(io, session.Path()) << "the roles' rights on the new accounts could not be "
                                        "written ("
                                     << Result(result) << "); nothing was changed\n";
        return kExitFailed;
    }
    progress.Phase("reloading the rights");
    if (!session.Reload(io.err)) {
        return kExitFailed;
    }
    progress.Phase("writing the file"); // once this returns
    progress.Summarize("imported " + Grouped(added.size()) + " accounts");
    io.out << "imported " << count << " bank accounts (entitlements " << firstId << " to "
           << nextId - 1 << "); each role holds on each what it holds on its parent\n";
    return kExitOk;
}

int BankImportCommand(FileArgs const& args, std::string const& listFile, bool progress, Io io) {
    Progress shown(io.err, progress || IsTerminal(io.err));
    int code = RunChange(args, io, [&](Session& session, Io io) {
        return ImportAccountList(session, listFile, shown, io);
    });
    if (code == kExitOk) {
        shown.Finish(args.dryRun ? "(dry run: nothing was written)" : "");
    }
    return code;
}

} // namespace Pmctl
