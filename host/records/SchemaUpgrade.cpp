// The steps from one schema version of the company file to the next.
#include "SchemaUpgrade.h"

#include "CompanyFileAdmission.h"

#include <string>

namespace Host {
namespace detail {

const char kChangeHistoryTable[] = R"sql(
CREATE TABLE change_history (
    id INTEGER PRIMARY KEY,
    changed_at TEXT NOT NULL,
    os_user TEXT NOT NULL,
    command TEXT NOT NULL,
    details TEXT NOT NULL
);
)sql";

namespace {

// What each version adds to the one before it: kSteps[v - 2] leads from v - 1
// to v.
char const* const kSteps[] = {kChangeHistoryTable};
static_assert(sizeof kSteps / sizeof kSteps[0] == kSchemaVersion - 1,
              "one step for each schema version after the first");

int UserVersion(sqlite3* db, int* version) {
    sqlite3_stmt* statement = nullptr;
    int rc = sqlite3_prepare_v2(db, "PRAGMA user_version", -1, &statement, nullptr);
    if (rc == SQLITE_OK) {
        rc = sqlite3_step(statement);
        if (rc == SQLITE_ROW) {
            *version = sqlite3_column_int(statement, 0);
            rc = SQLITE_OK;
        }
    }
    sqlite3_finalize(statement);
    return rc;
}

} // namespace

int UpgradeSchema(sqlite3* db) {
    int version = kSchemaVersion;
    int rc = UserVersion(db, &version);
    for (int next = version + 1; rc == SQLITE_OK && next <= kSchemaVersion; ++next) {
        if (next >= 2) {
            rc = sqlite3_exec(db, kSteps[next - 2], nullptr, nullptr, nullptr);
        }
    }
    if (rc == SQLITE_OK && version < kSchemaVersion) {
        std::string const set = "PRAGMA user_version = " + std::to_string(kSchemaVersion);
        rc = sqlite3_exec(db, set.c_str(), nullptr, nullptr, nullptr);
    }
    return rc;
}

} // namespace detail
} // namespace Host
