// The company-file fixture for manager tests.
#include "support/CompanyFixture.h"

#include <host/catalogue/Catalogue.h>
#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>
#include <host/users/UserManagerHooks.h>

namespace PMTest {

std::string CatalogueFile(char const* name) {
    return std::string(PM_CATALOGUE_DIR "/") + name;
}

void CompanyFixture::SetUpCompany(char const* catalogueName) {
    PM_UninitComponent();
    Host::CloseCompanyFile();
    Host::CatalogueResult catalogue = Host::LoadCatalogueFile(CatalogueFile(catalogueName));
    ASSERT_TRUE(catalogue.ok) << catalogue.message;
    OpenCompany();
}

void CompanyFixture::SetUpCompanyFromText(std::string const& catalogueJson) {
    PM_UninitComponent();
    Host::CloseCompanyFile();
    Host::CatalogueResult catalogue = Host::LoadCatalogueText(catalogueJson, "test.json");
    ASSERT_TRUE(catalogue.ok) << catalogue.message;
    OpenCompany();
}

void CompanyFixture::OpenCompany() {
    Host::CompanyFileResult file = Host::OpenInMemoryCompanyFile();
    ASSERT_TRUE(file.ok) << file.message;
    Host::UseCompanyUserManager();
    adminUser = AddUser("admin", true);
    PM_InitComponent();
    ASSERT_EQ(PM_OK, Manager().SetDefaultRoles());
}

void CompanyFixture::TearDown() {
    PM_UninitComponent();
    Host::CloseCompanyFile();
    Host::SetUserManager(nullptr);
    Host::UnloadCatalogue();
}

int CompanyFixture::AddUser(char const* name, bool isAdmin) {
    std::string error;
    int userId = Host::AddCompanyUser(name, isAdmin, &error);
    EXPECT_NE(-1, userId) << error;
    return userId;
}

int CompanyFixture::RoleId(char const* name) {
    int id = Manager().LookupRole(name);
    EXPECT_NE(PM_ERROR, id) << "no role named " << name;
    return id;
}

int CompanyFixture::EntitlementId(char const* name) {
    int id = Manager().FindEntitlementDefByName(name).GetId();
    EXPECT_NE(PM_ERR_NOENT, id) << "no entitlement named " << name;
    return id;
}

std::string CompanyFixture::Masks(std::vector<int> const& roles, std::vector<int> const& ids) {
    std::string text;
    for (int role : roles) {
        for (int id : ids) {
            long mask = 0;
            bool found = Manager().GetRoleActionAssociation(role, id, &mask) == PM_OK;
            text += (text.empty() ? "" : ",") + (found ? std::to_string(mask) : "-");
        }
    }
    return text;
}

void CompanyFixture::SetMasks(std::vector<int> const& roles, std::vector<int> const& ids,
                              std::vector<long> const& masks) {
    for (int role : roles) {
        for (std::size_t i = 0; i < ids.size(); ++i) {
            EXPECT_EQ(PM_OK, Manager().GetURPStore()->URPSUpdateRoleActionAssociation(role, ids[i],
                                                                                      masks[i]))
                << role << "/" << ids[i];
        }
    }
}

} // namespace PMTest
