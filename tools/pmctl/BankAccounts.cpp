// Finding bank accounts by path, and listing them.
#include "BankAccounts.h"

#include "CommandSupport.h"

#include <PM/PermissionManager.h>

#include <algorithm>

namespace Pmctl {

char const kBankAccountsName[] = "Bank Accounts";

std::string ParentPath(std::string const& path) {
    std::size_t colon = path.rfind(':');
    return colon == std::string::npos ? "" : path.substr(0, colon);
}

std::string ShortName(std::string const& path) {
    return path.substr(path.rfind(':') + 1);
}

bool FindAccount(Session& session, std::string const& path, PM::EntitlementDef* def) {
    PM::EntitlementDef found =
        session.Manager().FindEntitlementDefByName(BankFullName(path).c_str());
    if (found.GetId() == PM_ERR_NOENT || !found.IsDynamicEntitlement() || !found.IsEnabled()) {
        return false;
    }
    *def = found;
    return true;
}

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

std::string BankFullName(std::string const& account) {
    return "Bank Registers:" + account;
}

} // namespace Pmctl
