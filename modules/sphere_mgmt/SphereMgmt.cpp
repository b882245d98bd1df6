// The sibling module that the permission manager loads by the name
// "SphereMgmt.DLL": it serves the connected-role document from a file and
// records usage facts in another, both named by environment variables that are
// read at each call (see docs/sphere-module.md).
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#define SPHERE_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

char const* Setting(char const* name) {
    char const* value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : nullptr;
}

// text as the body of a JSON string.
std::string Escaped(char const* text) {
    std::string out;
    for (unsigned char const* p = reinterpret_cast<unsigned char const*>(text); *p != 0; ++p) {
        if (*p == '"' || *p == '\\') {
            out += '\\';
            out += static_cast<char>(*p);
        } else if (*p < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", *p);
            out += escape;
        } else {
            out += static_cast<char>(*p);
        }
    }
    return out;
}

} // namespace

// The whole file named by SPHERE_MGMT_CONNECTED_ROLES, NUL-terminated, in a
// block from malloc that the caller releases with free; null when the variable
// is unset or the file can't be read.
SPHERE_EXPORT char* GetConnectedRolesListFromDCE() {
    char const* path = Setting("SPHERE_MGMT_CONNECTED_ROLES");
    if (path == nullptr) {
        return nullptr;
    }
    std::FILE* file = std::fopen(path, "rb");
    if (file == nullptr) {
        return nullptr;
    }
    std::string text;
    char chunk[4096];
    std::size_t got;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) {
        text.append(chunk, got);
    }
    bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) {
        return nullptr;
    }
    char* block = static_cast<char*>(std::malloc(text.size() + 1));
    if (block != nullptr) {
        std::memcpy(block, text.c_str(), text.size() + 1);
    }
    return block;
}

// Appends {"name":..,"value":..,"index":..} as one line to the file named by
// SPHERE_MGMT_FACTS_FILE. 0 when the line was written, -1 otherwise.
SPHERE_EXPORT int UpdateUMFacts(char const* name, char const* value, int index) {
    char const* path = Setting("SPHERE_MGMT_FACTS_FILE");
    if (path == nullptr || name == nullptr || value == nullptr) {
        return -1;
    }
    std::string line = "{\"name\":\"" + Escaped(name) + "\",\"value\":\"" + Escaped(value) +
                       "\",\"index\":" + std::to_string(index) + "}\n";
    std::FILE* file = std::fopen(path, "ab");
    if (file == nullptr) {
        return -1;
    }
    bool written = std::fwrite(line.data(), 1, line.size(), file) == line.size();
    return std::fclose(file) == 0 && written ? 0 : -1;
}

// How many custom-role slots are kept: SPHERE_MGMT_MAX_TRACKED when it is a
// decimal number from 1 to 4294967295, otherwise 3. Never 0: the library
// pads up to one below this count, unsigned.
SPHERE_EXPORT std::uint32_t GetMaxEntitlementsToTrack() {
    std::uint32_t const kDefault = 3;
    char const* setting = Setting("SPHERE_MGMT_MAX_TRACKED");
    if (setting == nullptr || *setting < '0' || *setting > '9') {
        return kDefault;
    }
    errno = 0;
    char* end = nullptr;
    unsigned long long count = std::strtoull(setting, &end, 10);
    if (errno != 0 || *end != '\0' || count == 0 || count > UINT32_MAX) {
        return kDefault;
    }
    return static_cast<std::uint32_t>(count);
}
