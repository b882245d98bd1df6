// pmctl's manual page, made from its command tree at build time, so that it
// lists every command with the usage, options and example that --help shows.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace Pmctl {

struct ManPageFacts {
    std::string version;   // pmctl's, "0.1.0"
    std::string catalogue; // where the installed catalogue is
};

// The page in roff (man(7) macros) for section 1: NAME, SYNOPSIS,
// DESCRIPTION, COMMANDS (each command below root that has no subcommands),
// OPTIONS (root's), EXIT STATUS, FILES, SEE ALSO.
std::string ManPage(CLI::App const& root, ManPageFacts const& facts);

// Text made safe for roff: backslashes kept, a line that would start with
// '.' or '\'' kept as text. Code also turns '-' into the minus sign \-, as
// option names and command lines need to be typed.
std::string RoffText(std::string const& text);
std::string RoffCode(std::string const& text);

} // namespace Pmctl
