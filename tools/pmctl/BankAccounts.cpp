// Finding bank accounts by path, and listing them.
#include "BankAccounts.h"

#include "CommandSupport.h"
#include "Suggest.h"

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

namespace {

// Whether named starts with "Bank Registers:", compared without ASCII case.
bool HasHead(std::string const& named) {
    std::string const head = BankFullName("");
    return named.size() > head.size() &&
           std::equal(head.begin(), head.end(), named.begin(), [](char a, char b) {
               return a == b || (a >= 'A' && a <= 'Z' && b == a - 'A' + 'a') ||
                      (a >= 'a' && a <= 'z' && b == a - 'a' + 'A');
           });
}

} // namespace

std::string AccountPath(std::string const& named) {
    return HasHead(named) ? named.substr(BankFullName("").size()) : named;
}

std::string AccountDidYouMean(Session& session, std::string const& named) {
    std::vector<std::string> names;
    for (Account const& account : Accounts(session)) {
        names.push_back(HasHead(named) ? BankFullName(account.path) : account.path);
    }
    return DidYouMean(named, names);
}

} // namespace Pmctl
