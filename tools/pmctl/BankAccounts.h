// Bank accounts as pmctl names them: entitlements that the library creates at
// run time below "Bank Accounts" and knows by full names that start with
// "Bank Registers". pmctl names an account by its path below that head:
// "Checking", or "Checking:Payroll" for a sub-account of Checking.
#pragma once

#include "Commands.h"
#include "Progress.h"
#include "Session.h"

#include <PM/EntitlementDef.h>

#include <string>
#include <vector>

namespace Pmctl {

extern char const kBankAccountsName[]; // the entitlement top-level accounts hang below

struct Account {
    int id;
    int parent; // the entitlement id of the parent: an account or Bank Accounts
    std::string path;
};

// The path up to the last ':', empty for a top-level account.
std::string ParentPath(std::string const& path);
std::string ShortName(std::string const& path);
// A bank account's path below "Bank Registers" and the full name the
// library knows it by.
std::string BankFullName(std::string const& account);
// The path of an account named either way: by its full name ("Bank
// Registers:Checking", "Bank" compared without case) or by its path.
std::string AccountPath(std::string const& named);
// " (did you mean ...?)" with the live account closest to named, in the form
// it was named in (full name or path); "" when none is close.
std::string AccountDidYouMean(Session& session, std::string const& named);

// A live account by path, its name compared without regard to case, as the
// library compares names; its def has the full name.
bool FindAccount(Session& session, std::string const& path, PM::EntitlementDef* def);
// The live accounts, in path order.
std::vector<Account> Accounts(Session& session);

// Adds the accounts of a list file (one path a line; blank lines and lines
// starting with '#' passed over) through the library's bulk path, then gives
// each role on each what it holds on its parent and reloads. The whole list is
// checked first: nothing is written for a list with a fault (exit 2, the line
// and the fault on io.err). Each pass is a phase of progress, which on success
// is summed up ("imported 2,000 accounts") for its Finish once the change is
// written. The caller brackets it as one change.
int ImportAccountList(Session& session, std::string const& listFile, Progress& progress, Io io);

} // namespace Pmctl
