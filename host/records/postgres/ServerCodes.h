// The codes with which the server engine fails, and their words. A server
// code carries the five-character SQLSTATE of what the server reported, in a
// range of its own apart from SQLite's result codes, so that a code says by
// itself which engine it came from. The server's text for the latest failure
// with each SQLSTATE is kept (its password scrubbed) for DescribeServerCode.
// Failures of the connection itself carry the SQLSTATE of their class:
// 08001 (cannot connect: no server answered, or it could not take the
// connection now), 08004 (the server refused the connection: the password,
// the role, the database), 08006 (connection lost), 08007 (lost while
// committing: the change may or may not be in the database).
#pragma once

#include <string>

namespace Host {
namespace detail {

// The code for a SQLSTATE ("23505"); a text that is not one gives the code of
// XX000 (internal error).
int ServerCode(std::string const& sqlstate);
bool IsServerCode(long code);
// The SQLSTATE a server code carries; empty for any other code.
std::string SqlStateOf(long code);

// Whether code says that another program was in the way (a lock not granted
// in time, a serialization failure, a deadlock): the same work may succeed
// when tried again.
bool IsBusyCode(long code);

// Keeps text as what the server said for code.
void RememberServerFailure(int code, std::string const& text);

// The words for a server code: "another program is writing this company
// database; try again (SQLSTATE 55P03: ...)" for a lock that was not granted in
// time, a serialization failure or a deadlock; otherwise "the server reported
// SQLSTATE 22021: <the server's text>", or the connection's failure ("the
// server refused the connection (SQLSTATE 08004: ...)").
std::string DescribeServerCode(long code);

} // namespace detail
} // namespace Host
