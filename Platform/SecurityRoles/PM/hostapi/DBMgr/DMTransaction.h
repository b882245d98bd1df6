// A transaction of the host's record layer. The library never opens one: every
// record operation is passed a null DMTransaction* and commits by itself.
#pragma once

namespace DBMgr {
class DMTransaction;
} // namespace DBMgr
