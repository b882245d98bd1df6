// Splitting text at delimiter characters. Internal to the store.
#pragma once

#include <Util/TString.h>

#include <cstddef>
#include <vector>

namespace PM {

// Clears tokens, then fills it with the runs of text between delimiters (any
// character of delimiters). Runs of delimiters count as one, so no token is
// empty. Returns the number of tokens.
std::ptrdiff_t Tokenize(TString const& text, char const* delimiters, std::vector<TString>& tokens);

} // namespace PM
