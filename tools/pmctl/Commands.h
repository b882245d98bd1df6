// The commands of pmctl. Each opens the company file in a Session, does its
// work through the permission manager's public interface and the reference
// host, and writes to the streams it is given, so that tests can run it and
// read what it printed.
//
// Read commands work on a snapshot of the file and never write it. Each write
// command is one write bracket: it is in the file whole once it says so, and
// not at all when it fails, is interrupted or is killed.
//
// Exit codes: 0 done (and, for check, allowed); 1 denied (check), a library
// operation failed, or the change could not be written (the disk full,
// another program writing); 2 bad input: an unknown user, role, entitlement,
// action or application, a name that cannot be used, a file that is not a
// company file or cannot be read, or a change that the protection refuses.
// A command that does not end with 0 has written nothing.
#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace Pmctl {

const int kExitOk = 0;
const int kExitFailed = 1; // also: check answered "denied"
const int kExitBadInput = 2;

struct Io {
    std::ostream& out;
    std::ostream& err;
};

// What every command but demo takes: the company file, the catalogue to open
// it with (empty: the one that ships with pmctl), whether to print JSON
// instead of text (for a write command: the record of the change), for write
// commands whether to leave the change unwritten (a dry run: the same work in
// a bracket that is then abandoned) and whether to override the protection of
// what the office cannot lose (the last holder of Admin, the predefined
// roles), and the command as the change history records it: pmctl's words
// without the file ("users add carol").
struct FileArgs {
    std::string file;
    std::string catalogue;
    bool json = false;
    bool dryRun = false;
    bool force = false;
    std::string command = "";
};

// create: a new company file with the catalogue's factory defaults and an
// administrator holding the Admin role. Refuses a path that exists.
int CreateCommand(FileArgs const& args, std::string const& adminName, Io io);
// info: catalogue and stored version, counts, and whether opening upgraded it.
int InfoCommand(FileArgs const& args, Io io);
// reset: back to the factory defaults; only the administrator keeps a role.
int ResetCommand(FileArgs const& args, Io io);
// upgrade: opens the file with args.catalogue, which brings the stored
// permission data to that catalogue's version.
int UpgradeCommand(FileArgs const& args, Io io);

// users list | add | remove. Users, roles and entitlements are named by name,
// compared without regard to case, or by id written "#N" ("#103"); a name of
// digits is a name (FindUser, FindRole, FindEntitlement in CommandSupport.h).
int UsersListCommand(FileArgs const& args, Io io);
// add refuses a name taken by another user apart from case, and a name of the
// form #N. isAdmin makes the user an administrator of the company file and
// gives the user the Admin role, in the same change. Prints the name and id.
int UsersAddCommand(FileArgs const& args, std::string const& name, bool isAdmin, Io io);
int UsersRemoveCommand(FileArgs const& args, std::string const& user, Io io);
// assign gives a user a role; unassign takes one role, or with an empty role
// every role, away.
int AssignCommand(FileArgs const& args, std::string const& user, std::string const& role, Io io);
int UnassignCommand(FileArgs const& args, std::string const& user, std::string const& role, Io io);

// check: may the user do the action on the entitlement, optionally while the
// named integrated application acts? Prints allowed or denied; 0 or 1.
int CheckCommand(FileArgs const& args, std::string const& user, std::string const& entitlement,
                 std::string const& action, std::string const& application, Io io);
// explain: which of the user's roles grant which actions on the entitlement;
// then, for what the library denies (the action given, or else every action
// some role grants there), the roles that grant it and whether the user holds
// them. With an application, the library answers while it acts, from its
// role alone. 0 once explained, allowed or not.
int ExplainCommand(FileArgs const& args, std::string const& user, std::string const& entitlement,
                   std::string const& action, std::string const& application, Io io);

// Reverse lookups, answered by the library's decision for each user (EstablishUser,
// then IsAccessAllowed), with the roles that grant it as the explanation.
// who-can: each user who may do the action on the entitlement (empty action:
// anything at all, custom included), the user's actions there and the roles
// through which; with an application, what each user's session may do there
// while the application acts, through the application's role. 0 once
// answered, nobody included.
int WhoCanCommand(FileArgs const& args, std::string const& entitlement, std::string const& action,
                  std::string const& application, Io io);
// rights: the entitlement tree with the actions the user may do on each row
// ("-": none); with an application, those it may do while it acts for the
// user (its role's).
int RightsCommand(FileArgs const& args, std::string const& user, std::string const& application,
                  Io io);

