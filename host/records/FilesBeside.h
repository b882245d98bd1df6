// The hidden files a process writes beside a company file while it builds one
// or copies one (".NAME.PURPOSE-PID"), their removal, and the sweep of those
// that a process killed outright left behind.
#pragma once

#include <string>

namespace Host {

// The hidden name, beside path, of a file this process writes for purpose
// ("creating", "partial"): ".NAME.PURPOSE-PID" in path's directory. The
// process id tells the sweep whose it is.
std::string HiddenBeside(std::string const& path, char const* purpose);

// Removes a company file with its log, shared memory and journal; the file
// last, so that a process stopped half-way leaves a file that the next sweep
// finds, not a journal without it.
void RemoveWithSidecars(std::string const& path);

// Removes the hidden files beside path (".NAME." ...) whose names, less a log,
// shared-memory or journal suffix, end with the id of a process that is gone.
void RemoveAbandonedFiles(std::string const& path);

// Makes the directory entry of path durable, so that a file created or
// renamed there is still there after a power cut.
void SyncDirectoryOf(std::string const& path);

} // namespace Host
