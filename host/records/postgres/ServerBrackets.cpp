// The server engine's bracket steps: read transactions, write transactions
// under the company's lock, savepoints, and the whole-open transaction of a
// snapshot.
#include "ServerConnection.h"

#include <pqxx/except>

#include <string>

namespace Host {
namespace detail {

namespace {

std::string SavepointName(int depth) {
    return "pm_bracket_" + std::to_string(depth);
}

} // namespace

int ServerConnection::BeginSession() {
    int code = Control("BEGIN ISOLATION LEVEL REPEATABLE READ");
    if (code == kEngineOk) {
        m_InTransaction = true;
        m_ReadOnlyTransaction = false;
        m_Session = true;
    }
    return code;
}

int ServerConnection::BeginRead() {
    int code = Ready(nullptr);
    if (code == kEngineOk) {
        code = Control("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
    }
    if (code == kEngineOk) {
        m_InTransaction = true;
        m_ReadOnlyTransaction = true;
        m_Snapshot = Snapshot();
    }
    return code;
}

void ServerConnection::EndRead() {
    if (m_InTransaction && Control("COMMIT") == kEngineOk) {
        m_InTransaction = false;
    }
    m_Snapshot = Snapshot();
}

int ServerConnection::BeginWrite() {
    if (m_Session) {
        return m_InTransaction ? Savepoint(1) : m_LostCode;
    }
    // Connected, but the pending tables are this transaction's to make.
    int code = m_Connection == nullptr ? Reconnect() : kEngineOk;
    if (code == kEngineOk) {
        code = Control("BEGIN ISOLATION LEVEL READ COMMITTED");
    }
    if (code != kEngineOk) {
        return code;
    }
    m_InTransaction = true;
    m_ReadOnlyTransaction = false;
    if (m_SchemaPending) {
        return CreatePendingSchema();
    }
    return LockCompany();
}

int ServerConnection::Savepoint(int depth) {
    return Control("SAVEPOINT " + SavepointName(depth));
}

int ServerConnection::Release(int depth) {
    return Control("RELEASE SAVEPOINT " + SavepointName(depth));
}

void ServerConnection::RollbackTo(int depth) {
    if (Control("ROLLBACK TO SAVEPOINT " + SavepointName(depth)) == kEngineOk) {
        Control("RELEASE SAVEPOINT " + SavepointName(depth));
    }
}

int ServerConnection::Commit() {
    if (m_Session) {
        return m_InTransaction ? Release(1) : m_LostCode;
    }
    if (m_Connection == nullptr) {
        return m_LostCode;
    }
    try {
        ++m_StatementsSent;
        m_Work->exec("COMMIT");
    } catch (pqxx::broken_connection const& failure) {
        // The server may have committed before the connection went.
        try {
            throw pqxx::in_doubt_error(failure.what());
        } catch (...) {
            return Failed();
        }
    } catch (...) {
        return Failed();
    }
    m_InTransaction = false;
    if (m_SchemaInTransaction) {
        m_SchemaPending = false;
        m_SchemaInTransaction = false;
    }
    return kEngineOk;
}

void ServerConnection::Rollback() {
    if (m_Session) {
        RollbackTo(1);
        return;
    }
    if (m_InTransaction) {
        Control("ROLLBACK");
    }
    m_InTransaction = false;
    m_SchemaInTransaction = false;
    m_Snapshot = Snapshot();
}

} // namespace detail
} // namespace Host
