// Walking pmctl's command tree, and the names its usage lines give values.
#include "CommandTree.h"

#include <cctype>
#include <map>

namespace Pmctl {

namespace {

// What the values of options are called where the option's own name would
// not say it; the others are called by their name ("--like" takes LIKE).
std::map<std::string, std::string> const kValueNames = {
    {"--catalogue", "CATALOGUE"}, {"--log", "FILE"},
    {"--html", "FILE"},           {"--csv", "FILE"},
    {"--from-json", "FILE"},      {"--as", "APP"},
    {"--admin", "NAME"},          {"--grant", "ENTITLEMENT=ACTIONS"},
};

void AddBelow(CLI::App const& command, std::vector<CLI::App const*>* commands) {
    for (CLI::App const* sub : command.get_subcommands(nullptr)) {
        if (!sub->get_name().empty()) {
            commands->push_back(sub);
            AddBelow(*sub, commands);
        }
    }
}

} // namespace

std::string CommandPath(CLI::App const& command) {
    if (command.get_parent() == nullptr) {
        return std::string();
    }
    std::string above = CommandPath(*command.get_parent());
    return above.empty() ? command.get_name() : above + " " + command.get_name();
}

std::vector<CLI::App const*> AllCommands(CLI::App const& root) {
    std::vector<CLI::App const*> commands;
    AddBelow(root, &commands);
    return commands;
}

CLI::App const* Subcommand(CLI::App const& command, std::string const& word) {
    for (CLI::App const* sub : command.get_subcommands(nullptr)) {
        if (!sub->get_name().empty() && sub->get_name() == word) {
            return sub;
        }
    }
    return nullptr;
}

std::string ValueName(CLI::Option const& option) {
    if (option.get_positional() && !option.nonpositional()) {
        return option.get_name();
    }
    std::string const name = option.get_name();
    auto known = kValueNames.find(name);
    if (known != kValueNames.end()) {
        return known->second;
    }
    std::string upper;
    for (char c : name.substr(name.find_first_not_of('-'))) {
        upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return upper;
}

bool ValueIsAPath(CLI::Option const& option) {
    std::string const value = ValueName(option);
    return value == "FILE" || value == "LIST" || value == "CATALOGUE";
}

bool IsFlag(CLI::Option const& option) {
    return option.get_items_expected_max() == 0;
}

void NameValues(CLI::App& root) {
    std::vector<CLI::App*> commands{&root};
    for (std::size_t i = 0; i < commands.size(); ++i) {
        for (CLI::Option* option : commands[i]->get_options()) {
            if (!option->nonpositional()) {
                option->type_name(""); // its name says it: FILE, not FILE TEXT
            } else if (!IsFlag(*option)) {
                option->type_name(ValueName(*option));
            }
        }
        for (CLI::App* sub : commands[i]->get_subcommands(nullptr)) {
            commands.push_back(sub);
        }
    }
}

} // namespace Pmctl
