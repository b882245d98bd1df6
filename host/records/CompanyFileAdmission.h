// The checks that a file must pass before the host takes it as a company
// file. Each answers with a reason in words ("the file is empty"), empty when
// the file passes. Private to the host.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>

namespace Host {
namespace detail {

// The schema this host writes, and the oldest it still opens: a file of an
// older schema is brought to this one by its first write bracket
// (SchemaUpgrade.h). Version 2 added the change history.
const int kSchemaVersion = 2;
const int kOldestSchemaVersion = 1;
const std::uint32_t kApplicationId = 0x504D4346; // "PMCF"

// What the file's first 100 bytes say: empty, not SQLite, truncated, or an
// impossible page size. Read directly, so that a file that is not SQLite gets
// a plain answer. The size is compared with the header's page count only when
// no log or journal lies beside the file (sidecarsPresent false): pages in a
// log are part of the database until a checkpoint.
std::string CheckHeader(std::string const& path, bool sidecarsPresent);

// What SQLite can tell on a connection to the file, reading only: damage
// found by quick_check, an application id that is not this host's, a schema
// version outside kOldestSchemaVersion to kSchemaVersion, tables or columns
// of that version that are missing.
std::string CheckContents(sqlite3* db);

} // namespace detail
} // namespace Host
