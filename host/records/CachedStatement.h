// The record layer's access to the open company file's prepared statements.
#pragma once

#include <sqlite3.h>

namespace Host {
namespace detail {

// The open company file's statement for sql, prepared on first use and
// finalised when the file closes. sql must have static storage: the cache is
// keyed by its address. The caller resets the statement after use. Null, with
// *rc set to an SQLite result code, when no company file is open or sql does
// not prepare.
sqlite3_stmt* CachedStatement(char const* sql, int* rc);

// A cached statement for one use: reset, and its bindings cleared, when the
// use ends, so that no read stays open.
class CachedStatementUse {
public:
    explicit CachedStatementUse(char const* sql) : m_Statement(CachedStatement(sql, &m_Rc)) {}
    ~CachedStatementUse() {
        if (m_Statement != nullptr) {
            sqlite3_reset(m_Statement);
            sqlite3_clear_bindings(m_Statement);
        }
    }
    CachedStatementUse(CachedStatementUse const&) = delete;
    CachedStatementUse& operator=(CachedStatementUse const&) = delete;
    // Null when there is none: no file open, or a write bracket refusing.
    sqlite3_stmt* get() const { return m_Statement; }
    // Why there is none.
    int rc() const { return m_Rc; }

private:
    int m_Rc = SQLITE_OK;
    sqlite3_stmt* m_Statement;
};

} // namespace detail
} // namespace Host
