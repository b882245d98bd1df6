// The server engine as the company file functions (CompanyFile.cpp) reach it,
// without the client library's headers: creating, opening and closing a
// company held in a PostgreSQL database. Private to the host.
#pragma once

#include <host/records/CompanyFile.h>

#include <string>

namespace Host {
namespace detail {

class Engine;

// Refuses a database that holds any table (or view), or that cannot be
// reached; otherwise leaves the connection open as the company. The tables
// are made by the first transaction on it (the first write bracket, or else
// the first record operation, in a transaction of its own), after a second
// look that the database is still empty: so a create and the company's first
// change reach the server together, and a close before any leaves the
// database as it was.
CompanyFileResult CreateServerCompany(std::string const& uri);
// Refuses a database that holds no company (empty, or other tables without
// the company's metadata table), one of another application or schema
// version, one whose tables lack a column the host reads, and one that
// cannot be reached. Nothing is written to it.
CompanyFileResult OpenServerCompany(std::string const& uri);
// A create or an open refused because the server could not be reached, or
// the connection was lost while the database was checked, is marked busy:
// not refused, to be tried again.
// The same checks, and then the whole open is one REPEATABLE READ
// transaction that is rolled back at close: reads see the database as one
// commit left it, writes (an upgrade the library makes on Init) are seen by
// this program alone and never reach the database. Those writes lock their
// rows against other desktops until the close. A failure that ends the
// transaction fails everything after it.
CompanyFileResult OpenServerCompanySnapshot(std::string const& uri);
bool ServerCompanyIsSnapshot();
// Closes the connection; a transaction still open is rolled back.
void CloseServerCompany();
// The open server company's engine; null when none is open.
Engine* OpenServerEngine();
// Its location with the password masked; empty when none is open.
std::string ServerCompanyLocation();

} // namespace detail
} // namespace Host
