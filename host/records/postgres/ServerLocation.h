// Company locations that name a PostgreSQL database rather than a file: a
// connection URI, "postgresql://[user[:password]@][host][:port]/database
// [?param=value&...]" ("postgres://" too), as libpq takes it. The password
// may be in the URI, in a password file the URI names (passfile=...), or in
// the standard PostgreSQL environment variables (PGPASSWORD and the rest);
// wherever it is, it is never shown: every text that names a location shows
// MaskedLocation, and every text from the server is passed through
// ScrubSecret first.
#pragma once

#include <string>

namespace Host {

// Whether location is a server URI rather than a file path.
bool IsServerLocation(std::string const& location);

// The location as it may be shown: for a URI, the password (the one after
// "user:" and a "password=" parameter), and the same text anywhere else in
// it, replaced by "***"; a file path as it is.
std::string MaskedLocation(std::string const& location);

// text with every occurrence of the password that location carries (as
// written, and percent-decoded) replaced by "***"; text as it is when
// location carries none.
std::string ScrubSecret(std::string const& text, std::string const& location);

} // namespace Host
