// The record that every change pmctl makes leaves in the company file's
// history (Host::AppendChangeRecord): when, by which operating-system user,
// which command, and what changed (ChangeDiff.h). It is written inside the
// change's write bracket before Commit, so the file holds it exactly when it
// holds the change; a dry run writes none.
//
// As JSON (what --json on a write command prints, and pmctl log --json lists):
//   {"id": 7, "changedAt": "2026-11-25T03:34:53Z", "osUser": "ann",
//    "command": "users add carol", "details": {...}}
// without "id" when the record is not written: for a dry run, and for a
// command that changed nothing (its details are {}).
#pragma once

#include "CommandSupport.h"

#include <host/records/ChangeHistory.h>

#include <string>

namespace Pmctl {

// The operating-system user this process runs as: the password entry of the
// effective user id, else $USER, else "uid N".
std::string OsUserName();
// The time now in UTC: "2026-11-25T03:34:53Z".
std::string UtcNow();

// The record of the change in session's bracket: what changed between the
// tables as the session found them and as they are now, with args.command.
// With write, it is added to the file's history and gets its id, unless
// nothing changed. False with the reason in *error (then the change must not
// be committed).
bool RecordChange(Session& session, FileArgs const& args, bool write, Json* record,
                  std::string* error);
// The same for the company file just created in the open session: what it
// was created from, and the users and assignments it was created with.
bool RecordCreation(FileArgs const& args, bool write, Json* record, std::string* error);

// A stored record as JSON; details that are not JSON are kept as text.
Json RecordJson(Host::ChangeRecord const& record);

// As PrintJson, but an array of at most four numbers or strings (a mask's
// [role, entitlement, before, after]) on one line.
void PrintRecordJson(Json const& json, Io io);

// What a write command printed, held back until its change was written, and
// with json its record: then io.out holds the record alone and what was
// printed goes to io.err, or, when printed is a JSON object of the
// command's own (bodyPrintsJson), the record joins it as "change".
void PrintChange(std::string const& printed, Json const& record, bool json, bool bodyPrintsJson,
                 Io io);

} // namespace Pmctl
