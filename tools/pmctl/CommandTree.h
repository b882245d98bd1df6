// pmctl's command tree as CLI11 holds it, for what needs more than one run of
// it: the run itself (RunCommandLine), the examples in each --help, the man
// page and the shell completion made from it at build time, and the tests
// that walk it.
#pragma once

#include "CommandLine.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <string>
#include <vector>

namespace Pmctl {

// The tree of one run. Parsing a command line sets run to the chosen
// command's body (empty until then) and logPath to --log's value.
struct CommandTree {
    CLI::App& app;
    std::function<int()> const& run;
    std::string const& logPath;
};

// Builds the whole tree (every command with its options, --version, names for
// option values and the examples that end each --help) and hands it to use,
// whose result it returns. The commands run with io and ask through prompt.
// Everything the tree's options are bound to lives until use returns.
int WithCommandTree(Io io, Prompt const& prompt,
                    std::function<int(CommandTree const& tree)> const& use);

// The words that name the command below the root, "users add"; "" for the
// root.
std::string CommandPath(CLI::App const& command);
// Every command below root, depth first in the order they were added, the
// groups (users, roles, bank) included.
std::vector<CLI::App const*> AllCommands(CLI::App const& root);
// The command's subcommand named word (exactly), or null.
CLI::App const* Subcommand(CLI::App const& command, std::string const& word);

// What a value is called in usage lines ("--catalogue CATALOGUE", "--as
// APP"), and whether it names a file, for the completion. Positionals
// are called by their names (FILE, ROLE).
std::string ValueName(CLI::Option const& option);
bool ValueIsAPath(CLI::Option const& option);
// Whether the option is given without a value (--json, --dry-run).
bool IsFlag(CLI::Option const& option);
// Gives every option of the tree its value's name, for --help.
void NameValues(CLI::App& root);

} // namespace Pmctl
