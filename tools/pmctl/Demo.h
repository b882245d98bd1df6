// pmctl demo: a guided tour of the permission manager on a real company file.
#pragma once

#include <ostream>
#include <string>

namespace Pmctl {

// Creates a company file at path from the catalogue, adds users and roles,
// reopens it, establishes each user and prints the answers, then acts as an
// integrated application and back. An empty path uses a temporary file that
// is removed at the end; a server URI is refused (2). 0 on success; otherwise
// the reason is on err.
int RunDemo(std::string const& path, std::string const& catalogue, std::ostream& out,
            std::ostream& err);

} // namespace Pmctl
