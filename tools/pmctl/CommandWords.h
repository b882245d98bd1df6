// A parsed command line in pmctl's own words, as the change history records
// it.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace Pmctl {

// The word as a shell would need it: in double quotes (with '"' and '\'
// escaped) when it is empty or holds anything but letters, digits and
// _@%+=:,./-.
std::string Quoted(std::string const& word);

// The command as parsed: its subcommands, its arguments, then its options in
// the order they were declared, without the company file and the flags that
// change only how pmctl reports (--json, --dry-run, --yes):
// "roles copy Sales \"Sales East\"", "users add carol --admin".
std::string CommandWords(CLI::App const& command);

} // namespace Pmctl
