// The company file's change history (schema version 2 on): one row for each
// change, in the order the changes were made. The host writes a change's row
// in the change's own write bracket, before Commit, so the row is in the file
// exactly when the change is. What the text columns hold is the writer's
// (pmctl: its command line without the file, and JSON details).
#pragma once

#include <string>
#include <vector>

namespace Host {

struct ChangeRecord {
    long long id = 0;      // given by AppendChangeRecord
    std::string changedAt; // UTC, "2026-11-25T03:34:53Z"
    std::string osUser;    // the operating-system user who made the change
    std::string command;   // what was done, in the writer's words
    std::string details;   // what changed
};

// The schema version of the open company file (its user_version): 1 for a
// file without a history, which its first write bracket upgrades; -1 when no
// file is open.
int CompanyFileSchemaVersion();

// Adds the record to the open file's history and sets record->id. False, with
// the reason in *error, when the file has no history or the write fails.
bool AppendChangeRecord(ChangeRecord* record, std::string* error);

// The records whose changedAt is not before since (empty: all) and, unless
// osUser is empty, whose osUser is osUser, oldest first. False, with the
// reason in *error, when the file has no history or the read fails.
bool ListChangeRecords(std::string const& since, std::string const& osUser,
                       std::vector<ChangeRecord>* records, std::string* error);

} // namespace Host
