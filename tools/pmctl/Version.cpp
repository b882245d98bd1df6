// pmctl's version, set by the build from the project's, and the shipped
// catalogue's.
#include "Version.h"

#include "Session.h"

#include <host/catalogue/Catalogue.h>

namespace Pmctl {

std::string VersionText() {
    std::string const path = DefaultCataloguePath();
    Host::CatalogueResult loaded = Host::LoadCatalogueFile(path);
    std::string catalogue =
        loaded.ok
            ? "catalogue version " +
                  std::to_string(Host::GetCatalogueInfo().permissionDataVersion) + " (" + path + ")"
            : "catalogue: " + loaded.message;
    return std::string("pmctl ") + PMCTL_VERSION + "\n" + catalogue;
}

} // namespace Pmctl
