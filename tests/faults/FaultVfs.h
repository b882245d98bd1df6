// A test VFS for SQLite that stands between the company file and the disk.
//
// It wraps the default VFS and becomes the default itself, so the host's own
// opens go through it unchanged. For the database, its write-ahead log and its
// journal it keeps the file's contents in memory, like an operating system's
// page cache: a write changes only that copy, and only a sync writes the
// changed ranges to the file below, which stands for the disk. A power cut
// makes every later write and sync fail; when the power comes back everything
// that was not synced is gone, and so are the shared-memory files beside the
// databases. Counted faults fail the Nth read, write or sync of those files,
// once or from then on. Temporary files pass straight through.
//
// One instance at a time; the company file must be closed when it is created
// or destroyed.
#pragma once

#include <string>

namespace PMFault {

class FaultVfs {
public:
    enum Kind { kRead, kWrite, kSync, kKinds };

    FaultVfs();  // registers the VFS as the default one
    ~FaultVfs(); // makes the previous default the default again
    FaultVfs(FaultVfs const&) = delete;
    FaultVfs& operator=(FaultVfs const&) = delete;

    // The nth call of kind from now (1 = the next) fails with SQLITE_IOERR_READ,
    // _WRITE or _FSYNC and changes nothing; persistent: every later one too.
    // With cutPower the power goes at that call instead: it fails, and so does
    // every write and sync after it, until RestorePower.
    void Arm(Kind kind, long nth, bool persistent = false, bool cutPower = false);
    void Disarm();
    bool Fired() const;
    long Calls(Kind kind) const;
    void ResetCounts();

    // From now on every write, truncate, sync and delete fails; reads still
    // see what was written.
    void CutPower();
    bool PowerIsCut() const;
    // What a power cut takes: every write since the last sync, or, as a disk
    // that wrote back out of order, every other one of them.
    enum Loss { kEveryUnsyncedWrite, kEveryOtherUnsyncedWrite };
    // The power comes back, as after a restart: what was not synced is lost,
    // as loss says. No file may be open.
    void RestorePower(Loss loss = kEveryUnsyncedWrite);
    // Bytes written but not yet synced, over all files.
    long long UnsyncedBytes() const;

    static char const* Name() { return "pm-fault"; }
};

} // namespace PMFault
