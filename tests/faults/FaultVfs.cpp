// The fault VFS: an in-memory page cache per database file over the default
// VFS, with counted I/O faults and power cuts.
#include "FaultVfs.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <set>
#include <unistd.h>
#include <utility>
#include <vector>

namespace PMFault {

namespace {

// What the process sees of one file, and which ranges of it the disk lacks.
struct FileState {
    std::vector<char> image;
    std::vector<std::pair<sqlite3_int64, sqlite3_int64>> unsynced; // offset, length
    bool sizeUnsynced = false;
    int handles = 0;
    bool mainDatabase = false;

    bool Pending() const { return !unsynced.empty() || sizeUnsynced; }
};

struct Shim {
    sqlite3_vfs vfs;
    sqlite3_vfs* below = nullptr;
    std::map<std::string, FileState> files;
    std::set<std::string> databases; // main databases opened since the last restore
    long calls[FaultVfs::kKinds] = {};
    FaultVfs::Kind armedKind = FaultVfs::kRead;
    long armedAt = 0;
    bool armed = false;
    bool persistent = false;
    bool cutAtFault = false;
    bool fired = false;
    bool powerCut = false;
};

Shim& TheShim() {
    static Shim shim;
    return shim;
}

struct ShimFile {
    sqlite3_file base;
    sqlite3_file* below;
    FileState* state; // null: a file that passes straight through
};

sqlite3_file* Below(sqlite3_file* file) {
    return reinterpret_cast<ShimFile*>(file)->below;
}

FileState* StateOf(sqlite3_file* file) {
    return reinterpret_cast<ShimFile*>(file)->state;
}

// Counts a call of kind and answers whether it is to fail.
bool Inject(FaultVfs::Kind kind) {
    Shim& shim = TheShim();
    long calls = ++shim.calls[kind];
    if (!shim.armed || kind != shim.armedKind || calls < shim.armedAt ||
        (calls > shim.armedAt && !shim.persistent)) {
        return false;
    }
    shim.fired = true;
    shim.armed = shim.persistent;
    if (shim.cutAtFault) {
        shim.powerCut = true;
    }
    return true;
}

// Writes the unsynced ranges and the size to the file below.
int Flush(sqlite3_file* below, FileState& state) {
    sqlite3_int64 size = static_cast<sqlite3_int64>(state.image.size());
    for (auto const& range : state.unsynced) {
        sqlite3_int64 end = std::min(range.first + range.second, size);
        if (range.first < end) {
            int rc = below->pMethods->xWrite(below, state.image.data() + range.first,
                                             static_cast<int>(end - range.first), range.first);
            if (rc != SQLITE_OK) {
                return rc;
            }
        }
    }
    sqlite3_int64 belowSize = 0;
    int rc = below->pMethods->xFileSize(below, &belowSize);
    if (rc == SQLITE_OK && belowSize != size) {
        rc = below->pMethods->xTruncate(below, size);
    }
    if (rc == SQLITE_OK) {
        state.unsynced.clear();
        state.sizeUnsynced = false;
    }
    return rc;
}

int Load(sqlite3_file* below, FileState& state) {
    sqlite3_int64 size = 0;
    int rc = below->pMethods->xFileSize(below, &size);
    if (rc != SQLITE_OK) {
        return rc;
    }
    state.image.assign(static_cast<std::size_t>(size), 0);
    state.unsynced.clear();
    state.sizeUnsynced = false;
    if (size > 0) {
        rc = below->pMethods->xRead(below, state.image.data(), static_cast<int>(size), 0);
    }
    return rc;
}

// Writes every other unsynced range of a closed file to the disk, in the
// content the range has now.
void KeepEveryOther(std::string const& path, FileState const& state) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        return;
    }
    for (std::size_t i = 1; i < state.unsynced.size(); i += 2) {
        auto const& range = state.unsynced[i];
        sqlite3_int64 end = std::min<sqlite3_int64>(range.first + range.second,
                                                    static_cast<sqlite3_int64>(state.image.size()));
        if (range.first < end &&
            ::pwrite(fd, state.image.data() + range.first,
                     static_cast<std::size_t>(end - range.first), range.first) < 0) {
            break;
        }
    }
    ::close(fd);
}

