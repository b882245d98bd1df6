// The checks that a file must pass before the host takes it as a company
// file. Each answers with a reason in words ("the file is empty"), empty when
// the file passes. Private to the host.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>

namespace Host {
namespace detail {

const int kSchemaVersion = 1;
const std::uint32_t kApplicationId = 0x504D4346; // "PMCF"

// What the file's first 100 bytes say: empty, not SQLite, truncated, or an
// impossible page size. Read directly, so that a file that is not SQLite gets
// a plain answer. The size is compared with the header's page count only when
// no log or journal lies beside the file (sidecarsPresent false): pages in a
// log are part of the database until a checkpoint.
std::string CheckHeader(std::string const& path, bool sidecarsPresent);

// What SQLite can tell on a connection to the file, reading only: damage
// found by quick_check, an application id or schema version that is not this
// host's, tables or columns that are missing.
std::string CheckContents(sqlite3* db);

} // namespace detail
} // namespace Host
