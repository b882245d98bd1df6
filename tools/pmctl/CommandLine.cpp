// The table of pmctl's commands: each with its own options, parsed by CLI11
// and run through the command library (RunCommandLine, CommandRun.cpp).
#include "CommandSupport.h"
#include "CommandTree.h"

#include "CommandWords.h"
#include "CopyCommand.h"
#include "Demo.h"
#include "Examples.h"
#include "Version.h"

namespace Pmctl {

namespace {

enum class Kind {
    kRead,        // --json
    kChange,      // --json, --dry-run
    kDestructive, // --json, --dry-run, --yes, and a question first
};

// What a command on a company file takes: FILE first, --catalogue, and the
// flags of its kind.
struct FileOptions {
    FileArgs file;
    bool yes = false;
};

CLI::App* FileCommand(CLI::App& parent, char const* name, char const* help, FileOptions& options,
                      Kind kind) {
    CLI::App* command = parent.add_subcommand(name, help);
    command->add_option("FILE", options.file.file, "the company file, or a postgresql:// URI")
        ->required();
    command->add_option("--catalogue", options.file.catalogue,
                        "the catalogue to open it with (default: the one that ships)");
    if (kind == Kind::kRead) {
        command->add_flag("--json", options.file.json, "print JSON");
    } else {
        command->add_flag("--json", options.file.json,
                          "print the record of the change as JSON (what pmctl log --json lists)");
        command->add_flag("--dry-run", options.file.dryRun,
                          "do it all, then write nothing; prints what would change");
    }
    if (kind == Kind::kDestructive) {
        command->add_flag("--yes", options.yes, "do not ask first");
    }
    command->parse_complete_callback(
        [command, &options] { options.file.command = CommandWords(*command); });
    return command;
}

// Whether a destructive command may go ahead: --yes or a dry run, or "y" at
// the terminal. Otherwise the exit code in *code: 2 without a terminal, 1
// when the answer was no.
bool Confirmed(FileOptions const& options, std::string const& question, Prompt const& prompt, Io io,
               int* code) {
    if (options.yes || options.file.dryRun) {
        return true;
    }
    if (!prompt) {
        io.err << "pmctl: " << Shown(options.file.file) << ": "
               << Scrubbed(question, {options.file.file})
               << " pmctl asks before it does that; not on a terminal, it needs --yes\n";
        *code = kExitBadInput;
        return false;
    }
    std::optional<std::string> answer = prompt(Scrubbed(question, {options.file.file}) + " [y/N] ");
    if (answer && (*answer == "y" || *answer == "Y" || *answer == "yes")) {
        return true;
    }
    io.err << "pmctl: nothing was changed\n";
    *code = kExitFailed;
    return false;
}

// How names are given (FindEntitlement, AccountPath).
char const kEntitlementHelp[] =
    "full name (Invoices, Bank Registers:Checking), a unique last part of one (Checking), or #id";
char const kAccountHelp[] =
    "full name (Bank Registers:Checking:Payroll) or path below Bank Registers (Checking:Payroll)";

} // namespace

int WithCommandTree(Io io, Prompt const& prompt,
                    std::function<int(CommandTree const& tree)> const& use) {
    std::function<int()> run;
    auto on = [&run](CLI::App* command, std::function<int()> body) {
        command->callback([&run, body] { run = body; });
        return command;
    };
    // Asks first, then runs the command.
    auto asking = [&](FileOptions const& options, std::function<std::string()> question,
                      std::function<int()> body) {
        return [&options, question, body, &prompt, io]() {
            int code = kExitOk;
            return Confirmed(options, question(), prompt, io, &code) ? body() : code;
        };
    };

    CLI::App app{"pmctl: the administrator's tool over company files", "pmctl"};
    app.require_subcommand(1);
    app.fallthrough();
    std::string logPath;
    app.add_option("--log", logPath,
                   "append the library's log lines to this file ('-': standard output)");
    app.set_version_flag("--version", VersionText, "print the versions of pmctl and its catalogue");

    std::string demoFile, demoCatalogue;
    CLI::App* demo = on(app.add_subcommand("demo", "a guided tour on a new company file"),
                        [&] { return RunDemo(demoFile, demoCatalogue, io.out, io.err); });
    demo->add_option("FILE", demoFile, "where to create it (default: a temporary file)");
    demo->add_option("--catalogue", demoCatalogue, "the catalogue to create it from");

    FileOptions create;
    std::string admin = "admin";
    on(FileCommand(app, "create", "a new company file with the factory defaults", create,
                   Kind::kChange),
       [&] { return CreateCommand(create.file, admin, io); })
        ->add_option("--admin", admin, "the administrator's user name")
        ->capture_default_str();
    FileOptions info;
    on(FileCommand(app, "info", "versions and counts", info, Kind::kRead),
       [&] { return InfoCommand(info.file, io); });
    FileOptions reset;
    on(FileCommand(app, "reset", "back to the factory defaults", reset, Kind::kDestructive),
       asking(
           reset,
           [&] {
               return "Reset " + reset.file.file +
                      " to the factory defaults, removing every role's changes, every bank "
                      "account and every assignment but the administrator's?" +
                      (OnServer(reset.file.file) ? " No copy of the database is kept: back it "
                                                   "up with pg_dump first."
                                                 : "");
           },
           [&] { return ResetCommand(reset.file, io); }));
    FileOptions upgrade;
    on(FileCommand(app, "upgrade", "bring the file to another catalogue's version", upgrade,
                   Kind::kChange),
       [&] { return UpgradeCommand(upgrade.file, io); })
        ->get_option("--catalogue")
        ->required();

    CLI::App* users = app.add_subcommand("users", "the company's users");
    users->require_subcommand(1);
    FileOptions usersList;
    on(FileCommand(*users, "list", "users and their roles", usersList, Kind::kRead),
       [&] { return UsersListCommand(usersList.file, io); });
    FileOptions usersAdd;
    std::string newUser;
    bool newAdmin = false;
    CLI::App* usersAddCommand =
        on(FileCommand(*users, "add", "add a user", usersAdd, Kind::kChange),
           [&] { return UsersAddCommand(usersAdd.file, newUser, newAdmin, io); });
    usersAddCommand->add_option("NAME", newUser, "the user's name")->required();
    usersAddCommand->add_flag("--admin", newAdmin, "an administrator, holding the Admin role");
    FileOptions usersRemove;
    std::string removedUser;
    CLI::App* usersRemoveCommand =
        on(FileCommand(*users, "remove", "remove a user and the user's roles", usersRemove,
                       Kind::kDestructive),
           asking(
               usersRemove,
               [&] {
                   return "Remove the user " + removedUser + " from " + usersRemove.file.file + "?";
               },
               [&] { return UsersRemoveCommand(usersRemove.file, removedUser, io); }));
    usersRemoveCommand->add_option("USER", removedUser, "name or #id")->required();
    usersRemoveCommand->add_flag("--force", usersRemove.file.force,
                                 "also the last holder of Admin");

    CLI::App* roles = app.add_subcommand("roles", "roles and their rights");
    roles->require_subcommand(1);
    FileOptions rolesShow;
    std::string shownRole;
    on(FileCommand(*roles, "show", "a role's entitlement tree with its actions", rolesShow,
                   Kind::kRead),
       [&] { return RolesShowCommand(rolesShow.file, shownRole, io); })
        ->add_option("ROLE", shownRole, "name or #id")
        ->required();
    FileOptions rolesDelete;
    std::string deletedRole;
    CLI::App* rolesDeleteCommand =
        on(FileCommand(*roles, "delete", "delete a role", rolesDelete, Kind::kDestructive),
           asking(
               rolesDelete,
               [&] {
                   return "Delete the role " + deletedRole + " from " + rolesDelete.file.file + "?";
               },
               [&] { return RolesDeleteCommand(rolesDelete.file, deletedRole, io); }));
    rolesDeleteCommand->add_option("ROLE", deletedRole, "name or #id")->required();
    rolesDeleteCommand->add_flag("--force", rolesDelete.file.force,
                                 "also Admin or External Accountant");
    FileOptions rolesList;
    bool allRoles = false;
    on(FileCommand(*roles, "list", "the roles, with --all the invisible ones too", rolesList,
                   Kind::kRead),
       [&] { return RolesListCommand(rolesList.file, allRoles, io); })
        ->add_flag("--all", allRoles, "include the invisible roles");
    FileOptions rolesEdit;
    std::string editedRole, grantsFile;
    std::vector<std::string> grants;
    bool recursive = false;
    CLI::App* rolesEditCommand =
        on(FileCommand(*roles, "edit", "set a role's actions", rolesEdit, Kind::kChange), [&] {
            return RolesEditCommand(rolesEdit.file, editedRole, grants, grantsFile, recursive, io);
        });
    rolesEditCommand->add_option("ROLE", editedRole, "name or #id")->required();
    rolesEditCommand
        ->add_option("--grant", grants,
                     "ENTITLEMENT=ACTIONS, repeatable. ENTITLEMENT: a\n"
                     "full name as roles show --json prints it\n"
                     "(\"Bank Registers:Checking\"), or * for every\n"
                     "entitlement. ACTIONS: view,create,modify,delete,\n"
                     "print,viewbal,custom; or none, or full.\n"
                     "In whatever order they come, the grant on an\n"
                     "entitlement itself wins, then (--recursive) the\n"
                     "one on its nearest heading, then *")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    rolesEditCommand->add_flag("--recursive", recursive,
                               "a grant on a heading sets every entitlement below it too");
    rolesEditCommand->add_option("--from-json", grantsFile,
                                 "grants from a JSON file, in either form:\n"
                                 "  {\"Invoices\": [\"view\", \"print\"],\n"
                                 "   \"Bank Registers:Checking\": \"view\", \"*\": \"none\"}\n"
                                 "or what roles show --json prints: each row by\n"
                                 "\"fullName\" (else \"id\", \"name\"), with \"actions\"\n"
                                 "(else \"mask\"):\n"
                                 "  {\"entitlements\": [{\"fullName\": \"Invoices\",\n"
                                 "                    \"actions\": [\"view\"]}]}");
    FileOptions rolesCopy;
    std::string copiedRole, copyName;
    CLI::App* rolesCopyCommand =
        on(FileCommand(*roles, "copy", "a new role with another role's actions", rolesCopy,
                       Kind::kChange),
           [&] { return RolesCopyCommand(rolesCopy.file, copiedRole, copyName, io); });
    rolesCopyCommand->add_option("SOURCE", copiedRole, "name or #id")->required();
    rolesCopyCommand->add_option("NEW", copyName, "the new role's name")->required();
    FileOptions rolesCreate;
    std::string createdRole, likeRole, createdDescription;
    CLI::Option* descriptionGiven = nullptr;
    CLI::App* rolesCreateCommand =
        on(FileCommand(*roles, "create", "a new role, with no action anywhere unless --like",
                       rolesCreate, Kind::kChange),
           [&] {
               std::optional<std::string> description;
               if (descriptionGiven->count() != 0) {
                   description = createdDescription;
               }
               return RolesCreateCommand(rolesCreate.file, createdRole, likeRole, description, io);
           });
    rolesCreateCommand->add_option("NAME", createdRole, "the new role's name")->required();
    rolesCreateCommand->add_option("--like", likeRole,
                                   "start from this role's actions and description");
    descriptionGiven =
        rolesCreateCommand->add_option("--description", createdDescription, "what the role is for");
    FileOptions rolesRename;
    std::string renamedRole, newRoleName;
    CLI::App* rolesRenameCommand =
        on(FileCommand(*roles, "rename", "give a role another name", rolesRename, Kind::kChange),
           [&] { return RolesRenameCommand(rolesRename.file, renamedRole, newRoleName, io); });
    rolesRenameCommand->add_option("ROLE", renamedRole, "name or #id")->required();
    rolesRenameCommand->add_option("NEW", newRoleName, "the new name")->required();
    rolesRenameCommand->add_flag("--force", rolesRename.file.force, "also External Accountant");
    FileOptions rolesDescribe;
    std::string describedRole, description;
    CLI::App* rolesDescribeCommand = on(
        FileCommand(*roles, "describe", "set a role's description", rolesDescribe, Kind::kChange),
        [&] { return RolesDescribeCommand(rolesDescribe.file, describedRole, description, io); });
    rolesDescribeCommand->add_option("ROLE", describedRole, "name or #id")->required();
    rolesDescribeCommand->add_option("TEXT", description, "the description (\"\": none)")
        ->required();

    CLI::App* bank = app.add_subcommand("bank", "bank accounts' entitlements");
    bank->require_subcommand(1);
    FileOptions bankList;
    on(FileCommand(*bank, "list", "the bank accounts", bankList, Kind::kRead),
       [&] { return BankListCommand(bankList.file, io); });
    FileOptions bankAdd;
    std::string addedAccount;
    on(FileCommand(*bank, "add", "add an account; each role gets its rights on the parent", bankAdd,
                   Kind::kChange),
       [&] { return BankAddCommand(bankAdd.file, addedAccount, io); })
        ->add_option("ACCOUNT", addedAccount, kAccountHelp)
        ->required();
    FileOptions bankRename;
    std::string renamedAccount, newAccount;
    CLI::App* bankRenameCommand =
        on(FileCommand(*bank, "rename", "rename an account or move it below another", bankRename,
                       Kind::kChange),
           [&] { return BankRenameCommand(bankRename.file, renamedAccount, newAccount, io); });
    bankRenameCommand->add_option("ACCOUNT", renamedAccount, kAccountHelp)->required();
    bankRenameCommand->add_option("NEW", newAccount, "the new full name or path")->required();
    FileOptions bankRemove;
    std::string removedAccount;
    on(FileCommand(*bank, "remove", "blank an account out; its id is not used again", bankRemove,
                   Kind::kDestructive),
       asking(
           bankRemove,
           [&] {
               return "Remove the bank account " + removedAccount + " from " +
                      bankRemove.file.file + "?";
           },
           [&] { return BankRemoveCommand(bankRemove.file, removedAccount, io); }))
        ->add_option("ACCOUNT", removedAccount, kAccountHelp)
        ->required();
    FileOptions bankImport;
    std::string accountList;
    bool progress = false;
    CLI::App* bankImportCommand =
        on(FileCommand(*bank, "import", "add many accounts from a file, one path a line",
                       bankImport, Kind::kChange),
           [&] { return BankImportCommand(bankImport.file, accountList, progress, io); });
    bankImportCommand
        ->add_option("LIST", accountList, "the file of accounts, one full name or path a line")
        ->required();
    bankImportCommand->add_flag(
        "--progress", progress,
        "draw each pass on standard error, also when that is not a terminal");

    FileOptions verify;
    bool repair = false, verbose = false;
    CLI::App* verifyCommand =
        on(FileCommand(app, "verify",
                       "check the predefined roles, the bank accounts' rights and the assignments",
                       verify, Kind::kRead),
           [&] {
               verify.file.dryRun = verify.file.dryRun && repair;
               return VerifyCommand(verify.file, repair, verbose, io);
           });
    verifyCommand->add_flag("--repair", repair, "mend what is found, in one change");
    verifyCommand->add_flag("--verbose", verbose, "list everything found, not only 20 lines");
    verifyCommand->add_flag("--dry-run", verify.file.dryRun, "with --repair: write nothing");

    FileOptions matrix;
    std::string html, csv;
    bool allColumns = false;
    CLI::App* matrixCommand =
        on(FileCommand(app, "matrix", "roles against entitlements, as a web page, CSV or JSON",
                       matrix, Kind::kRead),
           [&] { return MatrixCommand(matrix.file, html, csv, allColumns, io); });
    matrixCommand->add_option("--html", html, "write a web page here (- for standard output)");
    matrixCommand->add_option("--csv", csv, "write CSV here (- for standard output)");
    matrixCommand->add_flag("--all", allColumns, "a column for the invisible roles too");

    FileOptions assign;
    std::string assignedUser, assignedRole;
    CLI::App* assignCommand =
        on(FileCommand(app, "assign", "give a user a role", assign, Kind::kChange),
           [&] { return AssignCommand(assign.file, assignedUser, assignedRole, io); });
    assignCommand->add_option("USER", assignedUser, "name or #id")->required();
    assignCommand->add_option("ROLE", assignedRole, "name or #id")->required();
    FileOptions unassign;
    std::string unassignedUser, unassignedRole;
    CLI::App* unassignCommand = on(
        FileCommand(app, "unassign", "take one role, or all, from a user", unassign, Kind::kChange),
        [&] { return UnassignCommand(unassign.file, unassignedUser, unassignedRole, io); });
    unassignCommand->add_option("USER", unassignedUser, "name or #id")->required();
    unassignCommand->add_option("ROLE", unassignedRole, "name or #id (default: every role)");
    unassignCommand->add_flag("--force", unassign.file.force, "also from the last holder of Admin");

    // The change history.
    FileOptions history;
    std::string logSince, logUser;
    CLI::App* logCommand =
        on(FileCommand(app, "log", "the changes made to the file: when, by whom, what", history,
                       Kind::kRead),
           [&] { return LogCommand(history.file, logSince, logUser, io); });
    logCommand->add_option(
        "--since", logSince,
        "only from this date (2026-11-25) or time in UTC (2026-11-25T03:34:53Z)");
    logCommand->add_option("--user", logUser, "only the changes of this operating-system user");

    FileOptions check;
    std::string checkedUser, checkedEntitlement, checkedAction, application;
    CLI::App* checkCommand =
        on(FileCommand(app, "check", "may the user do the action? exit 0 or 1", check, Kind::kRead),
           [&] {
               return CheckCommand(check.file, checkedUser, checkedEntitlement, checkedAction,
                                   application, io);
           });
    checkCommand->add_option("USER", checkedUser, "name or #id")->required();
    checkCommand->add_option("ENTITLEMENT", checkedEntitlement, kEntitlementHelp)->required();
    checkCommand
        ->add_option("ACTION", checkedAction,
                     "view, create, modify, delete, print, viewbal or custom")
        ->required();
    checkCommand->add_option("--as", application, "while this integrated application acts");
    FileOptions explain;
    std::string explainedUser, explainedEntitlement, explainedAction, explainedApplication;
    CLI::App* explainCommand = on(
        FileCommand(app, "explain", "which roles grant the user what, and which would grant more",
                    explain, Kind::kRead),
        [&] {
            return ExplainCommand(explain.file, explainedUser, explainedEntitlement,
                                  explainedAction, explainedApplication, io);
        });
    explainCommand->add_option("USER", explainedUser, "name or #id")->required();
    explainCommand->add_option("ENTITLEMENT", explainedEntitlement, kEntitlementHelp)->required();
    explainCommand->add_option("ACTION", explainedAction, "the one action to explain");
    explainCommand->add_option("--as", explainedApplication,
                               "while this integrated application acts");

    FileOptions whoCan;
    std::string whoCanEntitlement, whoCanAction, whoCanApplication;
    CLI::App* whoCanCommand = on(FileCommand(app, "who-can",
                                             "each user who may act on an entitlement, and through "
                                             "which roles",
                                             whoCan, Kind::kRead),
                                 [&] {
                                     return WhoCanCommand(whoCan.file, whoCanEntitlement,
                                                          whoCanAction, whoCanApplication, io);
                                 });
    whoCanCommand->add_option("ENTITLEMENT", whoCanEntitlement, kEntitlementHelp)->required();
    whoCanCommand->add_option("ACTION", whoCanAction,
                              "view, create, modify, delete, print, viewbal or custom (default: "
                              "any of them)");
    whoCanCommand->add_option("--as", whoCanApplication, "while this integrated application acts");
    FileOptions rights;
    std::string rightsUser, rightsApplication;
    CLI::App* rightsCommand =
        on(FileCommand(app, "rights", "what the user may do, as the entitlement tree", rights,
                       Kind::kRead),
           [&] { return RightsCommand(rights.file, rightsUser, rightsApplication, io); });
    rightsCommand->add_option("USER", rightsUser, "name or #id")->required();
    rightsCommand->add_option("--as", rightsApplication, "while this integrated application acts");

    // copy: two locations rather than one FILE.
    std::string copySource, copyDestination;
    bool copyReplace = false, copyJson = false;
    CLI::App* copyCommand =
        on(app.add_subcommand("copy", "copy a company to another file or server database, whole"),
           [&] { return CopyCommand(copySource, copyDestination, copyReplace, copyJson, io); });
    copyCommand->add_option("SOURCE", copySource, "the company file or postgresql:// URI")
        ->required();
    copyCommand
        ->add_option("DESTINATION", copyDestination,
                     "a new company file, an empty database, or with --replace one that holds a "
                     "company")
        ->required();
    copyCommand->add_flag("--replace", copyReplace, "replace the company the destination holds");
    copyCommand->add_flag("--json", copyJson, "print JSON");

    NameValues(app);
    AddExamples(app);
    return use(CommandTree{app, run, logPath});
}

} // namespace Pmctl
