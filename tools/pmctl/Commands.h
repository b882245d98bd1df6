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

// users list | add | remove. Users are named by name or user id.
int UsersListCommand(FileArgs const& args, Io io);
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
// explain: which of the user's roles grant which actions on the entitlement.
int ExplainCommand(FileArgs const& args, std::string const& user, std::string const& entitlement,
                   Io io);

// roles delete. Roles are named by name or role id.
int RolesDeleteCommand(FileArgs const& args, std::string const& role, Io io);
// roles show: the role's entitlement tree with its actions.
int RolesShowCommand(FileArgs const& args, std::string const& role, Io io);
// roles list: the visible roles, with all also the invisible ones.
int RolesListCommand(FileArgs const& args, bool all, Io io);
// roles edit: sets the role's actions on the named entitlements, from grants
// ("ENTITLEMENT=view,create") and from a JSON file (empty: none). The
// entitlements not named keep what they have.
int RolesEditCommand(FileArgs const& args, std::string const& role,
                     std::vector<std::string> const& grants, std::string const& jsonFile, Io io);
// roles copy: a new role with the source role's actions on every entitlement.
int RolesCopyCommand(FileArgs const& args, std::string const& source, std::string const& name,
                     Io io);

// Bank accounts: entitlements below "Bank Accounts", named by their path
// below "Bank Registers" ("Checking", "Checking:Payroll"), compared without
// case. Each role holds on a new account what it holds on the parent.
int BankListCommand(FileArgs const& args, Io io);
int BankAddCommand(FileArgs const& args, std::string const& account, Io io);
int BankRenameCommand(FileArgs const& args, std::string const& account,
                      std::string const& newAccount, Io io);
int BankRemoveCommand(FileArgs const& args, std::string const& account, Io io);
// Many accounts at once from a file of account paths, one a line (blank lines
// and lines starting with '#' are passed over), through the bulk path. With
// progress a bar is drawn on io.err.
int BankImportCommand(FileArgs const& args, std::string const& listFile, bool progress, Io io);

// verify: checks that Admin and External Accountant hold their full rights
// (printing what the library logs), that no role holds less on a bank account
// than on its parent, and that no assignment has lost its user or role; with
// repair, mends all of it in one change. A summary: counts, then at most 20
// lines (verbose: all). 0 when all was in order (or, with repair, is now), 1
// otherwise.
int VerifyCommand(FileArgs const& args, bool repair, bool verbose, Io io);

// matrix: roles against entitlements, each cell the role's actions, as a
// self-contained HTML page and/or CSV (an empty path: not written). With all
// the invisible roles get a column too.
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
