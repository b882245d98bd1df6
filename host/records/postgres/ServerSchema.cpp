// The company's tables on a server, and what a database must hold to be
// created or opened as a company.
#include "ServerSchema.h"

#include "../CompanyFileAdmission.h"
#include "ServerCodes.h"
#include "ServerConnection.h"

#include <cstdio>
#include <vector>

namespace Host {
namespace detail {

namespace {

// Texts compare and sort byte for byte (COLLATE "C"), as in an SQLite file.
const char kCreateTables[] = R"sql(
CREATE TABLE company_metadata (
    name TEXT COLLATE "C" PRIMARY KEY,
    value BIGINT NOT NULL
);
CREATE TABLE roles (
    role_id BIGINT PRIMARY KEY,
    category_type BIGINT NOT NULL,
    is_visible BIGINT NOT NULL,
    name TEXT COLLATE "C" NOT NULL,
    description TEXT COLLATE "C" NOT NULL
);
CREATE TABLE entitlements (
    entitlement_id BIGINT PRIMARY KEY,
    category_type BIGINT NOT NULL,
    attributes_id BIGINT NOT NULL,
    is_visible BIGINT NOT NULL,
    is_enabled BIGINT NOT NULL,
    name TEXT COLLATE "C" NOT NULL
);
CREATE TABLE user_roles (
    user_key BIGINT NOT NULL,
    role_id BIGINT NOT NULL,
    PRIMARY KEY (user_key, role_id)
);
CREATE INDEX user_roles_by_role ON user_roles (role_id);
CREATE TABLE role_actions (
    role_id BIGINT NOT NULL,
    entitlement_id BIGINT NOT NULL,
    action_type BIGINT NOT NULL,
    PRIMARY KEY (role_id, entitlement_id)
);
CREATE INDEX role_actions_by_entitlement ON role_actions (entitlement_id);
CREATE TABLE users (
    user_id BIGINT PRIMARY KEY,
    record_key BIGINT UNIQUE NOT NULL,
    name TEXT COLLATE "C" UNIQUE NOT NULL,
    is_admin BIGINT NOT NULL DEFAULT 0
);
CREATE TABLE host_counters (
    name TEXT COLLATE "C" PRIMARY KEY,
    value BIGINT NOT NULL
);
)sql";

const char kMetadataTable[] = "company_metadata";

// The columns that the record layer and the user manager read.
const char* const kExpectedLayout[] = {
    "SELECT role_id, category_type, is_visible, name, description FROM roles LIMIT 0",
    ("SELECT entitlement_id, category_type, attributes_id, is_visible, is_enabled, name "
     "FROM entitlements LIMIT 0"),
    "SELECT user_key, role_id FROM user_roles LIMIT 0",
    "SELECT role_id, entitlement_id, action_type FROM role_actions LIMIT 0",
    "SELECT user_id, record_key, name, is_admin FROM users LIMIT 0",
    "SELECT name, value FROM host_counters LIMIT 0",
};

// Tables, views and their kin in the current schema, by name; the schema's
// name first, NULL when the search path names none that exists.
const char kRelations[] =
    "SELECT current_schema() UNION ALL (SELECT c.relname::text FROM pg_class c "
    "JOIN pg_namespace n ON n.oid = c.relnamespace WHERE n.nspname = current_schema() "
    "AND c.relkind IN ('r', 'p', 'v', 'm', 'f') ORDER BY c.relname::text COLLATE \"C\")";

std::string Hex32(long long value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%08llX", value);
    return text;
}

// The server's text for the failure a code stands for.
std::string Why(int code) {
    return DescribeServerCode(code);
}

// "a, b and 3 more"
std::string Listed(std::vector<std::string> const& names) {
    std::string text;
    std::size_t shown = names.size() <= 4 ? names.size() : 3;
    for (std::size_t i = 0; i < shown; ++i) {
        text += (i == 0 ? "" : ", ") + names[i];
    }
    if (shown < names.size()) {
        text += " and " + std::to_string(names.size() - shown) + " more";
    }
    return text;
}

// The relations in the current schema; false with *reason set when they
// cannot be read or there is no current schema.
bool Relations(ServerConnection& connection, std::vector<std::string>* names, std::string* reason) {
    pqxx::result rows;
    int code = connection.RunText(kRelations, &rows);
    if (code != kEngineOk) {
        *reason = "it cannot be checked: " + Why(code);
        return false;
    }
    if (rows.empty() || rows[0][0].is_null()) {
        *reason = "its search path names no schema that exists, so there is nowhere to keep "
                  "the tables";
        return false;
    }
    for (std::size_t i = 1; i < rows.size(); ++i) {
        names->push_back(rows[i][0].c_str());
    }
    return true;
}

bool Holds(std::vector<std::string> const& names, char const* name) {
    for (std::string const& held : names) {
        if (held == name) {
            return true;
        }
    }
    return false;
}

std::string CheckMetadataAndLayout(ServerConnection& connection) {
    pqxx::result rows;
    int code = connection.RunText("SELECT name, value FROM company_metadata", &rows);
    if (code != kEngineOk) {
        return "it cannot be checked: " + Why(code);
    }
    long long applicationId = -1;
    long long version = -1;
    for (auto const& row : rows) {
        std::string name = row[0].c_str();
        if (name == "application_id") {
            applicationId = row[1].as<long long>();
        } else if (name == "schema_version") {
            version = row[1].as<long long>();
        }
    }
    if (applicationId != static_cast<long long>(kApplicationId)) {
        return "it is not a company database: its application id is " +
               (applicationId < 0 ? std::string("missing") : Hex32(applicationId)) + ", not " +
               Hex32(kApplicationId);
    }
    if (version != kSchemaVersion) {
        return "its schema version " + std::to_string(version) + " is " +
               (version > kSchemaVersion ? "newer" : "older") + " than the version " +
               std::to_string(kSchemaVersion) + " that this host knows";
    }
    for (char const* sql : kExpectedLayout) {
        code = connection.RunText(sql, &rows);
        if (code != kEngineOk) {
            return "its tables are not those of a company database: " + Why(code);
        }
    }
    return std::string();
}

} // namespace

std::string ServerSchemaSql() {
    return std::string(kCreateTables) + "INSERT INTO " + kMetadataTable +
           " (name, value) VALUES ('application_id', " + std::to_string(kApplicationId) +
           "), ('schema_version', " + std::to_string(kSchemaVersion) + ");";
}

std::string CheckEmptyDatabase(ServerConnection& connection) {
    std::vector<std::string> names;
    std::string reason;
    if (!Relations(connection, &names, &reason)) {
        return reason;
    }
    if (!names.empty()) {
        return "the database is not empty: it holds " + Listed(names);
    }
    return std::string();
}

std::string CheckCompanyDatabase(ServerConnection& connection) {
    int code = connection.BeginRead();
    if (code != kEngineOk) {
        return "it cannot be checked: " + Why(code);
    }
    std::vector<std::string> names;
    std::string reason;
    if (Relations(connection, &names, &reason)) {
        if (names.empty()) {
            reason = "the database is empty: it holds no company";
        } else if (!Holds(names, kMetadataTable)) {
            reason = "it is not a company database: it holds " + Listed(names) + " but no " +
                     kMetadataTable + " table";
        } else {
            reason = CheckMetadataAndLayout(connection);
        }
    }
    connection.EndRead();
    return reason;
}

} // namespace detail
} // namespace Host
