// The reference host's module loader: LoadLibraryA, GetProcAddress and
// FreeLibrary over dlopen, dlsym and dlclose, with in-process registered
// modules in front, and the C runtime's _itoa. See ModuleLoaderHooks.h for the
// name mapping.
#include "ModuleLoaderHooks.h"

#include <Loader/Itoa.h>
#include <Loader/ModuleLoader.h>

#include <dlfcn.h>

#include <cstdint>
#include <mutex>
#include <set>
#include <vector>

// One handle from LoadLibraryA: either a dlopen handle or a copy of a
// registered module's exports.
struct HostModule__ {
    void* library = nullptr;
    Host::ModuleExports exports;
};

namespace Host {

namespace {

// The library calls from one thread, but a host may load modules from others.
std::mutex& LoaderMutex() {
    static std::mutex mutex;
    return mutex;
}

std::string& SearchPath() {
    static std::string path;
    return path;
}

// Registered modules by name folded to lower case.
std::map<std::string, ModuleExports>& Registered() {
    static std::map<std::string, ModuleExports> modules;
    return modules;
}

std::set<HMODULE>& OpenHandles() {
    static std::set<HMODULE> handles;
    return handles;
}

std::string Folded(std::string text) {
    for (char& ch : text) {
        if (ch >= 'A' && ch <= 'Z') {
            ch = static_cast<char>(ch - 'A' + 'a');
        }
    }
    return text;
}

// The file names that a module name maps to, in the order they are tried.
std::vector<std::string> CandidateFiles(std::string const& moduleName) {
    std::string base = moduleName;
    if (base.size() > 4 && Folded(base.substr(base.size() - 4)) == ".dll") {
        base.resize(base.size() - 4);
    }
    std::vector<std::string> files;
    std::string const& path = SearchPath();
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find(':', start);
        if (end == std::string::npos) {
            end = path.size();
        }
        std::string directory = path.substr(start, end - start);
        if (!directory.empty()) {
            if (directory.back() != '/') {
                directory += '/';
            }
            files.push_back(directory + "lib" + base + ".so");
            files.push_back(directory + base + ".so");
        }
        start = end + 1;
    }
    return files;
}

HMODULE Track(HMODULE module) {
    OpenHandles().insert(module);
    return module;
}

} // namespace

void SetModuleSearchPath(std::string const& directories) {
    std::lock_guard<std::mutex> lock(LoaderMutex());
    SearchPath() = directories;
}

std::string GetModuleSearchPath() {
    std::lock_guard<std::mutex> lock(LoaderMutex());
    return SearchPath();
}

void RegisterModule(std::string const& name, ModuleExports const& exports) {
    std::lock_guard<std::mutex> lock(LoaderMutex());
    Registered()[Folded(name)] = exports;
}

bool UnregisterModule(std::string const& name) {
    std::lock_guard<std::mutex> lock(LoaderMutex());
    return Registered().erase(Folded(name)) != 0;
}

std::size_t OpenModuleCount() {
    std::lock_guard<std::mutex> lock(LoaderMutex());
    return OpenHandles().size();
}

} // namespace Host

extern "C" {

HMODULE LoadLibraryA(char const* moduleName) {
    if (moduleName == nullptr || *moduleName == '\0') {
        return nullptr;
    }
    std::string name(moduleName);
    if (name.find_first_of("/\\") != std::string::npos) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(Host::LoaderMutex());
    auto registered = Host::Registered().find(Host::Folded(name));
    if (registered != Host::Registered().end()) {
        HMODULE module = new HostModule__();
        module->exports = registered->second;
        return Host::Track(module);
    }
    for (std::string const& file : Host::CandidateFiles(name)) {
        if (void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
            HMODULE module = new HostModule__();
            module->library = library;
            return Host::Track(module);
        }
    }
    return nullptr;
}

FARPROC GetProcAddress(HMODULE module, char const* exportName) {
    if (module == nullptr || exportName == nullptr) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(Host::LoaderMutex());
    if (Host::OpenHandles().count(module) == 0) {
        return nullptr;
    }
    void* address = nullptr;
    if (module->library != nullptr) {
        address = dlsym(module->library, exportName);
    } else {
        auto found = module->exports.find(exportName);
        if (found != module->exports.end()) {
            address = found->second;
        }
    }
    // POSIX lets a data pointer from dlsym be turned into a function pointer.
    return reinterpret_cast<FARPROC>(address);
}

BOOL FreeLibrary(HMODULE module) {
    std::lock_guard<std::mutex> lock(Host::LoaderMutex());
    if (module == nullptr || Host::OpenHandles().erase(module) == 0) {
        return 0;
    }
    bool closed = module->library == nullptr || dlclose(module->library) == 0;
    delete module;
    return closed ? 1 : 0;
}

char* _itoa(int value, char* buffer, int radix) {
    if (buffer == nullptr) {
        return buffer;
    }
    if (radix < 2 || radix > 36) {
        buffer[0] = '\0';
        return buffer;
    }
    static char const kDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
    // Other radixes than 10 show the 32-bit pattern, as unsigned.
    bool negative = radix == 10 && value < 0;
    std::uint32_t magnitude = static_cast<std::uint32_t>(value);
    if (negative) {
        magnitude = 0u - magnitude;
    }
    char reversed[33];
    int length = 0;
    do {
        reversed[length++] = kDigits[magnitude % static_cast<std::uint32_t>(radix)];
        magnitude /= static_cast<std::uint32_t>(radix);
    } while (magnitude != 0);
    char* out = buffer;
    if (negative) {
        *out++ = '-';
    }
    while (length > 0) {
        *out++ = reversed[--length];
    }
    *out = '\0';
    return buffer;
}

} // extern "C"
