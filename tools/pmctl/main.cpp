// pmctl: the administrator's tool over company files. main parses the command
// line and hands over to one command of the command library.
#include "Commands.h"
#include "Demo.h"
#include "Session.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <functional>
#include <iostream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

struct Arguments {
    Pmctl::FileArgs file;
    std::string admin = "admin";
    std::string user, role, entitlement, action, application, name, path, html, csv, account;
    std::vector<std::string> grants;
    bool flag = false;
};

// A command that works on a company file: FILE first, --catalogue, and
// --json when it only reads.
CLI::App* FileCommand(CLI::App& parent, char const* name, char const* help, Arguments& a,
                      bool reads) {
    CLI::App* command = parent.add_subcommand(name, help);
    command->add_option("FILE", a.file.file, "the company file")->required();
    command->add_option("--catalogue", a.file.catalogue,
                        "the catalogue to open it with (default: the one that ships)");
    if (reads) {
        command->add_flag("--json", a.file.json, "print JSON");
    }
    return command;
}

} // namespace

int main(int argc, char** argv) {
    Arguments a;
    Pmctl::Io io{std::cout, std::cerr};
    std::function<int()> run;
    auto on = [&run](CLI::App* command, std::function<int()> body) {
        command->callback([&run, body] { run = body; });
        return command;
    };

    CLI::App app{"pmctl: the administrator's tool over company files"};
    app.require_subcommand(1);

    CLI::App* demo = on(app.add_subcommand("demo", "a guided tour on a new company file"), [&] {
        return Pmctl::RunDemo(a.file.file,
                              a.file.catalogue.empty() ? Pmctl::DefaultCataloguePath()
                                                       : a.file.catalogue,
                              io.out, io.err);
    });
    demo->add_option("FILE", a.file.file, "where to create it (default: a temporary file)");
    demo->add_option("--catalogue", a.file.catalogue, "the catalogue to create it from");

    CLI::App* create =
        on(FileCommand(app, "create", "a new company file with the factory defaults", a, false),
           [&] { return Pmctl::CreateCommand(a.file, a.admin, io); });
    create->add_option("--admin", a.admin, "the administrator's user name")->capture_default_str();
    on(FileCommand(app, "info", "versions and counts", a, true),
       [&] { return Pmctl::InfoCommand(a.file, io); });
    on(FileCommand(app, "reset", "back to the factory defaults", a, false),
       [&] { return Pmctl::ResetCommand(a.file, io); });
    CLI::App* upgrade =
        on(FileCommand(app, "upgrade", "bring the file to another catalogue's version", a, false),
           [&] { return Pmctl::UpgradeCommand(a.file, io); });
    upgrade->get_option("--catalogue")->required();

    CLI::App* users = app.add_subcommand("users", "the company's users");
    users->require_subcommand(1);
    on(FileCommand(*users, "list", "users and their roles", a, true),
       [&] { return Pmctl::UsersListCommand(a.file, io); });
    CLI::App* usersAdd = on(FileCommand(*users, "add", "add a user", a, false),
                            [&] { return Pmctl::UsersAddCommand(a.file, a.name, a.flag, io); });
    usersAdd->add_option("NAME", a.name, "the user's name")->required();
    usersAdd->add_flag("--admin", a.flag, "the user is an administrator");
    CLI::App* usersRemove =
        on(FileCommand(*users, "remove", "remove a user and the user's roles", a, false),
           [&] { return Pmctl::UsersRemoveCommand(a.file, a.user, io); });
    usersRemove->add_option("USER", a.user, "name or id")->required();

    CLI::App* roles = app.add_subcommand("roles", "roles and their rights");
    roles->require_subcommand(1);
    CLI::App* rolesShow =
        on(FileCommand(*roles, "show", "a role's entitlement tree with its actions", a, true),
           [&] { return Pmctl::RolesShowCommand(a.file, a.role, io); });
    rolesShow->add_option("ROLE", a.role, "name or id")->required();
    CLI::App* rolesDelete = on(FileCommand(*roles, "delete", "delete a role", a, false),
                               [&] { return Pmctl::RolesDeleteCommand(a.file, a.role, io); });
    rolesDelete->add_option("ROLE", a.role, "name or id")->required();

    CLI::App* rolesList =
        on(FileCommand(*roles, "list", "the roles, with --all the invisible ones too", a, true),
           [&] { return Pmctl::RolesListCommand(a.file, a.flag, io); });
    rolesList->add_flag("--all", a.flag, "include the invisible roles");
    CLI::App* rolesEdit = on(FileCommand(*roles, "edit", "set a role's actions", a, false), [&] {
        return Pmctl::RolesEditCommand(a.file, a.role, a.grants, a.path, io);
    });
    rolesEdit->add_option("ROLE", a.role, "name or id")->required();
    rolesEdit->add_option("--grant", a.grants, "ENTITLEMENT=view,create,... (repeatable)")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    rolesEdit->add_option("--from-json", a.path, "grants from a JSON file");
    CLI::App* rolesCopy =
        on(FileCommand(*roles, "copy", "a new role with another role's actions", a, false),
           [&] { return Pmctl::RolesCopyCommand(a.file, a.role, a.name, io); });
    rolesCopy->add_option("SOURCE", a.role, "name or id")->required();
    rolesCopy->add_option("NEW", a.name, "the new role's name")->required();

    CLI::App* bank = app.add_subcommand("bank", "bank accounts' entitlements");
    bank->require_subcommand(1);
    on(FileCommand(*bank, "list", "the bank accounts", a, true),
       [&] { return Pmctl::BankListCommand(a.file, io); });
    CLI::App* bankAdd =
        on(FileCommand(*bank, "add", "add an account; each role gets its rights on the parent", a,
                       false),
           [&] { return Pmctl::BankAddCommand(a.file, a.account, io); });
    bankAdd->add_option("ACCOUNT", a.account, "its path: NAME, or PARENT:NAME")->required();
    CLI::App* bankRename =
        on(FileCommand(*bank, "rename", "rename an account or move it below another", a, false),
           [&] { return Pmctl::BankRenameCommand(a.file, a.account, a.name, io); });
    bankRename->add_option("ACCOUNT", a.account, "its path")->required();
    bankRename->add_option("NEW", a.name, "the new path")->required();
    CLI::App* bankRemove =
        on(FileCommand(*bank, "remove", "blank an account out; its id is not used again", a, false),
           [&] { return Pmctl::BankRemoveCommand(a.file, a.account, io); });
    bankRemove->add_option("ACCOUNT", a.account, "its path")->required();
    CLI::App* bankImport = on(
        FileCommand(*bank, "import", "add many accounts from a file, one path a line", a, false),
        [&] { return Pmctl::BankImportCommand(a.file, a.path, isatty(STDOUT_FILENO) != 0, io); });
    bankImport->add_option("LIST", a.path, "the file of account paths")->required();

    CLI::App* verify =
        on(FileCommand(app, "verify", "check that Admin and External Accountant hold their rights",
                       a, true),
           [&] { return Pmctl::VerifyCommand(a.file, a.flag, io); });
    verify->add_flag("--repair", a.flag, "write what is missing");

    CLI::App* matrix =
        on(FileCommand(app, "matrix", "roles against entitlements, as HTML or CSV", a, false),
           [&] { return Pmctl::MatrixCommand(a.file, a.html, a.csv, a.flag, io); });
    matrix->add_option("--html", a.html, "write a web page here");
    matrix->add_option("--csv", a.csv, "write CSV here");
    matrix->add_flag("--all", a.flag, "a column for the invisible roles too");

    CLI::App* assign = on(FileCommand(app, "assign", "give a user a role", a, false),
                          [&] { return Pmctl::AssignCommand(a.file, a.user, a.role, io); });
    assign->add_option("USER", a.user, "name or id")->required();
    assign->add_option("ROLE", a.role, "name or id")->required();
    CLI::App* unassign =
        on(FileCommand(app, "unassign", "take one role, or all, from a user", a, false),
           [&] { return Pmctl::UnassignCommand(a.file, a.user, a.role, io); });
    unassign->add_option("USER", a.user, "name or id")->required();
    unassign->add_option("ROLE", a.role, "name or id (default: every role)");

    CLI::App* check =
        on(FileCommand(app, "check", "may the user do the action? exit 0 or 1", a, true), [&] {
            return Pmctl::CheckCommand(a.file, a.user, a.entitlement, a.action, a.application, io);
        });
    check->add_option("USER", a.user, "name or id")->required();
    check->add_option("ENTITLEMENT", a.entitlement, "name or id")->required();
    check->add_option("ACTION", a.action, "view, create, modify, delete, print, viewbal or custom")
        ->required();
    check->add_option("--as", a.application, "while this integrated application acts");
    CLI::App* explain =
        on(FileCommand(app, "explain", "which roles grant the user what", a, true),
           [&] { return Pmctl::ExplainCommand(a.file, a.user, a.entitlement, io); });
    explain->add_option("USER", a.user, "name or id")->required();
    explain->add_option("ENTITLEMENT", a.entitlement, "name or id")->required();

    // Output cut short by a closed pipe must not stop a command between two
    // writes to the company file: let the write fail instead of the process.
    std::signal(SIGPIPE, SIG_IGN);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& e) {
        if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return app.exit(e);
        }
        std::cerr << "pmctl: " << e.what() << "\n(pmctl --help lists the commands)\n";
        return Pmctl::kExitBadInput;
    }
    return run ? run() : Pmctl::kExitBadInput;
}
