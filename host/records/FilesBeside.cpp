#include "FilesBeside.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace Host {

namespace {

std::string DirectoryOf(std::string const& path) {
    std::string::size_type slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

std::string BaseName(std::string const& path) {
    std::string::size_type slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Whether name, less a log, shared-memory or journal suffix, ends with
// "-PID" of a process that is gone.
bool LeftByAGoneProcess(std::string name) {
    for (char const* suffix : {"-journal", "-wal", "-shm"}) {
        std::size_t const length = std::strlen(suffix);
        if (name.size() > length && name.compare(name.size() - length, length, suffix) == 0) {
            name.erase(name.size() - length);
            break;
        }
    }
    std::size_t dash = name.rfind('-');
    if (dash == std::string::npos || dash + 1 == name.size() ||
        name.find_first_not_of("0123456789", dash + 1) != std::string::npos) {
        return false;
    }
    long pid = std::strtol(name.c_str() + dash + 1, nullptr, 10);
    return pid > 0 && ::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH;
}

} // namespace

std::string HiddenBeside(std::string const& path, char const* purpose) {
    return DirectoryOf(path) + "/." + BaseName(path) + "." + purpose + "-" +
           std::to_string(::getpid());
}

void RemoveWithSidecars(std::string const& path) {
    for (char const* suffix : {"-journal", "-wal", "-shm", ""}) {
        ::unlink((path + suffix).c_str());
    }
}

void RemoveAbandonedFiles(std::string const& path) {
    std::string directory = DirectoryOf(path);
    std::string prefix = "." + BaseName(path) + ".";
    DIR* dir = ::opendir(directory.c_str());
    if (dir == nullptr) {
        return;
    }
    std::vector<std::string> abandoned;
    while (dirent* entry = ::readdir(dir)) {
        std::string name = entry->d_name;
        if (name.compare(0, prefix.size(), prefix) == 0 && LeftByAGoneProcess(name)) {
            abandoned.push_back(directory + "/" + name);
        }
    }
    ::closedir(dir);
    // Longer names first: a journal goes before its file.
    std::sort(abandoned.begin(), abandoned.end(),
              [](std::string const& a, std::string const& b) { return a.size() > b.size(); });
    for (std::string const& file : abandoned) {
        ::unlink(file.c_str());
    }
}

void SyncDirectoryOf(std::string const& path) {
    int fd = ::open(DirectoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

} // namespace Host
