// pmctl bank: the entitlements of bank accounts, which the library creates at
// run time below "Bank Accounts" and knows by full names that start with
// "Bank Registers". pmctl names an account by its path below that head:
// "Checking", or "Checking:Payroll" for a sub-account of Checking.
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

const char kBankAccountsName[] = "Bank Accounts";

// The path up to the last ':', empty for a top-level account.
std::string ParentPath(std::string const& path) {
    std::size_t colon = path.rfind(':');
    return colon == std::string::npos ? "" : path.substr(0, colon);
}

std::string ShortName(std::string const& path) {
    return path.substr(path.rfind(':') + 1);
}

// Every level has a name that is not blank and fits the company file.
bool CheckPath(std::string const& path, std::string* error) {
    std::size_t start = 0;
    for (;;) {
        std::size_t colon = path.find(':', start);
        std::string level = path.substr(start, colon == std::string::npos ? colon : colon - start);
        if (level.find_first_not_of(" \t") == std::string::npos) {
            *error = "\"" + path + "\" is not an account path (names joined by ':', none blank)";
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

// A live account by path; its def has the full name.
bool FindAccount(Session& session, std::string const& path, PM::EntitlementDef* def) {
    PM::EntitlementDef found =
        session.Manager().FindEntitlementDefByName(BankFullName(path).c_str());
    if (found.GetId() == PM_ERR_NOENT || !found.IsDynamicEntitlement() || !found.IsEnabled()) {
        return false;
    }
    *def = found;
    return true;
}

struct Account {
    int id;
    int parent;
    std::string path;
};

// The live accounts, in path order.
std::vector<Account> Accounts(Session& session) {
    PM::PermissionManager& manager = session.Manager();
    std::vector<PM::EntitlementDef> all;
    for (PM::EntitlementObject& row : *manager.GetEntitlementCache()) {
        all.push_back(PM::EntitlementDef(row));
    }
    std::vector<Account> accounts;
    std::string const head = BankFullName("");
    for (PM::EntitlementDef const& def : all) {
        if (def.IsDynamicEntitlement() && def.IsEnabled()) {
            std::string full(manager.GetFullEntName(&all, &def));
            accounts.push_back(
                {def.GetId(), def.GetCategory(),
                 full.compare(0, head.size(), head) == 0 ? full.substr(head.size()) : full});
        }
    }
    std::sort(accounts.begin(), accounts.end(),
              [](Account const& a, Account const& b) { return a.path < b.path; });
    return accounts;
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
            << "no bank account \"" << parent << "\" to hold \"" << ShortName(path) << "\"\n";
        return false;
    }
    *parentName = BankFullName(parent);
    return true;
}

// The roles whose mask on the account and on its parent break the rule
// (equal after an add, not above the parent after a move); a mask that is not
// stored counts as 0.
std::string RolesBreaking(Session& session, int accountId, int parentId, bool equal) {
    PM::PermissionManager& manager = session.Manager();
    std::string names;
    for (PM::RoleObject const& role : *manager.GetRoleCache()) {
        long onParent = 0;
        long onAccount = 0;
        if (manager.GetRoleActionAssociation(role.GetId(), parentId, &onParent) != PM_OK) {
            onParent = 0;
        }
        if (manager.GetRoleActionAssociation(role.GetId(), accountId, &onAccount) != PM_OK) {
            onAccount = 0;
        }
        if (equal ? onAccount != onParent : onAccount > onParent) {
            names += (names.empty() ? "" : ", ") + std::string(role.GetName());
        }
    }
    return names;
}

void DrawProgress(std::ostream& out, std::size_t done, std::size_t total) {
    const std::size_t width = 40;
    std::size_t filled = total == 0 ? width : done * width / total;
    out << "\r  [" << std::string(filled, '#') << std::string(width - filled, '.') << "] " << done
        << "/" << total << std::flush;
}

} // namespace

int BankListCommand(FileArgs const& args, Io io) {
    std::unique_ptr<Session> session = OpenSession(args, io);
    if (session == nullptr) {
        return kExitBadInput;
    }
    std::vector<Account> accounts = Accounts(*session);
    if (args.json) {
        Json list = Json::array();
        for (Account const& account : accounts) {
            list.push_back(
                {{"id", account.id}, {"path", account.path}, {"parent", account.parent}});
        }
        PrintJson(list, io);
        return kExitOk;
    }
    for (Account const& account : accounts) {
        io.out << account.id << "  " << account.path << "\n";
    }
    if (accounts.empty()) {
        io.out << "no bank accounts\n";
    }
    return kExitOk;
}

int BankAddCommand(FileArgs const& args, std::string const& path, Io io) {
    std::unique_ptr<Session> session = OpenSession(args, io);
    std::string error;
    std::string parentName;
    PM::EntitlementDef existing;
    if (session == nullptr) {
        return kExitBadInput;
    }
    if (!CheckPath(path, &error)) {
        Complain(io, args.file) << error << "\n";
        return kExitBadInput;
    }
    if (FindAccount(*session, path, &existing)) {
        Complain(io, args.file) << "there is a bank account \"" << path << "\" already\n";
        return kExitBadInput;
    }
    if (!ParentOf(*session, path, &parentName, io)) {
        return kExitBadInput;
    }
    PM::PermissionManager& manager = session->Manager();
    int result = manager.AddDynamicEntitlement(BankFullName(path).c_str(), parentName.c_str());
    PM::EntitlementDef added;
    if (!FindAccount(*session, path, &added)) {
        Complain(io, args.file) << "the bank account \"" << path << "\" could not be added (result "
                                << result << ")\n";
        return kExitFailed;
    }
    // A role that holds nothing on the parent has no stored mask there; the
    // library reports that role as a failure and gives it no mask on the new
    // account, which leaves it holding nothing, as on the parent. So the
    // result alone does not tell: compare each role's masks instead.
    std::string differing =
        RolesBreaking(*session, added.GetId(),
                      manager.FindEntitlementDefByName(parentName.c_str()).GetId(), true);
    if (!differing.empty()) {
        Complain(io, args.file) << "the bank account \"" << path << "\" was added (entitlement "
                                << added.GetId() << "), but these roles did not get their rights "
                                << "on it (result " << result << "): " << differing << "\n";
        return kExitFailed;
    }
    io.out << "added the bank account " << path << " (entitlement " << added.GetId()
           << "); each role holds on it what it holds on " << parentName << "\n";
    return kExitOk;
}

int BankRenameCommand(FileArgs const& args, std::string const& path, std::string const& newPath,
                      Io io) {
    std::unique_ptr<Session> session = OpenSession(args, io);
    std::string error;
    std::string parentName;
    PM::EntitlementDef account;
    PM::EntitlementDef taken;
    if (session == nullptr) {
        return kExitBadInput;
    }
    if (!FindAccount(*session, path, &account)) {
        Complain(io, args.file) << "no bank account \"" << path << "\"\n";
        return kExitBadInput;
    }
    if (!CheckPath(newPath, &error)) {
        Complain(io, args.file) << error << "\n";
        return kExitBadInput;
    }
    if (FindAccount(*session, newPath, &taken) && taken.GetId() != account.GetId()) {
        Complain(io, args.file) << "there is a bank account \"" << newPath << "\" already\n";
        return kExitBadInput;
    }
    std::string newParent = ParentPath(newPath);
    if (newParent == path || newParent.compare(0, path.size() + 1, path + ":") == 0) {
        Complain(io, args.file) << "\"" << path << "\" cannot move below itself\n";
        return kExitBadInput;
    }
    if (!ParentOf(*session, newPath, &parentName, io)) {
        return kExitBadInput;
    }
    if (ParentPath(path).empty() || newParent.empty()) {
        // The library finds the new parent by the path in front of the short
        // name. For a top-level account that path is "Bank Registers", which
        // names the register entitlement, not "Bank Accounts": the account
        // would land below the register and out of the tree.
        Complain(io, args.file) << "only sub-accounts can be renamed or moved, and only below "
                                   "another account; \""
                                << (ParentPath(path).empty() ? path : newPath)
                                << "\" is a top-level account\n";
        return kExitBadInput;
    }
    PM::PermissionManager& manager = session->Manager();
    int result =
        manager.UpdateDynamicEntitlement(BankFullName(path).c_str(), BankFullName(newPath).c_str());
    PM::EntitlementDef moved;
    // As with add: roles without a stored mask make the library report a
    // failure though the move is made; what counts is that no role holds more
    // on the account than on its new parent.
    if (result != PM_OK && FindAccount(*session, newPath, &moved) &&
        RolesBreaking(*session, moved.GetId(), moved.GetCategory(), false).empty()) {
        result = PM_OK;
    }
    if (result != PM_OK) {
        Complain(io, args.file) << "the bank account \"" << path
                                << "\" could not be renamed (result " << result << ")\n";
        return kExitFailed;
    }
    io.out << "renamed the bank account " << path << " to " << newPath << " (entitlement "
           << account.GetId() << ")\n";
    return kExitOk;
}

int BankRemoveCommand(FileArgs const& args, std::string const& path, Io io) {
    std::unique_ptr<Session> session = OpenSession(args, io);
    PM::EntitlementDef account;
    if (session == nullptr) {
        return kExitBadInput;
    }
    if (!FindAccount(*session, path, &account)) {
        Complain(io, args.file) << "no bank account \"" << path << "\"\n";
        return kExitBadInput;
    }
    for (Account const& other : Accounts(*session)) {
        if (other.parent == account.GetId()) {
            Complain(io, args.file) << "\"" << path << "\" holds the sub-account \"" << other.path
                                    << "\"; remove that first\n";
            return kExitBadInput;
        }
    }
    int result = session->Manager().DeleteDynamicEntitlement(BankFullName(path).c_str());
    if (result != PM_OK) {
        Complain(io, args.file) << "the bank account \"" << path
                                << "\" could not be removed (result " << result << ")\n";
        return kExitFailed;
    }
    io.out << "removed the bank account " << path << "; its entitlement " << account.GetId()
           << " stays blank and its id is not used again\n";
    return kExitOk;
}

int BankImportCommand(FileArgs const& args, std::string const& listFile, bool progress, Io io) {
    std::unique_ptr<Session> session = OpenSession(args, io);
    if (session == nullptr) {
        return kExitBadInput;
    }
    std::ifstream in(listFile);
    if (!in) {
        io.err << "pmctl: " << listFile << ": cannot read the file\n";
        return kExitBadInput;
    }
    // Read and check the whole list before anything is written: each path is
    // new, and its parent is an account or comes earlier in the list.
    std::vector<std::string> paths;
    std::set<std::string> listed;
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        std::size_t first = line.find_first_not_of(" \t\r");
        std::size_t last = line.find_last_not_of(" \t\r");
        line = first == std::string::npos ? "" : line.substr(first, last - first + 1);
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::string where = listFile + ":" + std::to_string(number) + ": ";
        std::string error;
        PM::EntitlementDef existing;
        std::string parent = ParentPath(line);
        if (!CheckPath(line, &error)) {
            io.err << "pmctl: " << where << error << "\n";
            return kExitBadInput;
        }
        if (FindAccount(*session, line, &existing) || listed.count(line) != 0) {
            io.err << "pmctl: " << where << "there is a bank account \"" << line << "\" already\n";
            return kExitBadInput;
        }
        if (!parent.empty() && listed.count(parent) == 0 &&
            !FindAccount(*session, parent, &existing)) {
            io.err << "pmctl: " << where << "no bank account \"" << parent << "\" to hold \""
                   << ShortName(line) << "\"\n";
            return kExitBadInput;
        }
        listed.insert(line);
        paths.push_back(line);
    }
    if (paths.empty()) {
        io.err << "pmctl: " << listFile << ": no bank accounts in the file\n";
        return kExitBadInput;
    }

    // The bulk path writes store rows only; the ids are counted up here, since
    // the library's next id reads the cache, which does not see them.
    PM::PermissionManager& manager = session->Manager();
    PM::EntitlementDef bankAccounts = manager.FindEntitlementDefById(PM::BankAccountsEntitlementId);
    std::map<std::string, std::pair<int, long>> created; // path: id, attrs
    int firstId = manager.GetNextDynamicEntId();
    int nextId = firstId;
    for (std::string const& path : paths) {
        std::string parent = ParentPath(path);
        int parentId = bankAccounts.GetId();
        long attrs = bankAccounts.GetAttrs();
        PM::EntitlementDef existing;
        if (created.count(parent) != 0) {
            parentId = created[parent].first;
            attrs = created[parent].second;
        } else if (!parent.empty() && FindAccount(*session, parent, &existing)) {
            parentId = existing.GetId();
            attrs = existing.GetAttrs();
        }
        int result = manager.AddDynamicEntitlementRapidly(ShortName(path).c_str(), nextId, parentId,
                                                          static_cast<int>(attrs));
        if (result != PM_OK) {
            if (progress) {
                io.out << "\n";
            }
            Complain(io, args.file)
                << "the bank account \"" << path << "\" could not be added (result " << result
                << "); " << created.size() << " accounts before it were written\n";
            return kExitFailed;
        }
        created[path] = {nextId++, attrs};
        if (progress) {
            DrawProgress(io.out, created.size(), paths.size());
        }
    }
    if (progress) {
        io.out << "\n";
    }
    int count = nextId - firstId;
    int result = manager.UpdateDynamicEntitlementForRolesInBatch(firstId, count);
    if (result != PM_OK) {
        Complain(io, args.file) << "the roles' rights on the new accounts could not be written "
                                   "(result "
                                << result << ")\n";
        return kExitFailed;
    }
    if (!session->Reload(io.err)) {
        return kExitFailed;
    }
    io.out << "imported " << count << " bank accounts (entitlements " << firstId << " to "
           << nextId - 1 << "); each role holds on them what it holds on " << kBankAccountsName
           << "\n";
    return kExitOk;
}

} // namespace Pmctl
