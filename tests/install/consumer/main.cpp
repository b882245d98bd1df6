// A host in a few lines: load the component, ask before anyone logs in, and
// load the installed catalogue through the reference host.
#include <PM/PermissionManager.h>
#include <host/catalogue/Catalogue.h>

#include <cstdio>

int main() {
    PM_InitComponent();
    PM::PermissionManager& manager = PM::PermissionManager::GetThePermissionManager();
    bool allowed = manager.IsAccessAllowed(6, 4); // no user established: every answer is yes
    PM_UninitComponent();
    Host::CatalogueResult catalogue = Host::LoadCatalogueFile(CATALOGUE);
    Host::CatalogueInfo info = Host::GetCatalogueInfo();
    Host::UnloadCatalogue();
    std::printf("allowed before login: %s\ncatalogue: %s, version %d\n", allowed ? "yes" : "no",
                catalogue.ok ? info.product.c_str() : catalogue.message.c_str(),
                info.permissionDataVersion);
    return allowed && catalogue.ok ? 0 : 1;
}
