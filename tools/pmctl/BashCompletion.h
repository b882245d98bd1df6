// pmctl's completion for bash, made from its command tree at build time.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace Pmctl {

// A bash script that defines _pmctl and registers it for pmctl: it completes
// commands and subcommands, each command's options, file names for values
// that are files (FILE, LIST, --catalogue, --html, ...) and the action words
// for ACTION. Users, roles and entitlements are not completed: they are in
// the company file.
std::string BashCompletion(CLI::App const& root);

} // namespace Pmctl
