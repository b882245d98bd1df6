// Bringing a company file of an older schema to this host's (kSchemaVersion
// in CompanyFileAdmission.h). Private to the host.
//
// The upgrade is a write like any other: the outermost write bracket makes it
// first, inside its own transaction, so it reaches the file with the bracket's
// change or not at all. A file that is only read (a snapshot, a host that
// never brackets a write) keeps its schema; a killed or abandoned change
// leaves it as it was.
#pragma once

#include <sqlite3.h>

namespace Host {
namespace detail {

// The table that schema version 2 added: one row per change, written in the
// change's own bracket (ChangeHistory.h).
extern const char kChangeHistoryTable[];

// Inside an open write transaction on db: adds what the file's schema lacks
// and sets its user_version to kSchemaVersion; nothing for a file of this
// schema. SQLITE_OK, or the code of what failed (the caller then rolls the
// transaction back).
int UpgradeSchema(sqlite3* db);

} // namespace detail
} // namespace Host
