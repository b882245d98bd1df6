// "Did you mean": the known name closest to what was typed, for the messages
// that say a subcommand, user, role or entitlement was not found.
#pragma once

#include <string>
#include <vector>

namespace Pmctl {

// The edit distance (insertions, deletions, substitutions, and swaps of two
// neighbours) between a and b, compared without regard to ASCII case.
std::size_t EditDistance(std::string const& a, std::string const& b);

// The candidate closest to typed, when it is close enough to be a slip: at
// most a third of typed's length away (at least 1, at most 3), or one that
// starts with typed when typed has 3 characters or more. Ties go to the
// earlier candidate. Empty when none is close.
std::string ClosestName(std::string const& typed, std::vector<std::string> const& candidates);

// " (did you mean \"NAME\"?)" for the closest candidate, or "" when none.
std::string DidYouMean(std::string const& typed, std::vector<std::string> const& candidates);

} // namespace Pmctl
