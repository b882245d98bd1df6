// The read and write brackets over the open company file, and the gate every
// cached statement passes before it runs.
#include "Transactions.h"

#include "Connection.h"
#include "SchemaUpgrade.h"

#include <string>

namespace Host {

namespace {

struct Brackets {
    int readDepth = 0;
    int writeDepth = 0;
    // From the outermost write bracket's start to its end (Commit or
    // destruction): the statements of that time belong to it.
    bool writeActive = false;
    // The connection the outermost write bracket began on; null when none
    // lives, or when that connection was closed under it.
    sqlite3* writeDb = nullptr;
    // Once set, every statement of the write bracket is refused with it and
    // the outermost Commit fails with it: a begin that failed, or a
    // transaction that SQLite rolled back by itself.
    int writeFailure = SQLITE_OK;
    // Record operations that failed while a write bracket lived.
    long failedOperations = 0;
};

Brackets& State() {
    static Brackets brackets;
    return brackets;
}

int Execute(sqlite3* db, std::string const& sql) {
    return sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr);
}

std::string SavepointName(int depth) {
    return "pm_bracket_" + std::to_string(depth);
}

// The code of the error that ended a transaction SQLite rolled back by itself.
int LostTransactionCode(sqlite3* db) {
    int code = sqlite3_extended_errcode(db);
    return code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE ? SQLITE_ABORT : code;
}

} // namespace

namespace detail {

void EndReadTransaction(Connection& connection) {
    if (connection.readTransactionOpen && Execute(connection.db, "COMMIT") != SQLITE_OK) {
        Execute(connection.db, "ROLLBACK");
    }
    connection.readTransactionOpen = false;
}

int BeforeStatement(Connection& connection, sqlite3_stmt* statement) {
    Brackets& brackets = State();
    if (brackets.writeActive) {
        if (brackets.writeFailure != SQLITE_OK) {
            return brackets.writeFailure;
        }
        if (connection.db != brackets.writeDb) {
            return brackets.writeFailure = SQLITE_MISUSE;
        }
        // Outside a transaction the statement would commit by itself: the
        // bracket's transaction is gone, and so is all it wrote.
        if (sqlite3_get_autocommit(connection.db) != 0) {
            return brackets.writeFailure = LostTransactionCode(connection.db);
        }
        return SQLITE_OK;
    }
    if (brackets.readDepth == 0) {
        return SQLITE_OK;
    }
    if (sqlite3_stmt_readonly(statement) == 0) {
        EndReadTransaction(connection);
    } else if (!connection.readTransactionOpen && sqlite3_get_autocommit(connection.db) != 0) {
        // A BEGIN that fails leaves the read to run by itself.
        connection.readTransactionOpen = Execute(connection.db, "BEGIN") == SQLITE_OK;
    }
    return SQLITE_OK;
}

void NoteFailedOperation() {
    if (State().writeActive) {
        ++State().failedOperations;
    }
}

void ConnectionClosing(Connection& connection) {
    Brackets& brackets = State();
    if (brackets.writeActive && brackets.writeDb == connection.db) {
        brackets.writeDb = nullptr;
        if (brackets.writeFailure == SQLITE_OK) {
            brackets.writeFailure = SQLITE_ABORT;
        }
    }
    connection.readTransactionOpen = false;
}

} // namespace detail

ReadTransaction::ReadTransaction() {
    ++State().readDepth;
}

ReadTransaction::~ReadTransaction() {
    detail::Connection& connection = detail::CurrentConnection();
    if (--State().readDepth == 0 && connection.db != nullptr) {
        detail::EndReadTransaction(connection);
    }
}

WriteTransaction::WriteTransaction()
    : m_Begin(SQLITE_OK), m_Depth(0), m_Result(-1), m_FailedBefore(State().failedOperations) {
    Brackets& brackets = State();
    detail::Connection& connection = detail::CurrentConnection();
    m_Depth = ++brackets.writeDepth;
    if (m_Depth == 1) {
        brackets.writeActive = true;
        brackets.writeDb = connection.db;
        brackets.writeFailure = SQLITE_OK;
        if (connection.db == nullptr) {
            m_Begin = SQLITE_MISUSE;
        } else {
            detail::EndReadTransaction(connection);
            // Waits up to the busy timeout for another writer's lock.
            m_Begin = Execute(connection.db, "BEGIN IMMEDIATE");
            // A file of an older schema is brought to this host's as the
            // bracket's first write, so that it changes with the bracket.
            if (m_Begin == SQLITE_OK) {
                m_Begin = detail::UpgradeSchema(connection.db);
                if (m_Begin != SQLITE_OK) {
                    Execute(connection.db, "ROLLBACK");
                }
            }
        }
        if (m_Begin != SQLITE_OK) {
            brackets.writeFailure = m_Begin;
        }
        return;
    }
    if (brackets.writeFailure != SQLITE_OK) {
        m_Begin = brackets.writeFailure;
    } else if (connection.db != brackets.writeDb) {
        m_Begin = SQLITE_MISUSE;
    } else {
        m_Begin = Execute(connection.db, "SAVEPOINT " + SavepointName(m_Depth));
    }
}

WriteTransaction::~WriteTransaction() {
    End(false);
    Brackets& brackets = State();
    if (--brackets.writeDepth == 0) {
        brackets.writeActive = false;
        brackets.writeDb = nullptr;
        brackets.writeFailure = SQLITE_OK;
    }
}

long WriteTransaction::FailedOperations() const {
    return State().failedOperations - m_FailedBefore;
}

int WriteTransaction::Commit() {
    return End(true);
}

int WriteTransaction::End(bool commit) {
    if (m_Result != -1) {
        return m_Result;
    }
    Brackets& brackets = State();
    sqlite3* db = detail::CurrentConnection().db;
    int result = SQLITE_ABORT; // an abandoned bracket
    if (m_Begin != SQLITE_OK) {
        result = m_Begin;
    } else if (db == nullptr || db != brackets.writeDb) {
        result = brackets.writeFailure != SQLITE_OK ? brackets.writeFailure : SQLITE_MISUSE;
    } else {
        bool open = sqlite3_get_autocommit(db) == 0;
        if (commit && brackets.writeFailure != SQLITE_OK) {
            result = brackets.writeFailure;
        } else if (commit && !open) {
            result = brackets.writeFailure = LostTransactionCode(db);
        } else if (commit) {
            result = Execute(db, m_Depth == 1 ? std::string("COMMIT")
                                              : "RELEASE " + SavepointName(m_Depth));
        }
        if (result != SQLITE_OK && sqlite3_get_autocommit(db) == 0) {
            if (m_Depth == 1) {
                Execute(db, "ROLLBACK");
            } else {
                Execute(db, "ROLLBACK TO " + SavepointName(m_Depth));
                Execute(db, "RELEASE " + SavepointName(m_Depth));
            }
        }
    }
    if (m_Depth == 1) {
        brackets.writeActive = false;
    }
    return m_Result = result;
}

std::string DescribeWriteFailure(int code) {
    switch (code & 0xFF) {
    case SQLITE_FULL:
        return "the disk is full";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return "another program is writing this company file; try again";
    case SQLITE_READONLY:
        return "the file cannot be written";
    case SQLITE_IOERR:
        return std::string("the disk reported an error (") + sqlite3_errstr(code) + ")";
    default:
        return sqlite3_errstr(code);
    }
}

} // namespace Host
