// The reference host's definition catalogue: a JSON file (docs/catalogue-format.md)
// that becomes the catalogue the Defcat look-ups answer from.
//
// A load either succeeds whole or changes nothing: a refused catalogue leaves the
// current one in place, and the message names the source, the place of the fault
// (line and column for bad JSON, a JSON path otherwise) and the fault.
//
// Beyond the Defcat contract in hostapi: a Defcat list operation given a null
// list does nothing, and the objects are released only with their catalogue
// (UnloadCatalogue, or a load that replaces it).
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Host {

struct CatalogueResult {
    bool ok;
    std::string message; // empty on success
};

// Reads and validates the file at path; on success it becomes the current
// catalogue and the previous one is released (with every Defcat object of it).
// What is not a regular file, or is larger than 64 MiB, is refused unread.
CatalogueResult LoadCatalogueFile(std::string const& path);

// The same for a text; sourceName stands for the file in messages.
CatalogueResult LoadCatalogueText(std::string const& json, std::string const& sourceName);

// Releases the current catalogue; the look-ups then find nothing.
void UnloadCatalogue();

struct CatalogueRoleInfo {
    std::string id;
    std::string name;
    bool visible;
    bool isPrivate;
};

struct CatalogueApplicationInfo {
    std::string id;
    std::string useRole; // catalogue id of the role; empty when it has none
};

// A summary of the current catalogue for tools and logs.
struct CatalogueInfo {
    bool loaded = false;
    std::string sourceName;
    std::string product; // empty when the catalogue names none
    // From feature "0"; an empty name and -1 when the catalogue has no feature "0".
    std::string versionName;
    int permissionDataVersion = -1;
    int entitlementCount = -1;
    std::size_t featureCount = 0;
    std::vector<CatalogueRoleInfo> roles;               // in file order
    std::vector<CatalogueApplicationInfo> applications; // in file order
    std::vector<std::string> flavors;                   // ids, in file order
    std::string currentFlavor;
    std::vector<std::string> defaultRoles; // role ids of the current flavor, in order
};

CatalogueInfo GetCatalogueInfo();

} // namespace Host