int Close(sqlite3_file* file) {
    ShimFile* shim = reinterpret_cast<ShimFile*>(file);
    int rc = SQLITE_OK;
    if (FileState* state = shim->state) {
        // Without a power cut what the last handle leaves unsynced still
        // reaches the disk, as the operating system would write it back.
        if (--state->handles == 0 && !TheShim().powerCut) {
            rc = Flush(shim->below, *state);
        }
    }
    int closed = shim->below->pMethods->xClose(shim->below);
    std::free(shim->below);
    shim->below = nullptr;
    return rc != SQLITE_OK ? rc : closed;
}

int Read(sqlite3_file* file, void* buffer, int amount, sqlite3_int64 offset) {
    FileState* state = StateOf(file);
    if (state == nullptr) {
        return Below(file)->pMethods->xRead(Below(file), buffer, amount, offset);
    }
    if (Inject(FaultVfs::kRead)) {
        return SQLITE_IOERR_READ;
    }
    sqlite3_int64 size = static_cast<sqlite3_int64>(state->image.size());
    sqlite3_int64 available =
        std::max<sqlite3_int64>(0, std::min<sqlite3_int64>(amount, size - offset));
    if (available > 0) {
        std::memcpy(buffer, state->image.data() + offset, static_cast<std::size_t>(available));
    }
    if (available < amount) {
        std::memset(static_cast<char*>(buffer) + available, 0,
                    static_cast<std::size_t>(amount - available));
        return SQLITE_IOERR_SHORT_READ;
    }
    return SQLITE_OK;
}

int Write(sqlite3_file* file, void const* buffer, int amount, sqlite3_int64 offset) {
    FileState* state = StateOf(file);
    if (state == nullptr) {
        return Below(file)->pMethods->xWrite(Below(file), buffer, amount, offset);
    }
    if (Inject(FaultVfs::kWrite) || TheShim().powerCut) {
        return SQLITE_IOERR_WRITE;
    }
    std::size_t end = static_cast<std::size_t>(offset + amount);
    if (state->image.size() < end) {
        state->image.resize(end, 0);
        state->sizeUnsynced = true;
    }
    std::memcpy(state->image.data() + offset, buffer, static_cast<std::size_t>(amount));
    state->unsynced.emplace_back(offset, amount);
    return SQLITE_OK;
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) {
    FileState* state = StateOf(file);
    if (state == nullptr) {
        return Below(file)->pMethods->xTruncate(Below(file), size);
    }
    if (TheShim().powerCut) {
        return SQLITE_IOERR_TRUNCATE;
    }
    state->image.resize(static_cast<std::size_t>(size), 0);
    state->sizeUnsynced = true;
    return SQLITE_OK;
}

int Sync(sqlite3_file* file, int flags) {
    FileState* state = StateOf(file);
    if (state == nullptr) {
        return Below(file)->pMethods->xSync(Below(file), flags);
    }
    if (Inject(FaultVfs::kSync) || TheShim().powerCut) {
        return SQLITE_IOERR_FSYNC;
    }
    // The file below stands for the disk: what is written there counts as
    // durable, so it is not synced itself, which keeps the loops fast.
    return Flush(Below(file), *state);
}

int FileSize(sqlite3_file* file, sqlite3_int64* size) {
    FileState* state = StateOf(file);
    if (state == nullptr) {
        return Below(file)->pMethods->xFileSize(Below(file), size);
    }
    *size = static_cast<sqlite3_int64>(state->image.size());
    return SQLITE_OK;
}

int FileControl(sqlite3_file* file, int op, void* argument) {
    if (StateOf(file) != nullptr && op == SQLITE_FCNTL_SIZE_HINT) {
        return SQLITE_OK; // sizes are the cache's business, not the disk's
    }
    return Below(file)->pMethods->xFileControl(Below(file), op, argument);
}

