// Start and stop of the manager, user establishment and the factory defaults;
// whole passes from the shipped catalogue through Init, EstablishUser and the
// access decision, on a company file on disk also across a close and a
// reopen, and the upgrade of a file written with the previous catalogue.
#include "support/CompanyFixture.h"
#include "support/LogProbe.h"
#include "support/VerifyProbe.h"

#include <host/catalogue/Catalogue.h>
#include <host/records/CompanyFile.h>
#include <host/records/FaultPlan.h>
#include <host/users/CompanyUsers.h>
#include <host/users/UserManagerHooks.h>

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Ids = std::unique_ptr<std::vector<int>>;

class LifecycleTest : public PMTest::CompanyFixture {
protected:
    std::string State() { return Access().State(); }
    // The roles and entitlements that the caches hold and every role's mask on
    // every entitlement.
    std::string Contents() {
        std::string text;
        std::vector<int> roles, ids;
        for (PM::RoleObject const& role : *Manager().GetRoleCache()) {
            text += std::string(role.GetName().c_str()) + ":" + std::to_string(role.GetId()) + ",";
            roles.push_back(role.GetId());
        }
        for (PM::EntitlementObject const& row : *Manager().GetEntitlementCache()) {
            text += std::to_string(row.m_Id) + ":" + row.m_Name.c_str() + ",";
            ids.push_back(row.m_Id);
        }
        return text + Masks(roles, ids);
    }
};

TEST_F(LifecycleTest, InitReplacesEverythingAndTermKeepsEmptyListsAndTheSortedRows) {
    ASSERT_EQ(0, Manager().EstablishUser(adminUser));
    EXPECT_EQ("1/" + std::to_string(adminUser) + "/store1/232/232/8/1+", State());
    ASSERT_EQ(0, Manager().Init());
    EXPECT_EQ("1/-1/store1/232/232/8/0", State());
    EXPECT_TRUE(Manager().IsAccessAllowed(81, 0));
    Manager().Term();
    EXPECT_EQ("0/-1/none0/0/232/0/0", State());
    EXPECT_EQ(81, Manager().FindEntitlementDefByName("Bank Registers").GetId());
    EXPECT_EQ(nullptr, std::unique_ptr<PM::EntitlementDef>(Manager().GetEntitlementDef(81)));
    EXPECT_EQ(-1, Manager().EstablishUser(adminUser));

    PM_UninitComponent(); // Term on a manager that never ran Init, then Init
    Manager().Term();
    EXPECT_EQ("0/-1/none0/-/0/-/-", State());
    ASSERT_EQ(0, Manager().Init());
    EXPECT_EQ("1/-1/store1/232/232/8/0", State());
}

TEST_F(LifecycleTest, TheStoreIsMadeByClassAndReadsItsCatalogueBand) {
    EXPECT_EQ(-1, Access().SetDataStorageAccessClass(PM::DataStorageClass(3)));
    EXPECT_EQ("1/-1/none0/232/232/8/0", State());
    ASSERT_EQ(0, Access().InitializeURPStore());
    EXPECT_EQ(216, Manager().GetURPStore()->m_StaticEntitlementLimit);
    ASSERT_EQ(PM_OK, Manager().ResetToFactoryDefaults());
    ASSERT_EQ(0, Access().InitializeURPStore()); // an empty store is no failure
    EXPECT_EQ(0, Manager().GetURPStore()->m_StaticEntitlementLimit);
    ASSERT_EQ(0, Manager().Init()); // nor for Init: empty lists, no roles
    EXPECT_EQ("1/-1/store1/0/0/0/0", State());
    EXPECT_EQ(PM_ERR_NOENT, Manager().FindEntitlementDefByName("Bank Registers").GetId());
    EXPECT_EQ(PM_ERROR, Manager().LookupRole("Admin"));
}

// The union of several roles and the refusal of a user without any are
// checked entitlement by entitlement in the whole pass below.
TEST_F(LifecycleTest, AFailedEstablishUserLeavesNoUser) {
    int const none = AddUser("none");
    ASSERT_EQ(0, Manager().EstablishUser(none));
    EXPECT_FALSE(Manager().IsAccessAllowed(5, 0));
    {
        Host::ScopedFault fault("DMUSRUserRole::GetUserRoleCountByUserId", 1);
        EXPECT_EQ(-1, Manager().EstablishUser(adminUser));
    }
    EXPECT_EQ(-1, Manager().GetEstablishedUser());
    EXPECT_TRUE(Manager().IsAccessAllowed(5, 0));

    ASSERT_EQ(0, Manager().EstablishUser(none));
    ASSERT_TRUE(Manager().SetContext("TimeClockBridge").Succeeded());
    PMTest::LogProbe log;
    EXPECT_EQ(-1, Manager().EstablishUser(none));
    EXPECT_EQ("5/5 Wrong context to reset permission table.\n", log.Lines());
    EXPECT_EQ(-1, Manager().GetEstablishedUser());
}

