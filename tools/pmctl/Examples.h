// The examples that end each command's --help and its entry in the man page:
// a table by command path, so that each command added names its own.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace Pmctl {

// The example command lines of the command at path ("users add"; "" for
// pmctl itself); empty when the table has none.
std::vector<std::string> Examples(std::string const& path);

// Ends the --help of root and of every command below it with its examples.
void AddExamples(CLI::App& root);

} // namespace Pmctl
