// The server engine's connection: connecting (again), sending statements,
// the translation of the client library's exceptions into codes, and the
// pending tables of a new company.
#include "ServerConnection.h"

#include "../CompanyFile.h"
#include "../CompanyFileAdmission.h"
#include "../Connection.h"
#include "ServerCodes.h"
#include "ServerLocation.h"
#include "ServerSchema.h"

#include <pqxx/except>

namespace Host {
namespace detail {

namespace {

// Write brackets of all desktops take this lock first, so that they follow
// one another; it is the database's own (advisory locks are per database).
const ServerStatement kLockCompany = {"pm_lock_company", "SELECT pg_advisory_xact_lock($1)"};

// The first line of a client library or server message, without the
// severity the server puts before it.
std::string FirstLine(char const* message) {
    std::string line = message != nullptr ? message : "";
    line = line.substr(0, line.find('\n'));
    for (char const* severity : {"ERROR:  ", "FATAL:  ", "PANIC:  "}) {
        if (line.compare(0, 8, severity) == 0) {
            line.erase(0, 8);
        }
    }
    while (!line.empty() && (line.back() == ' ' || line.back() == '.')) {
        line.pop_back();
    }
    // What the client library says when it finds the connection closed
    // under a result (the server restarted, the connection ended): its own
    // internals, which tell an administrator nothing.
    if (line.rfind("Could not obtain client encoding", 0) == 0) {
        line = "the server closed the connection";
    }
    return line;
}

template <typename Class> bool Is(std::exception const& failure) {
    return dynamic_cast<Class const*>(&failure) != nullptr;
}

// The SQLSTATE of a failure the client library reports. libpqxx 6 does not
// always keep the server's code: several of the classes it throws by the code
// (a serialization failure, a deadlock, a missing privilege, a unique key...)
// come without it, and the transaction rollbacks are not even sql_errors.
// Such a class stands for the code libpqxx chose it by, most derived first;
// XX000 (internal error) where nothing tells.
std::string SqlStateOfFailure(std::exception const& failure) {
    auto const* sql = dynamic_cast<pqxx::sql_error const*>(&failure);
    if (sql != nullptr && !sql->sqlstate().empty()) {
        return sql->sqlstate();
    }
    static const struct {
        bool (*is)(std::exception const&);
        char const* sqlstate;
    } kClasses[] = {
        {Is<pqxx::serialization_failure>, "40001"},
        {Is<pqxx::deadlock_detected>, "40P01"},
        {Is<pqxx::statement_completion_unknown>, "40003"},
        {Is<pqxx::transaction_rollback>, "40000"},
        {Is<pqxx::insufficient_privilege>, "42501"},
        {Is<pqxx::undefined_table>, "42P01"},
        {Is<pqxx::undefined_column>, "42703"},
        {Is<pqxx::undefined_function>, "42883"},
        {Is<pqxx::syntax_error>, "42601"},
        {Is<pqxx::unique_violation>, "23505"},
        {Is<pqxx::foreign_key_violation>, "23503"},
        {Is<pqxx::not_null_violation>, "23502"},
        {Is<pqxx::check_violation>, "23514"},
        {Is<pqxx::restrict_violation>, "23001"},
        {Is<pqxx::integrity_constraint_violation>, "23000"},
        {Is<pqxx::disk_full>, "53100"},
        {Is<pqxx::out_of_memory>, "53200"},
        {Is<pqxx::insufficient_resources>, "53000"},
        {Is<pqxx::data_exception>, "22000"},
        {Is<pqxx::feature_not_supported>, "0A000"},
        {Is<pqxx::invalid_cursor_state>, "24000"},
        {Is<pqxx::invalid_sql_statement_name>, "26000"},
        {Is<pqxx::invalid_cursor_name>, "34000"},
        {Is<pqxx::plpgsql_raise>, "P0001"},
        {Is<pqxx::plpgsql_no_data_found>, "P0002"},
        {Is<pqxx::plpgsql_too_many_rows>, "P0003"},
        {Is<pqxx::plpgsql_error>, "P0000"},
    };
    for (auto const& known : kClasses) {
        if (known.is(failure)) {
            return known.sqlstate;
        }
    }
    return "XX000";
}

// Statements split at the semicolons outside quotes.
std::vector<std::string> Statements(std::string const& sql) {
    std::vector<std::string> statements;
    std::string current;
    char quote = 0;
    for (char c : sql) {
        if (quote != 0) {
            quote = c == quote ? 0 : quote;
        } else if (c == '\'' || c == '"') {
            quote = c;
        } else if (c == ';') {
            statements.push_back(current);
            current.clear();
            continue;
        }
        current += c;
    }
    statements.push_back(current);
    std::vector<std::string> nonEmpty;
    for (std::string const& statement : statements) {
        if (statement.find_first_not_of(" \t\r\n") != std::string::npos) {
            nonEmpty.push_back(statement);
        }
    }
    return nonEmpty;
}

// Whether a connection failed for a reason that trying again will not mend:
// the server answered and turned it down (a wrong or missing password, no
// such role or database, a host its rules do not admit), the server's
// certificate did not pass the check the URI asks for, or the URI itself is
// wrong. Otherwise no server answered, or it could not take the connection
// now (starting up, shutting down, restarting, too many connections).
bool RefusedByServer(std::string const& text) {
    for (char const* passing : {"the database system is", "too many", "connection slots",
                                "terminating connection due to administrator command"}) {
        if (text.find(passing) != std::string::npos) {
            return false;
        }
    }
    for (char const* refusal : {"FATAL:", "fe_sendauth", "SSL", "certificate"}) {
        if (text.find(refusal) != std::string::npos) {
            return true;
        }
    }
    // What the client library says of a URI it cannot take, before it
    // tries to connect ("invalid URI query parameter", "missing \"=\"").
    return text.compare(0, 8, "invalid ") == 0 || text.compare(0, 8, "missing ") == 0;
}

} // namespace

ServerConnection::ServerConnection(std::string const& uri)
    : m_Location(uri), m_Shown(MaskedLocation(uri)) {}

ServerConnection::~ServerConnection() {
    // Closing the connection rolls back what is open on the server.
    m_Work.reset();
    m_Connection.reset();
}

std::unique_ptr<ServerConnection> ServerConnection::Connect(std::string const& uri,
                                                            std::string* error, bool* unreachable) {
    std::unique_ptr<ServerConnection> connection(new ServerConnection(uri));
    int code = connection->Reconnect();
    if (code != kEngineOk) {
        bool const refused = code == ServerCode("08004");
        *error = (refused ? "" : "it cannot be reached: ") + DescribeServerCode(code);
        if (unreachable != nullptr) {
            *unreachable = !refused;
        }
        return nullptr;
    }
    return connection;
}

int ServerConnection::Reconnect() {
    m_Work.reset();
    m_Connection.reset();
    m_Prepared.clear();
    m_InTransaction = false;
    m_SchemaInTransaction = false;
    m_Snapshot = Snapshot();
    try {
        m_Connection.reset(new pqxx::connection(m_Location));
        m_Work.reset(new pqxx::nontransaction(*m_Connection, "pm_company"));
        // A statement that waits for a lock fails after the busy timeout, as
        // on a file; notices (a table that IF NOT EXISTS skipped) are not
        // printed. The server lists the desktops' connections as pm_host
        // unless the URI names them otherwise.
        std::string settings = "SET lock_timeout = " + std::to_string(GetCompanyFileBusyTimeout()) +
                               "; SET client_min_messages = warning";
        if (m_Location.find("application_name=") == std::string::npos) {
            settings += "; SET application_name = 'pm_host'";
        }
        m_Work->exec(settings);
        return kEngineOk;
    } catch (pqxx::broken_connection const& failure) {
        m_Work.reset();
        m_Connection.reset();
        std::string text = FirstLine(failure.what());
        int code = ServerCode(RefusedByServer(text) ? "08004" : "08001");
        RememberServerFailure(code, ScrubSecret(text, m_Location));
        return code;
    } catch (...) {
        int code = Failed();
        m_Work.reset();
        m_Connection.reset();
        return code;
    }
}

int ServerConnection::Failed() {
    std::string sqlstate;
    std::string text;
    bool lost = false;
    try {
        throw;
    } catch (pqxx::in_doubt_error const& failure) {
        sqlstate = "08007";
        text = "the connection was lost while committing, so the change may or may not be in "
               "the database (" +
               FirstLine(failure.what()) + ")";
        lost = true;
    } catch (pqxx::broken_connection const& failure) {
        sqlstate = "08006";
        text = FirstLine(failure.what());
        lost = true;
    } catch (std::exception const& failure) {
        sqlstate = SqlStateOfFailure(failure);
        text = FirstLine(failure.what());
    }
    int code = ServerCode(sqlstate);
    RememberServerFailure(code, ScrubSecret(text, m_Location));
    m_LastFailure = code;
    if (!lost && m_InTransaction) {
        // The server has given the transaction up; so does the engine.
        try {
            m_Work->exec("ROLLBACK");
        } catch (...) {
            lost = true;
        }
    }
    if (m_InTransaction || lost) {
        m_LostCode = code;
    }
    if (lost) {
        m_Work.reset();
        m_Connection.reset();
        m_Prepared.clear();
    }
    m_InTransaction = false;
    m_SchemaInTransaction = false;
    readTransactionOpen = false;
    m_Snapshot = Snapshot();
    return code;
}

int ServerConnection::Ready(ServerStatement const* statement) {
    if (m_Session && !m_InTransaction) {
        // A snapshot whose transaction is gone is gone: nothing runs outside
        // it, where a write would commit.
        return m_LostCode;
    }
    if (m_Connection == nullptr) {
        int code = Reconnect();
        if (code != kEngineOk) {
            return code;
        }
    }
    if (m_SchemaPending && !m_InTransaction) {
        // A statement outside a write bracket: the tables come first, in a
        // transaction of their own.
        int code = Control("BEGIN");
        if (code != kEngineOk) {
            return code;
        }
        m_InTransaction = true;
        m_ReadOnlyTransaction = false;
        code = CreatePendingSchema();
        if (code == kEngineOk) {
            code = Commit();
        }
        if (code != kEngineOk) {
            return code;
        }
    }
    if (statement != nullptr && m_Prepared.count(statement->name) == 0) {
        try {
            m_Connection->prepare(statement->name, statement->sql);
            m_Prepared.insert(statement->name);
        } catch (...) {
            return Failed();
        }
    }
    return kEngineOk;
}

int ServerConnection::RunText(std::string const& sql, pqxx::result* result) {
    int code = Ready(nullptr);
    if (code != kEngineOk) {
        return code;
    }
    try {
        ++m_StatementsSent;
        *result = m_Work->exec(sql);
        return kEngineOk;
    } catch (...) {
        return Failed();
    }
}

int ServerConnection::Control(std::string const& sql) {
    if (m_Connection == nullptr) {
        return m_LostCode;
    }
    try {
        ++m_StatementsSent;
        m_Work->exec(sql);
        return kEngineOk;
    } catch (...) {
        return Failed();
    }
}

int ServerConnection::CreatePendingSchema() {
    pqxx::result unused;
    int code = LockCompany();
    if (code != kEngineOk) {
        return code;
    }
    // Another program may have made tables since the create looked.
    std::string reason = CheckEmptyDatabase(*this);
    if (!m_InTransaction) {
        return m_LostCode;
    }
    if (!reason.empty()) {
        code = Refuse("42P07", reason).GetStatusCode();
        Rollback();
        m_LostCode = code;
        return code;
    }
    code = RunText(ServerSchemaSql(), &unused);
    if (code == kEngineOk) {
        m_SchemaInTransaction = true;
    }
    return code;
}

int ServerConnection::LockCompany() {
    pqxx::result unused;
    return Run(kLockCompany, &unused, static_cast<long>(kApplicationId));
}

bool ServerConnection::Snapshotting() const {
    if (m_Session) {
        return m_InTransaction && !m_SessionWritten;
    }
    return readTransactionOpen && m_InTransaction && m_ReadOnlyTransaction;
}

int ServerConnection::Gate(bool writes) {
    if (writes) {
        // What was fetched may no longer be what is there; a snapshot that
        // has been written to reads key by key from now on.
        m_Snapshot = Snapshot();
        m_SessionWritten = m_Session;
    }
    return BeforeStatement(*this, writes);
}

Util::Status ServerConnection::Refuse(char const* sqlstate, std::string const& text) {
    int code = ServerCode(sqlstate);
    RememberServerFailure(code, text);
    return Util::Status(false, code);
}

bool ServerConnection::Execute(std::string const& sql, TextRows* rows, std::string* error) {
    for (std::string const& statement : Statements(sql)) {
        pqxx::result result;
        int code = RunText(statement, &result);
        if (code != kEngineOk) {
            *error = DescribeServerCode(code);
            return false;
        }
        for (auto const& row : result) {
            std::vector<std::string> fields;
            for (auto const& field : row) {
                fields.emplace_back(field.is_null() ? "NULL" : field.c_str());
            }
            rows->push_back(fields);
        }
    }
    return true;
}

} // namespace detail
} // namespace Host
