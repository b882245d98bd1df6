// libFuzzer target for the catalogue loader. Any text must either load into a
// catalogue whose look-ups hold together or be refused with a message that
// names the source; nothing may crash, leak or read out of bounds.
#include <host/catalogue/Catalogue.h>

#include <Defcat/Defcat.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// Walks what the library walks after a successful load.
void WalkLoaded() {
    auto_init_ptr<Defcat::Role> base = Defcat::Role::FindByID("BASE_ROLE");
    Require(static_cast<bool>(base));
    DefcatObjectPtrList<Defcat::Entitlement> grants;
    base->GetEntitlements(&grants, false);
    Require(!grants.empty());
    DefcatObjectPtrList<Defcat::Feature> features;
    grants[0]->GetFeatures(&features, false);
    long previous = -1;
    for (std::size_t i = 0; i < features.size(); ++i) {
        DefcatObjectPtrList<Defcat::Parameter> parameters;
        features[i]->GetParameters(&parameters, false);
        long const id = std::atol(features[i]->GetID());
        Require(id > previous && parameters.size() >= (id == 0 ? 4u : 2u));
        Require(Defcat::Feature::FindByID(features[i]->GetID()).get() == features[i].get());
        previous = id;
    }
    auto_init_ptr<Defcat::ProductFlavor> flavor = Defcat::ProductFlavor::GetCurrent();
    Require(static_cast<bool>(flavor));
    DefcatObjectPtrList<Defcat::Role> roles;
    flavor->GetDefaultRoleList()->GetRoles(&roles, true);
    for (std::size_t i = 0; i < roles.size(); ++i) {
        Require(Defcat::Role::FindByID(roles[i]->GetID()).get() == roles[i].get());
    }
    for (Host::CatalogueApplicationInfo const& application :
         Host::GetCatalogueInfo().applications) {
        TString const useRole =
            Defcat::SDKApplication::FindByID(application.id.c_str())->GetUseRole();
        Require(useRole.IsEmpty() || static_cast<bool>(Defcat::Role::FindByID(useRole)));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    Host::CatalogueResult const result = Host::LoadCatalogueText(text, "fuzz.json");
    if (result.ok) {
        Require(result.message.empty());
        WalkLoaded();
    } else {
        Require(result.message.compare(0, 9, "fuzz.json") == 0 && result.message.size() > 11);
        Require(!Host::GetCatalogueInfo().loaded);
    }
    Host::UnloadCatalogue();
    return 0;
}
