// Databases made and dropped on the test server.
#include "support/ServerDatabases.h"

#include "support/EngineTesting.h"

#include <sstream>

namespace PMTest {

namespace {

// A name as an SQL identifier.
std::string Identifier(std::string const& name) {
    std::string quoted = "\"";
    for (char c : name) {
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    }
    return quoted + "\"";
}

} // namespace

std::string WithDatabase(std::string const& uri, std::string const& name) {
    std::size_t const authority = uri.find("://");
    std::size_t const path = uri.find('/', authority == std::string::npos ? 0 : authority + 3);
    if (path == std::string::npos) {
        return uri + "/" + name;
    }
    std::size_t const end = uri.find('?', path);
    return uri.substr(0, path + 1) + name + (end == std::string::npos ? "" : uri.substr(end));
}

std::string MakeDatabase(std::string const& name, std::string const& copyOf) {
    DropDatabase(name);
    // Each statement alone: CREATE DATABASE runs outside any transaction.
    QueryElsewhere(ServerUri(), "CREATE DATABASE " + Identifier(name) +
                                    (copyOf.empty() ? "" : " TEMPLATE " + Identifier(copyOf)));
    return WithDatabase(ServerUri(), name);
}

void DropDatabase(std::string const& name) {
    // Asked first: DROP DATABASE IF EXISTS would print a notice.
    if (!QueryElsewhere(ServerUri(), "SELECT 1 FROM pg_database WHERE datname = '" + name + "'")
             .empty()) {
        QueryElsewhere(ServerUri(), "DROP DATABASE " + Identifier(name) + " WITH (FORCE)");
    }
}

std::string DatabaseTables(std::string const& uri) {
    std::string const tables =
        QueryElsewhere(uri, "SELECT string_agg(tablename, ' ' ORDER BY tablename) FROM pg_tables "
                            "WHERE schemaname = current_schema()");
    std::istringstream names(tables == "NULL" ? "" : tables);
    std::string all;
    for (std::string table; names >> table;) {
        all += std::string(all.empty() ? "" : " UNION ALL ") + "SELECT '" + table +
               "' AS t, r::text AS row FROM " + Identifier(table) + " AS r";
    }
    if (all.empty()) {
        return std::string();
    }
    // "table|(a,b,c)" rows in order, a line each.
    std::string rows = QueryElsewhere(uri, all + " ORDER BY t, row");
    for (std::size_t at = rows.find("; "); at != std::string::npos; at = rows.find("; ", at)) {
        rows.replace(at, 2, "\n");
    }
    return rows + "\n";
}

} // namespace PMTest
