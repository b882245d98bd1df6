// Damaged and foreign files as the library meets them. The host refuses each
// file of the corpus (its reasons are tested with the host), so the library
// runs with no company file open: every operation fails or answers from empty
// lists, nothing crashes, and the file is not written. The same holds when
// the file is closed under an initialised manager. A row that the host
// accepts but cannot read ends the load that meets it.
#include "FaultChecks.h"
#include "FaultLoop.h"

#include "support/LogProbe.h"
#include "support/RecordTesting.h"
#include "support/VerifyProbe.h"

#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

using namespace PMFault;
using PMTest::ReadBytes;
using PMTest::TempPath;
using PMTest::WriteBytes;

// A company file filled by the defaults, closed.
void MakeCompanyFile(std::string const& path) {
    OpenDefaultCompany(path);
    PM_UninitComponent();
    Host::CloseCompanyFile();
}

struct Call {
    char const* name;
    std::function<int()> run;
    int expected;
};

// What the library answers with no company file open, after Init.
std::vector<Call> CallsWithoutAFile() {
    return {
        {"SetDefaultRoles", [] { return Manager().SetDefaultRoles(); }, PM_ERROR},
        {"Init again", [] { return Manager().Init(); }, PM_ERROR},
        {"EstablishUser", [] { return Manager().EstablishUser(101); }, PM_ERROR},
        {"IsAccessAllowed", [] { return Manager().IsAccessAllowed(1, 1) ? 1 : 0; }, 1},
        {"LookupRole", [] { return Manager().LookupRole("Admin"); }, PM_ERROR},
        {"DeleteRole", [] { return Manager().DeleteRole(2); }, PM_ERR_NORECORD},
        {"SetRoleEntitlements",
         [] {
             PM::RoleDef role;
             role.SetName("Auditor");
             std::vector<PM::EntitlementDef> none;
             return Manager().SetRoleEntitlements(role, none);
         },
         PM_ERROR},
        {"AddDynamicEntitlement",
         [] { return Manager().AddDynamicEntitlement("Bank Registers:Cash", "Bank Accounts"); },
         PM_ERROR},
        {"DeleteAllDynamicBankAccntEntitlements",
         [] { return Manager().DeleteAllDynamicBankAccntEntitlements(); }, PM_ERROR},
        {"VerifyAdminRoleAccess", [] { return Manager().VerifyAdminRoleAccess(true) ? 1 : 0; }, 1},
        {"GetAvailableRoles",
         [] {
             std::unique_ptr<std::vector<PM::RoleDef>> roles(
                 Manager().GetAvailableRoles(PM::kListIncludeAdmin, PM::kListIncludeInvisible));
             return roles == nullptr ? -1 : static_cast<int>(roles->size());
         },
         0},
        {"ResetToFactoryDefaults", [] { return Manager().ResetToFactoryDefaults(); }, PM_ERROR},
    };
}

class DamagedFilesFaultTest : public ::testing::Test {
protected:
    void SetUp() override {
        PM_UninitComponent();
        Host::CloseCompanyFile();
        LoadCatalogue(kSmallCatalogue);
    }
    void TearDown() override {
        PM_UninitComponent();
        Host::CloseCompanyFile();
    }
};

TEST_F(DamagedFilesFaultTest, TheLibraryWithARefusedFileFailsCleanlyAndWritesNothing) {
    std::string const notCompanyFile = "it is not a company file: its application id is ";
    struct Damage {
        char const* name;
        std::function<void(std::string const&)> make;
        std::string reason; // the start of the host's reason
    } const corpus[] = {
        {"no file at all", [](std::string const&) {}, "the file does not exist"},
        {"empty", [](std::string const& p) { WriteBytes(p, ""); }, "the file is empty"},
        {"not SQLite", [](std::string const& p) { WriteBytes(p, "Name,Role\nAnna,Admin\n"); },
         "it is not an SQLite database"},
        {"truncated",
         [](std::string const& p) {
             MakeCompanyFile(p);
             WriteBytes(p, ReadBytes(p).substr(0, 3 * 4096));
         },
         "it is truncated"},
        {"a page overwritten",
         [](std::string const& p) {
             MakeCompanyFile(p);
             std::string bytes = ReadBytes(p);
             WriteBytes(p, bytes.replace(4096, 4096, std::string(4096, '\x5A')));
         },
         "it is damaged"},
        {"a foreign schema",
         [](std::string const& p) { PMTest::QueryFile(p, "CREATE TABLE roles(x)"); },
         notCompanyFile},
        {"a newer schema",
         [](std::string const& p) {
             MakeCompanyFile(p);
             PMTest::QueryFile(p, "PRAGMA user_version = 2");
         },
         "its schema version 2 is newer"},
    };
    for (Damage const& damage : corpus) {
        SCOPED_TRACE(damage.name);
        TempPath path("damaged");
        damage.make(path);
        std::string const bytes = ReadBytes(path);

        Host::CompanyFileResult opened = Host::OpenCompanyFile(path);
        EXPECT_FALSE(opened.ok);
        EXPECT_EQ(0u, opened.message.find("Cannot open company file '" + path.str() +
                                          "': " + damage.reason))
            << opened.message;
        ASSERT_FALSE(Host::IsCompanyFileOpen());

        NewManager();
        PMTest::VerifyProbe refuse(false);
        PMTest::LogProbe log;
        EXPECT_EQ(PM_ERROR, Manager().Init());
        EXPECT_FALSE(Manager().IsInitialized());
        for (Call const& call : CallsWithoutAFile()) {
            EXPECT_EQ(call.expected, call.run()) << call.name;
        }
        EXPECT_EQ(bytes, ReadBytes(path)) << "the refused file was written";
        EXPECT_FALSE(PMTest::Exists(path.str() + "-wal"));
    }
}

