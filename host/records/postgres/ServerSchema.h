// The company's tables in a PostgreSQL database, and the checks a database
// must pass before the host takes it: empty for a create, a company of this
// application and schema version for an open. Private to the host.
#pragma once

#include <string>

namespace Host {
namespace detail {

class ServerConnection;

// The statements that make the tables and the metadata table (with the
// application id and schema version of CompanyFileAdmission.h) in the
// connection's current schema.
std::string ServerSchemaSql();

// Why the database cannot take a new company (it holds tables or views, or
// has no schema to make them in); empty when it can. Reads only, inside the
// open transaction if there is one.
std::string CheckEmptyDatabase(ServerConnection& connection);

// Why the database is not a company this host can open; empty when it is.
// Reads only, in a read transaction of its own.
std::string CheckCompanyDatabase(ServerConnection& connection);

} // namespace detail
} // namespace Host