TEST_F(LifecycleTest, ResetToFactoryDefaultsDeletesInOrderAndStopsAtTheFirstFailure) {
    char const* const deletes[] = {"DMUSRUserRole::DeleteAll", "DMUSRRoleAction::DeleteAll",
                                   "DMUSRRole::DeleteAll", "DMUSREntitlement::DeleteAll"};
    std::string calls;
    for (int failing = 0; failing <= 4; ++failing) {
        Host::FaultPlan::Get().ResetCounts();
        Host::FaultPlan::Get().Arm(failing < 4 ? deletes[failing] : "none", 1);
        calls += std::to_string(Manager().ResetToFactoryDefaults()) + ":";
        Host::FaultPlan::Get().Disarm();
        for (char const* op : deletes) {
            calls += std::to_string(Host::FaultPlan::Get().Calls(op));
        }
        calls += " ";
    }
    EXPECT_EQ("-1:1000 -1:1100 -1:1110 -1:1111 0:1111 ", calls);
    Manager().Term();
    EXPECT_EQ(PM_OK, Manager().ResetToFactoryDefaults()); // no store: nothing to delete
}

TEST_F(LifecycleTest, DefaultsAfterAResetMakeAFreshFileAndWithoutAnAdministratorAssignNobody) {
    std::string const fresh = Contents();
    ASSERT_EQ(PM_OK, Manager().ResetToFactoryDefaults());
    ASSERT_EQ(PM_OK, Manager().SetDefaultRoles());
    EXPECT_EQ(fresh, Contents());
    EXPECT_EQ(std::vector<int>{0}, *Ids(Manager().GetUserRoleIds(adminUser)));

    ASSERT_EQ(PM_OK, Manager().ResetToFactoryDefaults());
    ASSERT_TRUE(Host::RemoveCompanyUser(adminUser));
    ASSERT_EQ(PM_OK, Manager().SetDefaultRoles());
    EXPECT_EQ(fresh, Contents());
    EXPECT_EQ(0u, Ids(Manager().GetUsersUsingRole(0))->size());
    EXPECT_EQ(PM_ERROR, Manager().SetDefaultRoles()); // a populated file is not filled twice
}

TEST_F(LifecycleTest, ACatalogueRoleIsBroughtInOnlyWhenMissing) {
    Host::FaultPlan::Get().ResetCounts();
    EXPECT_EQ(4, Manager().AddRoleEntitlementsFromADR("SALES"));
    EXPECT_EQ(0, Host::FaultPlan::Get().Calls("*")); // found by name: nothing written
    EXPECT_EQ(PM_ERROR, Manager().AddRoleEntitlementsFromADR("NO_SUCH_ROLE"));
    EXPECT_EQ(8, Manager().AddRoleEntitlementsFromADR("ORVANE_APP"));
    ASSERT_EQ(0, Manager().Init());
    EXPECT_EQ(8, Manager().LookupRole("OrvaneApp"));

    Manager().Term();
    PMTest::VerifyProbe verify;
    PMTest::LogProbe log;
    EXPECT_EQ(PM_ERROR, Manager().AddRoleEntitlementsFromADR("TIME_CLOCK_APP"));
    EXPECT_EQ(std::vector<std::string>{"pDb != NULL"}, verify.Expressions());
    EXPECT_EQ("6/5 pDb is NULL\n", log.Lines());
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

class CompanyFileTest : public PMTest::CompanyFixture {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() /
              ("pm_wholepass_" + std::to_string(getpid()) + "_" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir);
        fs::create_directories(dir);
        path = (dir / "company.tfc").string();
    }
    void TearDown() override {
        CompanyFixture::TearDown();
        fs::remove_all(dir);
    }

    // Writes a new company file with the defaults of catalogueName and the
    // users of kFileUsers (the first an administrator), then lets go of it
    // all: Term, the library unloaded and loaded, the file closed.
    void Create(char const* catalogueName) {
        ASSERT_NO_FATAL_FAILURE(LoadCatalogue(catalogueName));
        Host::CompanyFileResult file = Host::CreateCompanyFile(path);
        ASSERT_TRUE(file.ok) << file.message;
        Host::UseCompanyUserManager();
        for (FileUser const& user : kFileUsers) {
            userIds.push_back(AddUser(user.name, userIds.empty()));
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