// roles delete. Roles are named by name or #id.
int RolesDeleteCommand(FileArgs const& args, std::string const& role, Io io);
// roles show: the role's entitlement tree with its actions.
int RolesShowCommand(FileArgs const& args, std::string const& role, Io io);
// roles list: the visible roles, with all also the invisible ones. A role is
// noted "full-access" (JSON "fullAccess") only when it holds the six
// standard actions on every visible entitlement. JSON "allTransactionsReports"
// is the library's own full-access flag: the role holds some action on one of
// the reports of every transaction (Find All Transactions, the Accountant &
// Taxes, Company & Financial and Custom Transaction reports).
int RolesListCommand(FileArgs const& args, bool all, Io io);
// roles edit: sets the role's actions on the named entitlements, from grants
// ("ENTITLEMENT=view,create", "*=none" for every entitlement) and from a JSON
// file (empty: none); with recursive a grant on a heading sets everything
// below it too. The grant on the entitlement itself wins over its nearest
// heading's, which wins over "*", in any order (see RoleGrants.h). The
// entitlements not reached keep what they have.
int RolesEditCommand(FileArgs const& args, std::string const& role,
                     std::vector<std::string> const& grants, std::string const& jsonFile,
                     bool recursive, Io io);
// roles copy: a new role with the source role's actions on every entitlement.
int RolesCopyCommand(FileArgs const& args, std::string const& source, std::string const& name,
                     Io io);
// roles create: a new role with no action anywhere, or with the actions and
// the description of the role like; a description given replaces that. roles
// rename and roles describe change the role's record, never its grants. Role
// names are unique without regard to case. Admin keeps its name and its
// description (the library saves no role named Admin and knows the role by
// that name); External Accountant keeps its name unless args.force.
int RolesCreateCommand(FileArgs const& args, std::string const& name, std::string const& like,
                       std::optional<std::string> const& description, Io io);
int RolesRenameCommand(FileArgs const& args, std::string const& role, std::string const& newName,
                       Io io);
int RolesDescribeCommand(FileArgs const& args, std::string const& role,
                         std::string const& description, Io io);

// Bank accounts: entitlements below "Bank Accounts". list prints each by the
// full name that check and the other commands take ("Bank Registers:Checking");
// add, rename, remove and import take that full name or the path below "Bank
// Registers" ("Checking", "Checking:Payroll"), compared without case, and
// print the full name and the entitlement id. Each role holds on a new account
// what it holds on the parent.
int BankListCommand(FileArgs const& args, Io io);
int BankAddCommand(FileArgs const& args, std::string const& account, Io io);
int BankRenameCommand(FileArgs const& args, std::string const& account,
                      std::string const& newAccount, Io io);
int BankRemoveCommand(FileArgs const& args, std::string const& account, Io io);
// Many accounts at once from a file of account paths, one a line (blank lines
// and lines starting with '#' are passed over), through the bulk path. Each
// pass is drawn on io.err when progress is asked for or io.err is a terminal;
// either way a line on io.err sums the import up at the end.
int BankImportCommand(FileArgs const& args, std::string const& listFile, bool progress, Io io);

// verify: checks that Admin and External Accountant hold their full rights
// (printing what the library logs), that no role holds less on a bank account
// than on its parent, and that no assignment has lost its user or role; with
// repair, mends all of it in one change. A summary: counts, then at most 20
// lines (verbose: all). 0 when all was in order (or, with repair, is now), 1
// otherwise.
int VerifyCommand(FileArgs const& args, bool repair, bool verbose, Io io);

// matrix: roles against entitlements, each cell the role's actions, as a
// self-contained HTML page and/or CSV (an empty path: not written; "-":
// standard output) and, with args.json, as JSON on io.out. When io.out holds
// a document, what was written is said on io.err. With all the invisible
// roles get a column too.
int MatrixCommand(FileArgs const& args, std::string const& htmlPath, std::string const& csvPath,
                  bool all, Io io);

// log: the changes recorded in the file's history, oldest first, each with a
// summary of what it did (with json: the records, ChangeHistory.h). since, a
// date "2026-11-25" or a time in UTC "2026-11-25T03:34:53Z", leaves out
// what came before it (a bad one: exit 2); osUser, unless empty, what other
// operating-system users did. A file without a history (schema version 1)
// says so and exits 0.
int LogCommand(FileArgs const& args, std::string const& since, std::string const& osUser, Io io);

} // namespace Pmctl
