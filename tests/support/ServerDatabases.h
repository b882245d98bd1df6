// Databases of their own on the test server (PM_TEST_POSTGRES_URI), for tests
// that need a fresh company for each case, several companies, or a company as
// it was: made empty or as a copy of another (CREATE DATABASE ... TEMPLATE),
// and dropped together with any connection still open to them. The server
// role must be allowed to create databases (scripts/with-postgres.sh's is).
#pragma once

#include <string>

namespace PMTest {

// uri with the database it names replaced by name.
std::string WithDatabase(std::string const& uri, std::string const& name);

// Names are letters, digits and '_'.
//
// A database named name on the test server, dropped first when it exists:
// empty, or a copy of the database named copyOf, to which nothing may be
// connected. Its URI.
std::string MakeDatabase(std::string const& name, std::string const& copyOf = "");
void DropDatabase(std::string const& name);

// The rows sql yields on the database at uri, through a connection of its
// own: a line each, prefix and then the fields joined by '|' (NULL as
// "NULL"), as QueryRows (FaultLoop.h) gives them of a file.
std::string ServerRows(std::string const& uri, std::string const& sql,
                       std::string const& prefix = "");

// Every row of every table of the company database at uri, a line
// "table|(a,b,c)" each, in order: what another program sees of it, to
// compare before and after. Empty for a database without tables.
std::string DatabaseTables(std::string const& uri);

} // namespace PMTest
