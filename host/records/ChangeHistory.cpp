// The change_history table of the company file.
#include "ChangeHistory.h"

#include "CachedStatement.h"
#include "CompanyFile.h"
#include "Transactions.h"

namespace Host {

namespace {

const char kSchemaVersion[] = "PRAGMA user_version";
const char kAppend[] =
    "INSERT INTO change_history (changed_at, os_user, command, details) VALUES (?1, ?2, ?3, ?4)";
const char kList[] = "SELECT id, changed_at, os_user, command, details FROM change_history "
                     "WHERE changed_at >= ?1 AND (?2 = '' OR os_user = ?2) ORDER BY id";

std::string Reason(int rc) {
    return rc == SQLITE_MISUSE && !IsCompanyFileOpen() ? std::string("no company file is open")
                                                       : DescribeWriteFailure(rc);
}

void Bind(sqlite3_stmt* statement, int index, std::string const& text) {
    sqlite3_bind_text(statement, index, text.c_str(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
}

std::string Text(sqlite3_stmt* statement, int column) {
    char const* text = reinterpret_cast<char const*>(sqlite3_column_text(statement, column));
    return text != nullptr ? text : "";
}

} // namespace

int CompanyFileSchemaVersion() {
    detail::CachedStatementUse use(kSchemaVersion);
    if (use.get() == nullptr || sqlite3_step(use.get()) != SQLITE_ROW) {
        return -1;
    }
    return sqlite3_column_int(use.get(), 0);
}

bool AppendChangeRecord(ChangeRecord* record, std::string* error) {
    detail::CachedStatementUse use(kAppend);
    if (use.get() == nullptr) {
        *error = Reason(use.rc());
        return false;
    }
    Bind(use.get(), 1, record->changedAt);
    Bind(use.get(), 2, record->osUser);
    Bind(use.get(), 3, record->command);
    Bind(use.get(), 4, record->details);
    int rc = sqlite3_step(use.get());
    if (rc != SQLITE_DONE) {
        *error = Reason(rc);
        return false;
    }
    record->id = sqlite3_last_insert_rowid(CurrentCompanyFileHandle());
    return true;
}

bool ListChangeRecords(std::string const& since, std::string const& osUser,
                       std::vector<ChangeRecord>* records, std::string* error) {
    records->clear();
    detail::CachedStatementUse use(kList);
    if (use.get() == nullptr) {
        *error = Reason(use.rc());
        return false;
    }
    Bind(use.get(), 1, since);
    Bind(use.get(), 2, osUser);
    int rc = SQLITE_ROW;
    while ((rc = sqlite3_step(use.get())) == SQLITE_ROW) {
        ChangeRecord record;
        record.id = sqlite3_column_int64(use.get(), 0);
        record.changedAt = Text(use.get(), 1);
        record.osUser = Text(use.get(), 2);
        record.command = Text(use.get(), 3);
        record.details = Text(use.get(), 4);
        records->push_back(record);
    }
    if (rc != SQLITE_DONE) {
        *error = Reason(rc);
        return false;
    }
    return true;
}

} // namespace Host
