// The change_history table of the company, through the open company's
// engine, so that the history reads and writes the same on a file and on a
// server.
#include "ChangeHistory.h"

#include "CompanyFile.h"
#include "Engine.h"

#include <cstdlib>

namespace Host {

using detail::SqlLiteral;

namespace {

detail::Engine* OpenEngine(std::string* error) {
    detail::Engine* engine = detail::CurrentEngine();
    if (engine == nullptr) {
        *error = "no company file is open";
    }
    return engine;
}

} // namespace

int CompanyFileSchemaVersion() {
    detail::Engine* engine = detail::CurrentEngine();
    return engine == nullptr ? -1 : engine->SchemaVersion();
}

bool AppendChangeRecord(ChangeRecord* record, std::string* error) {
    detail::Engine* engine = OpenEngine(error);
    if (engine == nullptr) {
        return false;
    }
    // Only inside the change's transaction: a record written by itself would
    // stay when the change it tells of is taken back.
    if (!engine->InTransaction()) {
        *error = DescribeWriteFailure(engine->LostTransactionCode());
        return false;
    }
    // Writers queue for the company, so the highest id is this record's.
    detail::TextRows rows;
    if (!engine->Execute("INSERT INTO change_history (changed_at, os_user, command, details) "
                         "VALUES (" +
                             SqlLiteral(record->changedAt) + ", " + SqlLiteral(record->osUser) +
                             ", " + SqlLiteral(record->command) + ", " +
                             SqlLiteral(record->details) + "); SELECT max(id) FROM change_history",
                         &rows, error)) {
        return false;
    }
    record->id = rows.size() == 1 ? std::strtoll(rows[0][0].c_str(), nullptr, 10) : 0;
    return true;
}

bool ListChangeRecords(std::string const& since, std::string const& osUser,
                       std::vector<ChangeRecord>* records, std::string* error) {
    records->clear();
    detail::Engine* engine = OpenEngine(error);
    if (engine == nullptr) {
        return false;
    }
    detail::TextRows rows;
    if (!engine->Execute(
            "SELECT id, changed_at, os_user, command, details FROM change_history "
            "WHERE changed_at >= " +
                SqlLiteral(since) +
                (osUser.empty() ? std::string() : " AND os_user = " + SqlLiteral(osUser)) +
                " ORDER BY id",
            &rows, error)) {
        return false;
    }
    for (std::vector<std::string> const& row : rows) {
        records->push_back(
            {std::strtoll(row[0].c_str(), nullptr, 10), row[1], row[2], row[3], row[4]});
    }
    return true;
}

} // namespace Host
