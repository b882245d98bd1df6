// Asking the library as the host asks it: a user established, and, with an
// integrated application named (--as), that application's permission context
// on top. What IsAccessAllowed answers afterwards is what the host would get.
#pragma once

#include "CommandSupport.h"

#include <string>

namespace Pmctl {

// Whether the catalogue knows the integrated application. False with the
// known ones on io.err (a bad-input fault). An empty name is no application
// and passes.
bool CheckApplication(FileArgs const& args, std::string const& application, Io io);

// EstablishUser for the user, then, unless application is empty,
// SetContext for it (which, in a read's snapshot, may add the application's
// role to the copy in memory). False with the reason on io.err when the
// library refuses either (a failure, exit 1); the manager may then answer
// every question yes, so nothing may be decided from it. Call it once per
// user and without an application when it is called again: EstablishUser
// refuses while an application's context is on top.
bool EstablishAs(FileArgs const& args, Session& session, Host::CompanyUser const& user,
                 std::string const& application, Io io);

// The id in the file of the role through which the application acts, once
// EstablishAs set its context; -1 when there is none.
int ApplicationRoleId(Session& session, std::string const& application);

// The one action word that a question asks about (command: "check", ...),
// in *mask. False with the reason on io.err (a bad-input fault): an unknown
// word, or several, "none" or "full".
bool ParseOneAction(FileArgs const& args, std::string const& command, std::string const& word,
                    long* mask, Io io);

// The actions of the mask that IsAccessAllowed grants on the entitlement, one
// question per action: the library's decision, as a mask.
long AllowedMask(Session& session, int entitlementId);

} // namespace Pmctl
