// Brackets around runs of record operations on the open company file. The
// library passes no transaction: every record operation commits by itself
// unless the host has opened a bracket, and the host decides which.
#pragma once

#include <string>

namespace Host {

// What a bracket answers when it began or committed: SQLITE_OK on both engines.
const int kBracketOk = 0;

// Brackets a run of reads (a login, a role screen) so that they share one
// read transaction of the open company file: SQLite then takes and drops its
// file locks once for the run instead of at every record operation, which is
// most of what a read costs on a file. Writes are never part of it: a write
// inside the bracket first ends the read transaction and then commits by
// itself, as every record operation does, and the next read begins a new
// one. So a bracket neither delays nor groups a write, and another process
// may write meanwhile; the reads see the file as it was at the bracket's first
// read, or at its own last write. Brackets nest: the outermost one ends the
// transaction. Closing the company file inside a bracket is allowed. Inside a
// WriteTransaction a read bracket changes nothing: the reads join the write.
//
// On a server the read transaction is a read-only REPEATABLE READ
// transaction, and a round trip is what a read costs: there a load may fetch
// a whole table (or all masks of a role, all assignments of a user) in one
// query and answer the bracket's later loads from what it fetched.
class ReadTransaction {
public:
    ReadTransaction();
    ~ReadTransaction();
    ReadTransaction(ReadTransaction const&) = delete;
    ReadTransaction& operator=(ReadTransaction const&) = delete;
};

// Brackets a whole change: while one lives, every record operation on the
// open company file joins one write transaction, begun with BEGIN IMMEDIATE
// so that a second writer (another desktop, another pmctl) waits for this one
// to end instead of interleaving with it. Commit puts everything in the file
// at once; a bracket that ends without Commit, and a program that dies inside
// one, leave nothing of it.
//
// On a file of an older schema the outermost bracket's first write brings the
// schema to this host's (SchemaUpgrade.h): the file is upgraded with the
// bracket's change, or not at all.
//
// Inside the bracket the library reads its own writes as before, and a record
// operation that fails (a key that exists, a fault from the fault plan) fails
// alone, leaving the bracket's other writes in place. An error that makes
// SQLite give up the whole transaction (the disk full, an I/O error) fails
// every later record operation of the bracket and its Commit: nothing of the
// bracket is written.
//
// What it costs: until Commit, other programs wait for the write lock (up to
// their busy timeout) and see none of the bracket's writes; a crash loses the
// whole bracket rather than its last record operation.
//
// An inner bracket (one begun while another lives) is a savepoint of the
// outer one: its Commit keeps its writes for the outer bracket to commit, its
// end without Commit takes back only its own writes.
//
// On a server the bracket is a server transaction (READ COMMITTED) that
// first takes a lock of the company's (an advisory transaction lock), so
// that write brackets of several desktops follow one another as on a file.
// There every error the server reports inside the bracket (other than a key
// that exists, which fails alone as on a file) gives up the whole bracket,
// and so does a lost connection.
class WriteTransaction {
public:
    // Begins on the open company file. BeginResult() tells whether it did.
    WriteTransaction();
    // Takes back what the bracket wrote unless it was committed.
    ~WriteTransaction();
    WriteTransaction(WriteTransaction const&) = delete;
    WriteTransaction& operator=(WriteTransaction const&) = delete;

    // kBracketOk when the bracket began. Otherwise the engine's code: on an
    // SQLite file SQLITE_BUSY when another program held the write lock past
    // the busy timeout; on a server a server code (SQLSTATE 55P03 when another
    // program's write bracket held the company past the busy timeout);
    // SQLITE_MISUSE (21) when no company file is open; the code of a schema
    // upgrade that failed. Record operations
    // inside a bracket that did not begin fail with that code.
    int BeginResult() const { return m_Begin; }
    // Record operations that failed inside the bracket so far. Each failed
    // alone, but the library passes over some failures without a word, so a
    // change during which one failed may not be whole: a host that wants the
    // change whole or not at all does not commit it.
    long FailedOperations() const;
    // Writes the bracket to the file (the outermost) or keeps it for the outer
    // bracket (an inner one). kBracketOk, or the code of what failed, and then
    // nothing of the bracket is in the file. A second call returns the first's
    // result.
    int Commit();

private:
    int End(bool commit);

    int m_Begin;
    int m_Depth;  // 1 for the outermost bracket
    int m_Result; // -1 until the bracket has ended
    long m_FailedBefore;
};

// The text for a bracket's failure code, in the words an administrator reads:
// "the disk is full", "another program is writing this company file; try
// again", SQLite's own text, or for a server code the server's text and
// SQLSTATE.
std::string DescribeWriteFailure(int code);

// The code of the last record operation that failed in this process since
// ForgetRecordFailure (a lost connection, the disk full; -1 for a fault the
// fault plan injected), 0 when none did: what a host names when the library
// reports only that something failed ("result -1").
int LastRecordFailure();
void ForgetRecordFailure();
// ": " and DescribeWriteFailure of LastRecordFailure, or "" when there is
// none to name.
std::string LastRecordFailureWords();

} // namespace Host
