// The read and write brackets over the open company, on either engine, and
// the gate every statement of the record layer passes before it runs.
#include "Transactions.h"

#include "Connection.h"
#include "postgres/ServerCodes.h"

#include <sqlite3.h>

#include <string>

namespace Host {

namespace {

using detail::Engine;
using detail::kEngineAbandoned;
using detail::kEngineNoCompanyOpen;
using detail::kEngineOk;

struct Brackets {
    int readDepth = 0;
    int writeDepth = 0;
    // From the outermost write bracket's start to its end (Commit or
    // destruction): the statements of that time belong to it.
    bool writeActive = false;
    // The open (Engine::generation) the outermost write bracket began on; 0
    // when none lives, or when that company was closed under it.
    std::uint64_t writeGeneration = 0;
    // Once set, every statement of the write bracket is refused with it and
    // the outermost Commit fails with it: a begin that failed, or a
    // transaction that the engine gave up.
    int writeFailure = kEngineOk;
    // Record operations that failed while a write bracket lived.
    long failedOperations = 0;
    // The code of the last record operation that failed; 0 when forgotten.
    int lastFailure = kEngineOk;
};

Brackets& State() {
    static Brackets brackets;
    return brackets;
}

} // namespace

namespace detail {

void EndReadTransaction(Engine& engine) {
    if (engine.readTransactionOpen) {
        engine.EndRead();
    }
    engine.readTransactionOpen = false;
}

int BeforeStatement(Engine& engine, bool writes) {
    Brackets& brackets = State();
    if (brackets.writeActive) {
        if (brackets.writeFailure != kEngineOk) {
            return brackets.writeFailure;
        }
        if (engine.generation != brackets.writeGeneration) {
            return brackets.writeFailure = kEngineNoCompanyOpen;
        }
        // Outside a transaction the statement would commit by itself: the
        // bracket's transaction is gone, and so is all it wrote.
        if (!engine.InTransaction()) {
            return brackets.writeFailure = engine.LostTransactionCode();
        }
        return kEngineOk;
    }
    if (brackets.readDepth == 0) {
        return kEngineOk;
    }
    if (writes) {
        EndReadTransaction(engine);
    } else if (!engine.readTransactionOpen && !engine.InTransaction()) {
        // A begin that fails leaves the read to run by itself.
        engine.readTransactionOpen = engine.BeginRead() == kEngineOk;
    }
    return kEngineOk;
}

void NoteFailedOperation(int code) {
    State().lastFailure = code;
    if (State().writeActive) {
        ++State().failedOperations;
    }
}

void ConnectionClosing(Engine& engine) {
    Brackets& brackets = State();
    if (brackets.writeActive && brackets.writeGeneration == engine.generation) {
        brackets.writeGeneration = 0;
        if (brackets.writeFailure == kEngineOk) {
            brackets.writeFailure = kEngineAbandoned;
        }
    }
    engine.readTransactionOpen = false;
}

} // namespace detail

ReadTransaction::ReadTransaction() {
    ++State().readDepth;
}

ReadTransaction::~ReadTransaction() {
    Engine* engine = detail::CurrentEngine();
    if (--State().readDepth == 0 && engine != nullptr) {
        detail::EndReadTransaction(*engine);
    }
}

WriteTransaction::WriteTransaction()
    : m_Begin(kEngineOk), m_Depth(0), m_Result(-1), m_FailedBefore(State().failedOperations) {
    Brackets& brackets = State();
    Engine* engine = detail::CurrentEngine();
    m_Depth = ++brackets.writeDepth;
    if (m_Depth == 1) {
        brackets.writeActive = true;
        brackets.writeGeneration = engine != nullptr ? engine->generation : 0;
        brackets.writeFailure = kEngineOk;
        if (engine == nullptr) {
            m_Begin = kEngineNoCompanyOpen;
        } else {
            detail::EndReadTransaction(*engine);
            // Waits up to the busy timeout for another writer.
            m_Begin = engine->BeginWrite();
            // A company of an older schema is brought to this host's as the
            // bracket's first write, so that it changes with the bracket.
            if (m_Begin == kEngineOk) {
                m_Begin = engine->UpgradeSchema();
                if (m_Begin != kEngineOk) {
                    engine->Rollback();
                }
            }
        }
        if (m_Begin != kEngineOk) {
            brackets.writeFailure = m_Begin;
        }
        return;
    }
    if (brackets.writeFailure != kEngineOk) {
        m_Begin = brackets.writeFailure;
    } else if (engine == nullptr || engine->generation != brackets.writeGeneration) {
        m_Begin = kEngineNoCompanyOpen;
    } else {
        m_Begin = engine->Savepoint(m_Depth);
    }
}

WriteTransaction::~WriteTransaction() {
    End(false);
    Brackets& brackets = State();
    if (--brackets.writeDepth == 0) {
        brackets.writeActive = false;
        brackets.writeGeneration = 0;
        brackets.writeFailure = kEngineOk;
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
    Engine* engine = detail::CurrentEngine();
    int result = kEngineAbandoned;
    if (m_Begin != kEngineOk) {
        result = m_Begin;
    } else if (engine == nullptr || engine->generation != brackets.writeGeneration) {
        result = brackets.writeFailure != kEngineOk ? brackets.writeFailure : kEngineNoCompanyOpen;
    } else {
        bool open = engine->InTransaction();
        if (commit && brackets.writeFailure != kEngineOk) {
            result = brackets.writeFailure;
        } else if (commit && !open) {
            result = brackets.writeFailure = engine->LostTransactionCode();
        } else if (commit) {
            result = m_Depth == 1 ? engine->Commit() : engine->Release(m_Depth);
        }
        if (result != kEngineOk && engine->InTransaction()) {
            if (m_Depth == 1) {
                engine->Rollback();
            } else {
                engine->RollbackTo(m_Depth);
            }
        }
    }
    if (m_Depth == 1) {
        brackets.writeActive = false;
    }
    return m_Result = result;
}

std::string DescribeWriteFailure(int code) {
    if (detail::IsServerCode(code)) {
        return detail::DescribeServerCode(code);
    }
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

int LastRecordFailure() {
    return State().lastFailure;
}

void ForgetRecordFailure() {
    State().lastFailure = kEngineOk;
}

std::string LastRecordFailureWords() {
    int const code = LastRecordFailure();
    return code > 0 ? ": " + DescribeWriteFailure(code) : std::string();
}

} // namespace Host
