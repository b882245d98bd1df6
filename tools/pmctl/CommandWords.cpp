// pmctl's words for a parsed command line.
#include "CommandWords.h"

#include <CLI/CLI.hpp>

#include <cctype>

namespace Pmctl {

std::string Quoted(std::string const& word) {
    bool plain = !word.empty();
    for (char c : word) {
        plain = plain && (std::isalnum(static_cast<unsigned char>(c)) ||
                          std::string("_@%+=:,./-").find(c) != std::string::npos);
    }
    if (plain) {
        return word;
    }
    std::string quoted = "\"";
    for (char c : word) {
        quoted += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    return quoted + "\"";
}

std::string CommandWords(CLI::App const& command) {
    std::string words;
    for (CLI::App const* app = &command; app->get_parent() != nullptr; app = app->get_parent()) {
        words = app->get_name() + (words.empty() ? "" : " ") + words;
    }
    std::vector<CLI::Option const*> const options = command.get_options();
    for (bool positional : {true, false}) {
        for (CLI::Option const* option : options) {
            std::string const name = option->get_name(positional);
            if (option->count() == 0 || option->get_positional() != positional || name == "FILE" ||
                name == "--json" || name == "--dry-run" || name == "--yes") {
                continue;
            }
            if (!positional && option->get_expected_max() == 0) { // a flag
                words += " " + name;
                continue;
            }
            for (std::string const& value : option->results()) {
                words += (positional ? " " : " " + name + " ") + Quoted(value);
            }
        }
    }
    return words;
}

} // namespace Pmctl
