// Databases made and dropped on the test server.
#include "support/ServerDatabases.h"

#include "support/EngineTesting.h"

#include <gtest/gtest.h>
#include <pqxx/pqxx>

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

std::string ServerRows(std::string const& uri, std::string const& sql, std::string const& prefix) {
    std::string lines;
    try {
        pqxx::connection connection(uri);
        pqxx::nontransaction work(connection);
        for (auto const& row : work.exec(sql)) {
            lines += prefix;
            for (auto const& field : row) {
                lines += std::string(field.num() > 0 ? "|" : "") +
                         (field.is_null() ? "NULL" : field.c_str());
            }
            lines += "\n";
        }
    } catch (std::exception const& failure) {
        ADD_FAILURE() << sql << ": " << failure.what();
    }
    return lines;
}

std::string DatabaseTables(std::string const& uri) {
    std::istringstream names(ServerRows(
        uri, "SELECT tablename FROM pg_tables WHERE schemaname = current_schema() ORDER BY 1"));
    std::string all;
    for (std::string table; names >> table;) {
        all += std::string(all.empty() ? "" : " UNION ALL ") + "SELECT '" + table +
               "' AS t, r::text AS row FROM " + Identifier(table) + " AS r";
    }
    return all.empty() ? std::string() : ServerRows(uri, all + " ORDER BY t, row");
}

} // namespace PMTest