// A method that goes to the file below unchanged.
template <auto Method, class... Args> auto Forward(sqlite3_file* file, Args... args) {
    return (Below(file)->pMethods->*Method)(Below(file), args...);
}

sqlite3_io_methods const kMethods = {
    2, // no memory-mapped reads: they would go around the cache
    Close,
    Read,
    Write,
    Truncate,
    Sync,
    FileSize,
    Forward<&sqlite3_io_methods::xLock, int>,
    Forward<&sqlite3_io_methods::xUnlock, int>,
    Forward<&sqlite3_io_methods::xCheckReservedLock, int*>,
    FileControl,
    Forward<&sqlite3_io_methods::xSectorSize>,
    Forward<&sqlite3_io_methods::xDeviceCharacteristics>,
    Forward<&sqlite3_io_methods::xShmMap, int, int, int, void volatile**>,
    Forward<&sqlite3_io_methods::xShmLock, int, int, int>,
    Forward<&sqlite3_io_methods::xShmBarrier>,
    Forward<&sqlite3_io_methods::xShmUnmap, int>,
    nullptr,
    nullptr,
};

int Open(sqlite3_vfs*, char const* name, sqlite3_file* file, int flags, int* outFlags) {
    Shim& shim = TheShim();
    ShimFile* wrapper = reinterpret_cast<ShimFile*>(file);
    wrapper->base.pMethods = nullptr;
    wrapper->state = nullptr;
    wrapper->below = static_cast<sqlite3_file*>(std::calloc(1, shim.below->szOsFile));
    if (wrapper->below == nullptr) {
        return SQLITE_NOMEM;
    }
    int rc = shim.below->xOpen(shim.below, name, wrapper->below, flags, outFlags);
    if (rc != SQLITE_OK) {
        if (wrapper->below->pMethods != nullptr) {
            wrapper->below->pMethods->xClose(wrapper->below);
        }
        std::free(wrapper->below);
        wrapper->below = nullptr;
        return rc;
    }
    int const cached = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL | SQLITE_OPEN_MAIN_JOURNAL;
    if (name != nullptr && (flags & cached) != 0) {
        FileState& state = shim.files[name];
        if (state.handles == 0 && !state.Pending()) {
            rc = Load(wrapper->below, state);
        }
        ++state.handles;
        state.mainDatabase = (flags & SQLITE_OPEN_MAIN_DB) != 0;
        if (state.mainDatabase) {
            shim.databases.insert(name);
        }
        wrapper->state = &state;
    }
    wrapper->base.pMethods = &kMethods;
    if (rc != SQLITE_OK) {
        Close(file);
        wrapper->base.pMethods = nullptr;
    }
    return rc;
}

int Delete(sqlite3_vfs*, char const* name, int syncDirectory) {
    Shim& shim = TheShim();
    if (shim.powerCut) {
        return SQLITE_IOERR_DELETE;
    }
    auto found = shim.files.find(name);
    if (found != shim.files.end() && found->second.handles == 0) {
        shim.files.erase(found);
    }
    return shim.below->xDelete(shim.below, name, syncDirectory);
}

int Access(sqlite3_vfs*, char const* name, int flags, int* result) {
    Shim& shim = TheShim();
    auto found = shim.files.find(name);
    if (flags == SQLITE_ACCESS_EXISTS && found != shim.files.end() &&
        (found->second.handles > 0 || found->second.Pending())) {
        // As the default VFS answers: an empty file counts as absent.
        *result = found->second.image.empty() ? 0 : 1;
        return SQLITE_OK;
    }
    return shim.below->xAccess(shim.below, name, flags, result);
}

// A method of the VFS below, unchanged.
template <auto Method, class... Args> auto ForwardVfs(sqlite3_vfs*, Args... args) {
    sqlite3_vfs* below = TheShim().below;
    return (below->*Method)(below, args...);
}

} // namespace

