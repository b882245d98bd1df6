// The action words pmctl speaks and the mask bits they stand for.
#pragma once

#include <string>
#include <vector>

namespace Pmctl {

struct ActionName {
    char const* name;
    long mask;
};

// view, create, modify, delete, print, viewbal, custom: in mask-bit order.
std::vector<ActionName> const& ActionNames();
// The mask of one action word (case ignored); 0 when the word is unknown.
long ActionMask(std::string const& word);
// The words of a mask, joined by ','; "none" for 0.
std::string DescribeMask(long mask);
// As DescribeMask, but "full" for the six standard actions together.
std::string DescribeGrant(long mask);

} // namespace Pmctl
