// What `pmctl --version` prints.
#pragma once

#include <string>

namespace Pmctl {

// "pmctl VERSION" and, on a second line, the permission data version of the
// catalogue that ships with pmctl and where it is (or why it cannot be read).
std::string VersionText();

} // namespace Pmctl
