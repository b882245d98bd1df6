// pmctl's command line: the table of commands, each with its own options,
// parsed and run. main hands over argv; tests hand over their own.
#pragma once

#include "Commands.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Pmctl {

// Asks the person at the terminal a question and returns the answer line;
// nullopt when the input ended.
using Prompt = std::function<std::optional<std::string>(std::string const& question)>;

// Runs the command line (args[0] is the program's name). The exit code is the
// command's; 2 for a command line that does not parse, with the reason (for
// words that name no command, the closest command) and a hint on io.err.
// --help and --version print to io.out and exit 0. Destructive commands
// (reset, roles delete, users remove, bank remove) ask through prompt first,
// unless --yes or --dry-run; without a prompt (not on a terminal) they need
// --yes. --log FILE appends the library's log lines to FILE ("-": io.out);
// without it they are dropped, so that no check text reaches the terminal.
int RunCommandLine(std::vector<std::string> const& args, Io io, Prompt const& prompt);

} // namespace Pmctl
