// The guided tour behind `pmctl demo`.
#include "Demo.h"

#include "Actions.h"
#include "ChangeHistory.h"
#include "Commands.h"
#include "Session.h"

#include <host/catalogue/Catalogue.h>
#include <host/records/postgres/ServerLocation.h>
#include <host/users/CompanyUsers.h>

#include <filesystem>
#include <functional>
#include <iomanip>
#include <memory>
#include <sstream>
#include <unistd.h>
#include <vector>

namespace Pmctl {

namespace {

struct Question {
    char const* entitlement;
    char const* action;
};

// A few questions a bookkeeping screen would ask.
Question const kQuestions[] = {
    {"Invoices", "create"},      {"Invoices", "delete"},      {"Bills", "create"},
    {"Employees", "view"},       {"Pay Employees", "modify"}, {"Bank Registers", "viewbal"},
    {"Data Exchange", "modify"},
};

// One column of answers: who asks, and yes or no for each question.
struct Column {
    std::string who;
    std::vector<bool> answers;
};

Column Ask(PM::PermissionManager& manager, std::string const& who) {
    Column column{who, {}};
    for (Question const& question : kQuestions) {
        int id = manager.FindEntitlementDefByName(question.entitlement).GetId();
        column.answers.push_back(manager.IsAccessAllowed(id, ActionMask(question.action)));
    }
    return column;
}

void PrintTable(std::vector<Column> const& columns, std::ostream& out) {
    out << "  " << std::left << std::setw(26) << "may ...";
    for (Column const& column : columns) {
        out << std::setw(static_cast<int>(column.who.size()) + 2) << column.who;
    }
    out << "\n";
    for (std::size_t row = 0; row < std::size(kQuestions); ++row) {
        out << "  " << std::setw(8) << kQuestions[row].action << std::setw(18)
            << kQuestions[row].entitlement;
        for (Column const& column : columns) {
            out << std::setw(static_cast<int>(column.who.size()) + 2)
                << (column.answers[row] ? "yes" : "-");
        }
        out << "\n";
    }
}

// Adds a user and gives it the named roles; false with the reason on err.
bool AddUserWithRoles(Session& session, char const* name, std::vector<char const*> const& roles,
                      std::ostream& out, std::ostream& err) {
    std::string error;
    int user = Host::AddCompanyUser(name, false, &error);
    if (user == -1) {
        err << session.Path() << ": cannot add the user " << name << ": " << error << "\n";
        return false;
    }
    out << "  user " << name << " (id " << user << ")";
    char const* separator = " holds ";
    for (char const* role : roles) {
        int roleId = session.Manager().LookupRole(role);
        if (roleId == PM_ERROR || session.Manager().SetRoleForUser(user, roleId) != PM_OK) {
            err << session.Path() << ": cannot give " << name << " the role " << role << "\n";
            return false;
        }
        out << separator << role;
        separator = " and ";
    }
    out << (roles.empty() ? " holds no role\n" : "\n");
    return true;
}

std::string TemporaryPath() {
    return (std::filesystem::temp_directory_path() /
            ("pmctl-demo-" + std::to_string(getpid()) + ".pmco"))
        .string();
}

// Runs one pmctl command on the demo's file and prints it as a terminal would
// show it: the command line, then its output, indented. A change is recorded
// in the history in the words shown, without the file, as pmctl records the
// command an administrator types.
void Show(FileArgs& file, std::string const& shown, std::function<int(Io)> const& command,
          std::ostream& out) {
    std::string words = shown;
    std::size_t const at = words.find(" " + file.file);
    if (at != std::string::npos) {
        words.erase(at, file.file.size() + 1);
    }
    file.command = words;
    std::ostringstream printed;
    int code = command(Io{printed, printed});
    out << "\n  $ pmctl " << shown << "\n";
    std::istringstream lines(printed.str());
    for (std::string line; std::getline(lines, line);) {
        out << "    " << line << "\n";
    }
    if (code != kExitOk) {
        out << "    (exit " << code << ")\n";
    }
}

// The second half of the tour: the same file through pmctl's commands.
void CommandTour(std::string const& path, std::string const& catalogue, std::ostream& out) {
    FileArgs file{path, catalogue, false};
    std::string const f = path;
    out << "\n4. The same file through pmctl's commands\n";
    Show(
        file, "info " + f, [&](Io io) { return InfoCommand(file, io); }, out);
    Show(
        file, "assign " + f + " erin \"View Only\"",
        [&](Io io) { return AssignCommand(file, "erin", "View Only", io); }, out);
    Show(
        file, "check " + f + " erin Invoices view",
        [&](Io io) { return CheckCommand(file, "erin", "Invoices", "view", "", io); }, out);
    Show(
        file, "check " + f + " erin Invoices delete",
        [&](Io io) { return CheckCommand(file, "erin", "Invoices", "delete", "", io); }, out);
    Show(
        file, "explain " + f + " dave \"Pay Employees\"",
        [&](Io io) { return ExplainCommand(file, "dave", "Pay Employees", "", "", io); }, out);
    Show(
        file, "unassign " + f + " dave Purchasing",
        [&](Io io) { return UnassignCommand(file, "dave", "Purchasing", io); }, out);
    Show(
        file, "roles copy " + f + " Sales \"Sales East\"",
        [&](Io io) { return RolesCopyCommand(file, "Sales", "Sales East", io); }, out);
    Show(
        file, "roles edit " + f + " \"Sales East\" --grant \"Bills=view,create\"",
        [&](Io io) {
            return RolesEditCommand(file, "Sales East", {"Bills=view,create"}, "", false, io);
        },
        out);
    Show(
        file, "assign " + f + " carol \"Sales East\"",
        [&](Io io) { return AssignCommand(file, "carol", "Sales East", io); }, out);
    Show(
        file, "check " + f + " carol Bills create",
        [&](Io io) { return CheckCommand(file, "carol", "Bills", "create", "", io); }, out);
    Show(
        file, "bank add " + f + " Checking",
        [&](Io io) { return BankAddCommand(file, "Checking", io); }, out);
    Show(
        file, "bank add " + f + " Checking:Payroll",
        [&](Io io) { return BankAddCommand(file, "Checking:Payroll", io); }, out);
    Show(
        file, "bank list " + f, [&](Io io) { return BankListCommand(file, io); }, out);
    Show(
        file, "check " + f + " admin \"Bank Registers:Checking:Payroll\" viewbal",
        [&](Io io) {
            return CheckCommand(file, "admin", "Bank Registers:Checking:Payroll", "viewbal", "",
                                io);
        },
        out);
    Show(
        file, "verify " + f, [&](Io io) { return VerifyCommand(file, false, false, io); }, out);
    Show(
        file, "matrix " + f + " --html " + f + ".html",
        [&](Io io) { return MatrixCommand(file, path + ".html", "", false, io); }, out);
    Show(
        file, "assign " + f + " carol Clerk",
        [&](Io io) { return AssignCommand(file, "carol", "Clerk", io); }, out);
}

// Steps 2 and 3: open as the host does, establish each user, act as an
// integrated application. The session is closed when it returns.
int Tour(std::string const& path, std::string const& catalogue, std::ostream& out,
         std::ostream& err) {
    OpenFailure failure;
    std::unique_ptr<Session> session = Session::Open(path, catalogue, Access::kRead, &failure);
    if (session == nullptr) {
        err << failure.message << "\n";
        return 1;
    }
    PM::PermissionManager& manager = session->Manager();
    std::vector<Column> columns;
    columns.push_back(Ask(manager, "(no user)"));
    std::vector<Host::CompanyUser> const users = Host::ListCompanyUsers();
    for (Host::CompanyUser const& user : users) {
        if (manager.EstablishUser(user.userId) != 0) {
            err << path << ": cannot establish " << user.name << "\n";
            return 1;
        }
        columns.push_back(Ask(manager, user.name));
    }
    out << "  each user logs in (EstablishUser) and the host asks (IsAccessAllowed);\n"
        << "  before anyone logs in, every question is answered yes:\n\n";
    PrintTable(columns, out);

    out << "\n3. The integrated application OrvaneConnect acts under its own role\n"
        << "  (SetContext, then RestoreContext back to " << users.back().name << ")\n\n";
    if (manager.SetContext("OrvaneConnect").Failed()) {
        err << path << ": cannot switch to the context of OrvaneConnect\n";
        return 1;
    }
    columns.assign(1, Ask(manager, "OrvaneConnect"));
    if (manager.RestoreContext().Failed()) {
        err << path << ": cannot restore the user's context\n";
        return 1;
    }
    columns.push_back(Ask(manager, users.back().name));
    PrintTable(columns, out);
    return 0;
}

} // namespace

int RunDemo(std::string const& requestedPath, std::string const& catalogue, std::ostream& out,
            std::ostream& err) {
    if (Host::IsServerLocation(requestedPath)) {
        // The tour writes its page beside the company and may remove it.
        err << "pmctl: " << Host::MaskedLocation(requestedPath)
            << ": the demo makes a company file; name a file, not a database\n";
        return 2;
    }
    bool temporary = requestedPath.empty();
    std::string path = temporary ? TemporaryPath() : requestedPath;
    struct Cleanup {
        bool remove;
        std::string path;
        ~Cleanup() {
            if (remove) {
                std::error_code ignored;
                std::filesystem::remove(path, ignored);
                std::filesystem::remove(path + "-wal", ignored);
                std::filesystem::remove(path + "-shm", ignored);
                std::filesystem::remove(path + ".html", ignored);
                std::filesystem::remove(path + ".html", ignored);
            }
        }
    } cleanup{temporary, path};

    out << "1. Create the company file " << path << "\n";
    {
        OpenFailure failure;
        std::unique_ptr<Session> session = Session::Create(path, catalogue, "admin", &failure);
        if (session == nullptr) {
            err << failure.message << "\n";
            return 1;
        }
        Host::CatalogueInfo info = Host::GetCatalogueInfo();
        out << "  catalogue " << info.sourceName << ": " << info.product << ", version "
            << info.permissionDataVersion << ", " << info.featureCount << " entitlements\n";
        out << "  " << session->Manager().GetRoleCache()->size()
            << " default roles; user admin holds Admin\n";
        if (!AddUserWithRoles(*session, "carol", {"Sales"}, out, err) ||
            !AddUserWithRoles(*session, "dave", {"Purchasing", "Payroll Clerk"}, out, err) ||
            !AddUserWithRoles(*session, "erin", {}, out, err)) {
            return 1;
        }
        std::string error;
        Json record;
        FileArgs demo{path, catalogue};
        demo.command = "demo";
        if (!RecordCreation(demo, true, &record, &error) || !session->Commit(&error)) {
            err << path << ": the new file could not be written: " << error << "\n";
            return 1;
        }
    }

    out << "\n2. Close it and open it again, as the host does at start-up\n";
    if (int result = Tour(path, catalogue, out, err); result != 0) {
        return result;
    }
    CommandTour(path, catalogue, out);
    out << "\nDone.\n";
    return 0;
}

} // namespace Pmctl
