// Whole passes: defaults from the shipped catalogue, Init, EstablishUser and
// the access decision; on a company file on disk, also across a close and a
// reopen, and the upgrade of a file written with the previous catalogue.
#include "support/CompanyFixture.h"

#include <host/catalogue/Catalogue.h>
#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>
#include <host/users/UserManagerHooks.h>

#include <PM/PermissionManager.h>
#include <PM/URPStore.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Ids = std::unique_ptr<std::vector<int>>;

class WholePassTest : public PMTest::CompanyFixture {};

TEST_F(WholePassTest, TheAdministratorHoldsTheAdminRoleAndFullAccess) {
    std::unique_ptr<std::vector<int>> roles(Manager().GetUserRoleIds(adminUser));
    ASSERT_NE(nullptr, roles);
    EXPECT_EQ(std::vector<int>{0}, *roles);
    EXPECT_TRUE(Manager().DoesUserHaveAdmin(adminUser));
    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    int bankRegisters = EntitlementId("Bank Registers");
    EXPECT_TRUE(Manager().IsFullAccess(bankRegisters));
    EXPECT_TRUE(Manager().IsAccessAllowed(bankRegisters, 8));
}

struct FileUser {
    char const* name;
    std::vector<int> roles; // "admin" gets 0 from the defaults, the others later
    char const* answers;    // entitlements the catalogue grants to these roles
};
std::vector<FileUser> const kFileUsers = {{"admin", {0}, "granted 232"},
                                          {"clerk", {1}, "granted 191"},
                                          // Sales alone 58, Purchasing alone 49
                                          {"sales-and-purchasing", {4, 5}, "granted 99"},
                                          {"nobody", {}, "granted 0"}};

// For every cached entitlement, mask 0 and each single action bit: the answer
// against the union of the roles' stored masks, or yes with no user. Gives
// "granted N" (the rows where the union grants something) and " id/mask" for
// each answer that disagrees.
std::string Answers(std::vector<int> const& roles, bool noUser = false) {
    PM::PermissionManager& manager = PM::PermissionManager::GetThePermissionManager();
    std::string mismatches;
    int granted = 0;
    for (PM::EntitlementObject const& row : *manager.GetEntitlementCache()) {
        long stored = 0;
        for (int role : roles) {
            long mask = 0;
            stored |= manager.GetRoleActionAssociation(role, row.m_Id, &mask) == PM_OK ? mask : 0;
        }
        granted += stored != 0;
        for (long mask = 0; mask <= 64; mask = mask == 0 ? 1 : mask * 2) {
            if (manager.IsAccessAllowed(row.m_Id, mask) !=
                (noUser || (stored & (mask == 0 ? 63 : mask)) != 0)) {
                mismatches += " " + std::to_string(row.m_Id) + "/" + std::to_string(mask);
            }
        }
    }
    return "granted " + std::to_string(granted) + mismatches;
}

void LoadCatalogue(char const* name) {
    Host::CatalogueResult catalogue = Host::LoadCatalogueFile(PMTest::CatalogueFile(name));
    ASSERT_TRUE(catalogue.ok) << catalogue.message;
}

class CompanyFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        PM_UninitComponent();
        Host::CloseCompanyFile();
        dir = fs::temp_directory_path() /
              ("pm_wholepass_" + std::to_string(getpid()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
        path = (dir / "company.tfc").string();
    }
    void TearDown() override {
        PM_UninitComponent();
        Host::CloseCompanyFile();
        Host::SetUserManager(nullptr);
        Host::UnloadCatalogue();
        fs::remove_all(dir);
    }
    static PM::PermissionManager& Manager() {
        return PM::PermissionManager::GetThePermissionManager();
    }

    // Writes a new company file with the defaults of catalogueName and the
    // users of kFileUsers (the first an administrator), then lets go of it
    // all: Term, the library unloaded and loaded, the file closed.
    void Create(char const* catalogueName) {
        ASSERT_NO_FATAL_FAILURE(LoadCatalogue(catalogueName));
        Host::CompanyFileResult file = Host::CreateCompanyFile(path);
        ASSERT_TRUE(file.ok) << file.message;
        Host::UseCompanyUserManager();
        std::string error;
        for (FileUser const& user : kFileUsers) {
            userIds.push_back(Host::AddCompanyUser(user.name, userIds.empty(), &error));
            ASSERT_NE(-1, userIds.back()) << error;
        }
        PM_InitComponent();
        ASSERT_EQ(PM_OK, Manager().SetDefaultRoles());
        for (std::size_t i = 1; i < kFileUsers.size(); ++i) {
            for (int role : kFileUsers[i].roles) {
                ASSERT_EQ(PM_OK, Manager().SetRoleForUser(userIds[i], role));
            }
        }
        Manager().Term();
        PM_UninitComponent();
        PM_InitComponent();
        Host::CloseCompanyFile();
    }
    void Reopen(char const* catalogueName) { // and Init
        ASSERT_NO_FATAL_FAILURE(LoadCatalogue(catalogueName));
        Host::CompanyFileResult file = Host::OpenCompanyFile(path);
        ASSERT_TRUE(file.ok) << file.message;
        ASSERT_EQ(0, Manager().Init());
    }

    fs::path dir;
    std::string path;
    std::vector<int> userIds;
};

TEST_F(CompanyFileTest, EveryUserIsAnsweredByTheStoredMasksAfterAReopen) {
    ASSERT_NO_FATAL_FAILURE(Create("catalogue.json"));
    ASSERT_NO_FATAL_FAILURE(Reopen("catalogue.json"));
    EXPECT_EQ("granted 0", Answers({}, true)); // no user yet: everything is allowed
    for (std::size_t i = 0; i < kFileUsers.size(); ++i) {
        SCOPED_TRACE(kFileUsers[i].name);
        EXPECT_EQ(kFileUsers[i].roles, *Ids(Manager().GetUserRoleIds(userIds[i])));
        ASSERT_EQ(0, Manager().EstablishUser(userIds[i]));
        EXPECT_EQ(kFileUsers[i].answers, Answers(kFileUsers[i].roles));
    }
}

TEST_F(CompanyFileTest, AFileOfThePreviousCatalogueIsUpgradedByInit) {
    ASSERT_NO_FATAL_FAILURE(Create("catalogue-previous.json"));
    ASSERT_NO_FATAL_FAILURE(Reopen("catalogue.json"));
    std::string names;
    for (int id : {87, 100015, 100016, 180, 215}) {
        PM::EntitlementDef def = Manager().FindEntitlementDefById(id);
        names += std::to_string(id) + ":" + (def.GetId() == id ? def.GetName().c_str() : "-") + " ";
    }
    EXPECT_EQ("87:Bank Feeds 100015:Connected Apps 100016:- 180:Reminders 215:Company Dashboard ",
              names);
    EXPECT_EQ(PM_ERR_NOENT, Manager().FindEntitlementDefByName("Online Banking").GetId());
    ASSERT_EQ(0, Manager().EstablishUser(userIds[0]));
    EXPECT_EQ("granted 232", Answers({0}));
    std::string notFull;
    for (int id = 180; id <= 215; ++id) {
        notFull += Manager().IsFullAccess(id) ? "" : std::to_string(id) + " ";
    }
    EXPECT_EQ("", notFull);
}

} // namespace
