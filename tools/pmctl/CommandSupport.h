// What pmctl's commands share: opening the file, finding users, roles and
// entitlements by name or id, reading action words, and printing.
#pragma once

#include "Commands.h"
#include "Session.h"

#include <PM/EntitlementDef.h>

#include <host/users/CompanyUsers.h>

#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <vector>

namespace Pmctl {

typedef nlohmann::ordered_json Json;

// Opens args.file with args.catalogue (or the default catalogue); null with
// the reason on io.err.
std::unique_ptr<Session> OpenSession(FileArgs const& args, Io io);

// "pmctl: FILE: " in front of a message about the file.
std::ostream& Complain(Io io, std::string const& file);

// Lookups by name or by number. Each writes what it could not find to io.err
// and returns false.
bool FindUser(Session& session, std::string const& text, Host::CompanyUser* user, Io io);
bool FindRole(Session& session, std::string const& text, int* roleId, std::string* name, Io io);
// A live entitlement: its name (full name for a bank account) or its id. A
// removed bank account is not found.
bool FindEntitlement(Session& session, std::string const& text, PM::EntitlementDef* def, Io io);

// Action words, ','-separated: view, create, modify, delete, print, viewbal,
// custom, or "none" or "full" (the six standard actions). False with the
// reason in *error for an unknown or empty word.
bool ParseActions(std::string const& text, long* mask, std::string* error);
// The action words of a mask as a JSON array.
Json ActionArray(long mask);

// The name of a role by id, or "role N" when it has none.
std::string RoleName(Session& session, int roleId);
// The user's role ids; empty when the store has none or cannot say.
std::vector<int> UserRoleIds(Session& session, int userId);

// Whether the text is a decimal number that fits an int; *value gets it.
bool ParseInt(std::string const& text, int* value);

// A bank account's path below "Bank Registers" and the full name the
// library knows it by.
std::string BankFullName(std::string const& account);

void PrintJson(Json const& json, Io io);

} // namespace Pmctl
