// pmctl copy: a company moved from one location to another, an SQLite
// company file or a PostgreSQL database (a postgresql:// URI), either way.
#pragma once

#include "Commands.h"

#include <string>

namespace Pmctl {

// Copies the company at source into destination in one transaction there
// (Host::CopyCompany), then prints each copied table's rows and checksum as
// read from the source and as read back from the destination (with json, as
// JSON). A destination that holds a company is refused (2) unless replace.
// 0 when the copy is in place and every table compares equal; 1 when it
// could not be made (busy, a lost connection, a row the destination refused:
// nothing was written) or a table differs after; 2 for bad input.
int CopyCommand(std::string const& source, std::string const& destination, bool replace, bool json,
                Io io);

} // namespace Pmctl
