// The company fixture for manager tests.
#include "support/CompanyFixture.h"

#include <host/users/CompanyUsers.h>

namespace PMTest {

void CompanyFixture::SetUpCompany(std::string const& catalogueJson) {
    company.reset();
    Host::CompanyOptions options;
    options.catalogue = catalogueJson.empty() ? PM_CATALOGUE_DIR "/catalogue.json" : "test.json";
    options.catalogueText = catalogueJson;
    Host::CompanyProblem problem;
    company = Host::Company::CreateInMemory(options, "admin", &problem);
    ASSERT_NE(nullptr, company) << problem.message;
    adminUser = company->AdminUserId();
}

int CompanyFixture::AddUser(char const* name, std::vector<int> const& roles) {
    std::string error;
    int userId = Host::AddCompanyUser(name, false, &error);
    EXPECT_NE(-1, userId) << error;
    for (int role : roles) {
        EXPECT_EQ(PM_OK, Manager().SetRoleForUser(userId, role)) << name << " " << role;
    }
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
    return Join(roles, ",", [&](int role) {
        return Join(ids, ",", [&](int id) {
            long mask = 0;
            bool found = Manager().GetRoleActionAssociation(role, id, &mask) == PM_OK;
            return found ? std::to_string(mask) : "-";
        });
    });
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