// The host closes the file under an initialised manager: every operation that
// needs the store fails, the lists stay as Init left them (but for a reload,
// which empties them), and the file is as it was; opened again, it loads as
// before.
TEST_F(DamagedFilesFaultTest, AFileClosedUnderTheManager) {
    TempPath path("closed_under");
    MakeCompanyFile(path);
    ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
    NewManager();
    ASSERT_EQ(PM_OK, Manager().Init());
    std::string const loaded = RenderManager();
    Host::CloseCompanyFile();
    std::string const bytes = ReadBytes(path);

    PMTest::VerifyProbe refuse(false);
    PMTest::LogProbe log;
    EXPECT_EQ(PM_ERROR, Manager().DeleteRole(2));
    PM::RoleDef role;
    role.SetName("Auditor");
    std::vector<PM::EntitlementDef> none;
    EXPECT_EQ(PM_ERROR, Manager().SetRoleEntitlements(role, none));
    EXPECT_EQ(PM_ERROR, Manager().EstablishUser(101));
    EXPECT_EQ(2, Manager().LookupRole("Clerk"));
    EXPECT_EQ(Without(loaded, {"masks of "}), Without(RenderManager(), {"masks of "}));
    // The add's retry reloads the entitlement lists, which drops the old rows
    // before it reads: with no file, the lists are left empty.
    EXPECT_EQ(PM_ERROR, Manager().AddDynamicEntitlement("Bank Registers:Cash", "Bank Accounts"));
    EXPECT_EQ(0u, Manager().GetEntitlementCache()->size());
    EXPECT_EQ(Only(loaded, "role "), Only(RenderManager(), "role "));
    EXPECT_EQ(bytes, ReadBytes(path));

    ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
    NewManager();
    ASSERT_EQ(PM_OK, Manager().Init());
    EXPECT_EQ(loaded, RenderManager());
}

// A name longer than the record layer's text buffer, written by someone
// else: the host opens the file, and the load that meets the row ends there
// without a word. Init succeeds with the entitlements before it only, so every
// right on the others is refused until the row is repaired.
TEST_F(DamagedFilesFaultTest, AnUnreadableRowEndsTheLoadThatMeetsIt) {
    TempPath path("long_name");
    MakeCompanyFile(path);
    std::string const sql =
        "UPDATE entitlements SET name = '" + std::string(600, 'x') + "' WHERE entitlement_id = 5";
    PMTest::QueryFile(path, sql.c_str());
    ASSERT_TRUE(Host::OpenCompanyFile(path).ok);
    NewManager();
    PMTest::LogProbe log;
    EXPECT_EQ(PM_OK, Manager().Init());
    ASSERT_NE(nullptr, Manager().GetEntitlementCache());
    EXPECT_EQ(5u, Manager().GetEntitlementCache()->size()) << "ids 0 to 4";
    EXPECT_EQ(PM_ERR_NOENT, Manager().FindEntitlementDefByName("Bank Accounts").GetId());
    EXPECT_EQ(PM_OK, Manager().EstablishUser(UserId("admin")));
    EXPECT_TRUE(Manager().IsAccessAllowed(1, 1));
    EXPECT_FALSE(Manager().IsAccessAllowed(7, 1));
    EXPECT_EQ("A new permission context is added for Tallyframe\n", log.Texts()) << "no word";
}

} // namespace
