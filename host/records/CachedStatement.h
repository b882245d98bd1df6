// The record layer's access to the open company file's prepared statements.
#pragma once

struct sqlite3_stmt;

namespace Host {
namespace detail {

// The open company file's statement for sql, prepared on first use and
// finalised when the file closes. sql must have static storage: the cache is
// keyed by its address. The caller resets the statement after use. Null, with
// *rc set to an SQLite result code, when no company file is open or sql does
// not prepare.
sqlite3_stmt* CachedStatement(char const* sql, int* rc);

} // namespace detail
} // namespace Host
