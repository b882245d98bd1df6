// The current catalogue of the reference host and the loader's entry points.
#include <host/catalogue/Catalogue.h>
#include <host/catalogue/CatalogueModel.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/stat.h>

namespace Host {

namespace detail {
namespace {

std::unique_ptr<Catalogue>& Current() {
    static std::unique_ptr<Catalogue> current;
    return current;
}

} // namespace

Catalogue const* CurrentCatalogue() {
    return Current().get();
}

} // namespace detail

CatalogueResult LoadCatalogueText(std::string const& json, std::string const& sourceName) {
    std::string error;
    std::unique_ptr<detail::Catalogue> catalogue = detail::ParseCatalogue(json, sourceName, error);
    if (!catalogue) {
        return CatalogueResult{false, error};
    }
    detail::Current() = std::move(catalogue);
    return CatalogueResult{true, std::string()};
}

namespace {

// The shipped catalogue is under 40 KB; a thousand times that is no catalogue.
const long long kMaxCatalogueBytes = 64LL * 1024 * 1024;

} // namespace

CatalogueResult LoadCatalogueFile(std::string const& path) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                         &std::fclose);
    if (!file) {
        return CatalogueResult{false, path + ": cannot open: " + std::strerror(errno)};
    }
    // A device or a pipe never ends, and a huge file is not a catalogue:
    // both are refused before anything is read.
    struct stat info;
    if (::fstat(::fileno(file.get()), &info) != 0 || !S_ISREG(info.st_mode)) {
        return CatalogueResult{false, path + ": not a regular file"};
    }
    if (info.st_size > kMaxCatalogueBytes) {
        return CatalogueResult{false, path + ": " + std::to_string(info.st_size) +
                                          " bytes, more than a catalogue's limit of " +
                                          std::to_string(kMaxCatalogueBytes)};
    }
    std::string text;
    char buffer[65536];
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) {
        text.append(buffer, got);
    }
    if (std::ferror(file.get())) {
        return CatalogueResult{false, path + ": cannot read: " + std::strerror(errno)};
    }
    return LoadCatalogueText(text, path);
}

void UnloadCatalogue() {
    detail::Current().reset();
}

CatalogueInfo GetCatalogueInfo() {
    CatalogueInfo info;
    detail::Catalogue const* catalogue = detail::CurrentCatalogue();
    if (catalogue == nullptr) {
        return info;
    }
    info.loaded = true;
    info.sourceName = catalogue->sourceName;
    info.product = catalogue->product;
    info.featureCount = catalogue->features.size();
    auto const version = catalogue->features.find("0");
    if (version != catalogue->features.end()) {
        DefcatObjectPtrList<Defcat::Parameter> parameters;
        version->second->GetParameters(&parameters, false);
        info.versionName = version->second->GetName().c_str();
        info.permissionDataVersion = std::atoi(parameters[2]->GetData());
        info.entitlementCount = std::atoi(parameters[3]->GetData());
    }
    for (Defcat::Role const* role : catalogue->roleOrder) {
        info.roles.push_back(CatalogueRoleInfo{role->GetID().c_str(), role->GetName().c_str(),
                                               role->GetVisible(), role->GetPrivate()});
    }
    for (Defcat::SDKApplication const* application : catalogue->applicationOrder) {
        info.applications.push_back(CatalogueApplicationInfo{application->GetID().c_str(),
                                                             application->GetUseRole().c_str()});
    }
    for (Defcat::ProductFlavor const* flavor : catalogue->flavorOrder) {
        info.flavors.push_back(flavor->GetID().c_str());
    }
    info.currentFlavor = catalogue->currentFlavor->GetID().c_str();
    DefcatObjectPtrList<Defcat::Role> defaults;
    catalogue->currentFlavor->GetDefaultRoleList()->GetRoles(&defaults, true);
    for (std::size_t i = 0; i < defaults.size(); ++i) {
        info.defaultRoles.push_back(defaults[i]->GetID().c_str());
    }
    return info;
}

} // namespace Host