FaultVfs::FaultVfs() {
    Shim& shim = TheShim();
    shim.below = sqlite3_vfs_find(nullptr);
    shim.vfs = sqlite3_vfs();
    shim.vfs.iVersion = 2;
    shim.vfs.szOsFile = static_cast<int>(sizeof(ShimFile));
    shim.vfs.mxPathname = shim.below->mxPathname;
    shim.vfs.zName = Name();
    shim.vfs.xOpen = Open;
    shim.vfs.xDelete = Delete;
    shim.vfs.xAccess = Access;
    shim.vfs.xFullPathname = ForwardVfs<&sqlite3_vfs::xFullPathname, char const*, int, char*>;
    shim.vfs.xDlOpen = ForwardVfs<&sqlite3_vfs::xDlOpen, char const*>;
    shim.vfs.xDlError = ForwardVfs<&sqlite3_vfs::xDlError, int, char*>;
    shim.vfs.xDlSym = ForwardVfs<&sqlite3_vfs::xDlSym, void*, char const*>;
    shim.vfs.xDlClose = ForwardVfs<&sqlite3_vfs::xDlClose, void*>;
    shim.vfs.xRandomness = ForwardVfs<&sqlite3_vfs::xRandomness, int, char*>;
    shim.vfs.xSleep = ForwardVfs<&sqlite3_vfs::xSleep, int>;
    shim.vfs.xCurrentTime = ForwardVfs<&sqlite3_vfs::xCurrentTime, double*>;
    shim.vfs.xGetLastError = ForwardVfs<&sqlite3_vfs::xGetLastError, int, char*>;
    shim.vfs.xCurrentTimeInt64 = ForwardVfs<&sqlite3_vfs::xCurrentTimeInt64, sqlite3_int64*>;
    sqlite3_vfs_register(&shim.vfs, 1);
    Disarm();
    ResetCounts();
    shim.powerCut = false;
}

FaultVfs::~FaultVfs() {
    Shim& shim = TheShim();
    sqlite3_vfs_unregister(&shim.vfs);
    sqlite3_vfs_register(shim.below, 1);
    shim.files.clear();
    shim.databases.clear();
}

void FaultVfs::Arm(Kind kind, long nth, bool persistent, bool cutPower) {
    Shim& shim = TheShim();
    shim.armedKind = kind;
    shim.armedAt = shim.calls[kind] + (nth < 1 ? 1 : nth);
    shim.persistent = persistent;
    shim.cutAtFault = cutPower;
    shim.armed = true;
    shim.fired = false;
}

void FaultVfs::Disarm() {
    TheShim().armed = false;
}

bool FaultVfs::Fired() const {
    return TheShim().fired;
}

long FaultVfs::Calls(Kind kind) const {
    return TheShim().calls[kind];
}

void FaultVfs::ResetCounts() {
    Shim& shim = TheShim();
    if (shim.armed) {
        shim.armedAt -= shim.calls[shim.armedKind];
    }
    std::fill(std::begin(shim.calls), std::end(shim.calls), 0);
}

void FaultVfs::CutPower() {
    TheShim().powerCut = true;
}

bool FaultVfs::PowerIsCut() const {
    return TheShim().powerCut;
}

void FaultVfs::RestorePower(Loss loss) {
    Shim& shim = TheShim();
    for (auto& file : shim.files) {
        if (file.second.handles > 0) {
            std::abort(); // a power cut takes every open file with it
        }
        if (loss == kEveryOtherUnsyncedWrite && file.second.Pending()) {
            KeepEveryOther(file.first, file.second);
        }
    }
    shim.files.clear();
    // Shared memory does not outlive a restart.
    for (std::string const& database : shim.databases) {
        ::unlink((database + "-shm").c_str());
    }
    shim.databases.clear();
    shim.powerCut = false;
}

long long FaultVfs::UnsyncedBytes() const {
    long long bytes = 0;
    for (auto const& file : TheShim().files) {
        for (auto const& range : file.second.unsynced) {
            bytes += range.second;
        }
    }
    return bytes;
}

} // namespace PMFault
