// A transaction of the host's record layer. The library never opens one and
// passes a null DMTransaction* to every record operation. With null, the
// operation must stand on its own as far as the library can tell: complete
// when it returns, read back by every later operation, and with nothing of it
// written when it fails. Whether it is committed there and then or as part of
// a larger unit the host has begun is the host's choice; the library never
// takes a write back.
#pragma once

namespace DBMgr {
class DMTransaction;
} // namespace DBMgr
