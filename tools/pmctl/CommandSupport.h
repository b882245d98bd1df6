// What pmctl's commands share: opening the file, finding users, roles and
// entitlements by name or #id, reading action words, and printing.
#pragma once

#include "Commands.h"
#include "Session.h"

#include <PM/EntitlementDef.h>

#include <host/users/CompanyUsers.h>

#include <nlohmann/json.hpp>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Pmctl {

typedef nlohmann::ordered_json Json;

// Opens args.file with args.catalogue (or the default catalogue); null with
// the reason on io.err and the exit code in *code.
std::unique_ptr<Session> OpenSession(FileArgs const& args, Access access, Io io, int* code);

// A read command: body runs on a snapshot of the file, and its exit code is
// the command's. A file that the next change will upgrade is noted on io.err.
int RunRead(FileArgs const& args, Io io, std::function<int(Session&)> const& body);

struct ChangeOptions {
    // Copy the file as it was beside it before the change is written
    // (NAME.YYYYMMDD-HHMMSS.bak), and say where; on a server, say that no
    // copy was made (backups there are pg_dump's).
    bool backup = false;
    // The command reports an upgrade itself; others get a line that says so.
    bool saysUpgrade = false;
    // The command repairs the predefined roles itself, so an upgrade on the
    // way is not followed by a repair of its own.
    bool repairs = false;
    // With args.json, body prints a JSON object of its own (verify --repair),
    // which the change's record joins as "change".
    bool bodyPrintsJson = false;
};

// A write command: body runs inside one write bracket, with what it prints
// held back. Exit 0 from body records the change in the file's history
// (ChangeHistory.h) and commits the bracket (for a dry run: abandons it, with
// nothing recorded), and then prints what body printed; a failed commit says
// why and exits 1. Any other exit code abandons the bracket. A file that
// opening upgraded is copied first, as with options.backup. With args.json,
// io.out holds the change's record as JSON alone: what body printed and what
// RunChange itself says (the copy, the upgrade, the dry run) go to io.err.
int RunChange(FileArgs const& args, Io io, std::function<int(Session&, Io)> const& body,
              ChangeOptions const& options = ChangeOptions());

// "pmctl: FILE: " in front of a message about the file (FILE as Shown).
std::ostream& Complain(Io io, std::string const& file);

// "result N" for a failed result of the library, followed by why a record
// operation of this command failed, where the record layer knows (a server's
// refusal, a full disk): "result -1: the server reported SQLSTATE 42501:
// permission denied for table roles". RunChange forgets earlier failures
// before the command's body runs.
std::string Result(int result);

// The company's location (a file path or a server URI) as pmctl prints it:
// a path as it is, a URI with its password masked. Every message, page and
// record that names the company shows this, never what was typed
// (Locations.cpp).
std::string Shown(std::string const& location);
// Whether the location names a company database on a server. There is no
// file there to copy beside before a reset or an upgrade, nor one an output
// could overwrite.
bool OnServer(std::string const& location);
// text with the password of each server URI among words masked.
std::string Scrubbed(std::string const& text, std::vector<std::string> const& words);

// Lookups (NameLookup.cpp) of what people type: a name, compared without
// regard to ASCII case, or an id written "#N" ("#103"). A name of digits is a
// name, never an id. Each writes to io.err what it could not find, with the
// closest name ("did you mean") or, for digits that are an id, the #N form,
// and returns false; the caller exits 2.
//
// Whether text is "#N" with N a decimal number that fits an int; *id gets N.
// A name of that form can be reached only by its id.
bool ParseHashId(std::string const& text, int* id);
// A user by name or #id. An exact name wins over names that differ from it
// only in case; two of those and no exact one is refused.
bool FindUser(Session& session, std::string const& text, Host::CompanyUser* user, Io io);
// A role by name (the library's LookupRole: the first of that name) or #id.
bool FindRole(Session& session, std::string const& text, int* roleId, std::string* name, Io io);
// A live entitlement by #id or by the full name the library knows it by
// ("Bank Registers:Checking:Payroll"); *def carries the full name. The last
// levels of a full name ("Payroll", "Checking:Payroll") are taken when they
// fit exactly one visible entitlement, with a note on io.err that names it;
// when they fit several, the message lists them. A removed bank account is
// not found.
bool FindEntitlement(Session& session, std::string const& text, PM::EntitlementDef* def, Io io);

// Action words, ','-separated: view, create, modify, delete, print, viewbal,
// custom, or "none" or "full" (the six standard actions). False with the
// reason in *error for an unknown or empty word.
bool ParseActions(std::string const& text, long* mask, std::string* error);
// The action words of a mask as a JSON array.
Json ActionArray(long mask);

// Whether taking the roles taken from user leaves someone holding Admin: the
// last holder keeps it unless args.force. False with the reason on io.err.
bool KeepsAnAdminHolder(Session& session, FileArgs const& args, Host::CompanyUser const& user,
                        std::vector<int> const& taken, Io io);

// The name of a role by id, or "role N" when it has none.
std::string RoleName(Session& session, int roleId);
// The role's action mask on the entitlement; 0 when none is stored.
long RoleMask(Session& session, int roleId, int entitlementId);
// The user's role ids; empty when the store has none or cannot say.
std::vector<int> UserRoleIds(Session& session, int userId);

// A name that people will read and type: not empty, no blank at either end,
// no control character, valid UTF-8. False with the reason in *error, which
// shows the offending character and its position (what: "user name").
bool CheckName(std::string const& what, std::string const& name, std::string* error);

// The output path that means standard output.
extern char const kStandardOutput[]; // "-"

// Refuses an output path that would overwrite the company file: the file
// itself, its log, shared memory or journal, or a link to any of them (for a
// company database on a server, no path can be). False with the reason on
// io.err.
bool CheckOutputPath(FileArgs const& args, std::string const& output, Io io);
// Writes text to path whole or not at all (under a temporary name beside it,
// then renamed), or to io.out for "-"; false with the reason on io.err.
bool WriteWhole(std::string const& path, std::string const& text, Io io);

// The one file that an interrupt (SIGINT, SIGTERM, SIGHUP) removes, with its
// log and journal, before the process ends: a company file being built. An
// empty path: none. See InstallInterruptHandlers.
void RemoveOnInterrupt(std::string const& path);
// Handlers for those signals that remove that file and then end the process
// as the signal would. A write bracket needs nothing: an uncommitted
// transaction is gone when the process is.
void InstallInterruptHandlers();

// Whether the text is a decimal number that fits an int; *value gets it.
bool ParseInt(std::string const& text, int* value);

void PrintJson(Json const& json, Io io);

} // namespace Pmctl
