// One or two typical command lines for every command of pmctl, on the
// company file books.pmco of the README, whose users are alice (the
// administrator), carol and dave.
#include "Examples.h"

#include "CommandTree.h"

#include <map>

namespace Pmctl {

namespace {

std::map<std::string, std::vector<std::string>> const kExamples = {
    {"",
     {"pmctl create books.pmco --admin alice", "pmctl users add books.pmco carol",
      "pmctl assign books.pmco carol Sales", "pmctl check books.pmco carol Invoices view"}},
    {"demo", {"pmctl demo"}},
    {"create", {"pmctl create books.pmco --admin alice"}},
    {"info", {"pmctl info books.pmco"}},
    {"reset", {"pmctl reset books.pmco --dry-run"}},
    {"upgrade", {"pmctl upgrade books.pmco --catalogue new-catalogue.json"}},
    {"users", {"pmctl users list books.pmco"}},
    {"users list", {"pmctl users list books.pmco --json"}},
    {"users add", {"pmctl users add books.pmco carol", "pmctl users add books.pmco frank --admin"}},
    {"users remove", {"pmctl users remove books.pmco carol --yes"}},
    {"roles", {"pmctl roles list books.pmco"}},
    {"roles show", {"pmctl roles show books.pmco Sales"}},
    {"roles delete", {"pmctl roles delete books.pmco \"Sales East\""}},
    {"roles list", {"pmctl roles list books.pmco --all"}},
    {"roles edit",
     {"pmctl roles edit books.pmco \"Sales East\" --grant \"Bills=view,create\" --grant "
      "\"Invoices=none\"",
      "pmctl roles edit books.pmco Temp --recursive --grant \"*=none\" --grant "
      "\"Customers & Receivables=view\""}},
    {"roles copy", {"pmctl roles copy books.pmco Sales \"Sales East\""}},
    {"roles create",
     {"pmctl roles create books.pmco Temp --description \"may only view customers\"",
      "pmctl roles create books.pmco \"Temp Worker\" --like \"View Only\""}},
    {"roles rename", {"pmctl roles rename books.pmco \"Sales East\" \"Sales North\""}},
    {"roles describe",
     {"pmctl roles describe books.pmco \"Sales North\" \"the northern sales team\""}},
    {"bank", {"pmctl bank list books.pmco"}},
    {"bank list", {"pmctl bank list books.pmco"}},
    {"bank add", {"pmctl bank add books.pmco Checking"}},
    {"bank rename", {"pmctl bank rename books.pmco Checking:Payroll Checking:Wages"}},
    {"bank remove", {"pmctl bank remove books.pmco Checking:Wages --yes"}},
    {"bank import", {"pmctl bank import books.pmco accounts.txt --progress"}},
    {"verify", {"pmctl verify books.pmco --repair"}},
    {"matrix", {"pmctl matrix books.pmco --html roles.html", "pmctl matrix books.pmco --csv -"}},
    {"assign", {"pmctl assign books.pmco carol Sales", "pmctl assign books.pmco #103 #4"}},
    {"unassign", {"pmctl unassign books.pmco carol Sales"}},
    {"check", {"pmctl check books.pmco carol Invoices view"}},
    {"explain",
     {"pmctl explain books.pmco carol Invoices",
      "pmctl explain books.pmco carol \"Data Exchange\" modify --as OrvaneConnect"}},
    {"who-can", {"pmctl who-can books.pmco Invoices create"}},
    {"rights",
     {"pmctl rights books.pmco carol", "pmctl rights books.pmco carol --as OrvaneConnect --json"}},
    {"copy",
     {"pmctl copy books.pmco postgresql://office@db.example/books",
      "pmctl copy postgresql://office@db.example/books books.pmco --replace"}},
    {"log",
     {"pmctl log books.pmco --since 2026-11-01", "pmctl log books.pmco --user alice --json"}},
};

std::string Footer(std::vector<std::string> const& lines) {
    std::string footer = lines.size() == 1 ? "Example:" : "Examples:";
    for (std::string const& line : lines) {
        footer += "\n  " + line;
    }
    return footer;
}

} // namespace

std::vector<std::string> Examples(std::string const& path) {
    auto found = kExamples.find(path);
    return found == kExamples.end() ? std::vector<std::string>() : found->second;
}

void AddExamples(CLI::App& root) {
    std::vector<CLI::App*> commands{&root};
    for (std::size_t i = 0; i < commands.size(); ++i) {
        std::vector<std::string> lines = Examples(CommandPath(*commands[i]));
        if (!lines.empty()) {
            commands[i]->footer(Footer(lines));
        }
        for (CLI::App* sub : commands[i]->get_subcommands(nullptr)) {
            commands.push_back(sub);
        }
    }
}

} // namespace Pmctl
