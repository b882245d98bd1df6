// pmctl create, info, upgrade and reset on real company files and databases.
// A copy of the company as it was is made beside a file before a reset or an
// upgrade; on a server the command says that none was made.
#include "support/PmctlTesting.h"
#include "support/RecordTesting.h"

namespace {

class FileCommandsTest : public PMTest::CommandTest {
protected:
    nlohmann::json Info(std::string const& file, std::string const& catalogue = "") {
        return Json("info F" + (catalogue.empty() ? "" : " --catalogue " + catalogue), file);
    }
    // What a change that wants a copy says beside a database.
    static constexpr char const* kNoCopy =
        "no copy of the database as it was is kept: back a company database up with pg_dump\n";
    // The copy that the command said it saved.
    static std::string SavedCopy(std::string const& out) {
        std::string const said = "saved a copy of the file as it was: ";
        EXPECT_EQ(0u, out.find(said)) << out;
        return out.substr(said.size(), out.find('\n') - said.size());
    }
};

TEST_P(FileCommandsTest, CreateMakesTheDefaultsAndNeverOverwrites) {
    std::string const fresh = NewCompany("new");
    EXPECT_NE(std::string::npos, PMTest::Out("create F --admin boss", fresh)
                                     .find("administrator boss (user 101) holds Admin"));
    nlohmann::json info = Info(fresh);
    EXPECT_EQ("27 27 false 232 8 1",
              info["catalogue"]["version"].dump() + " " + info["storedVersion"].dump() + " " +
                  info["upgradeOnNextChange"].dump() + " " +
                  info["entitlements"]["catalogue"].dump() + " " + info["roles"]["total"].dump() +
                  " " + info["users"].dump());
    std::string before = Contents(fresh);
    PMTest::Result again = Pmctl("create F --admin boss", fresh);
    EXPECT_EQ(Pmctl::kExitBadInput, again.code);
    EXPECT_EQ(OnServer() ? "pmctl: Cannot create company database '" + fresh +
                               "': the database is not empty: it holds change_history, "
                               "company_metadata, entitlements and 5 more.\n"
                         : "pmctl: " + fresh +
                               ": the file exists already; create never overwrites a file\n",
              again.err);
    EXPECT_EQ(before, Contents(fresh));
}

TEST_P(FileCommandsTest, OpeningWithANewerCatalogueUpgradesOnceAndAnOlderOneIsRefused) {
    std::string const old = NewCompany("old");
    std::string const version26 = Catalogue(26);
    PMTest::Out("create F --catalogue " + version26, old);
    EXPECT_EQ(true, Info(old)["upgradeOnNextChange"]);

    // A copy of the file as it was, then the upgrade and, in the same change,
    // the check of what an upgrade can leave short.
    std::string const upgrade =
        PMTest::Out("upgrade F --catalogue " + PMTest::ShippedCatalogue(), old);
    if (OnServer()) {
        EXPECT_EQ(0u, upgrade.find(kNoCopy)) << upgrade;
    } else {
        EXPECT_EQ(26, Info(SavedCopy(upgrade), version26)["storedVersion"]);
    }
    EXPECT_EQ(upgrade.substr(upgrade.find('\n') + 1),
              "upgraded " + old +
                  " from version 26 (216 catalogue entitlements) to 27 (216 catalogue "
                  "entitlements)\nAdmin: in order\nExternal Accountant: in order\nbank "
                  "accounts and assignments: in order\n");
    nlohmann::json info = Info(old);
    EXPECT_EQ(27, info["storedVersion"]);
    EXPECT_EQ(false, info["upgradeOnNextChange"]);

    // Version 26 would merge the file back: refused, and nothing written.
    std::string before = Contents(old);
    PMTest::Result refused = Pmctl("info F --catalogue " + version26, old);
    EXPECT_EQ(Pmctl::kExitBadInput, refused.code);
    EXPECT_NE(std::string::npos,
              refused.err.find("its permission data is version 27, newer than version 26"));
    EXPECT_EQ(before, Contents(old));
}

// A reset copies a file as it was beside it, then leaves only the
// administrator with a role.
TEST_P(FileCommandsTest, ResetKeepsACopyAndLeavesOnlyTheAdministratorWithARole) {
    std::string const reset = Out("reset F --yes");
    EXPECT_NE(std::string::npos, reset.find("  admin: Admin\n  carol: no role\n  dave: no role\n"));
    std::string const held = "SELECT count(*) FROM user_roles WHERE role_id <> 0";
    EXPECT_EQ("0", Query(held));
    if (OnServer()) {
        EXPECT_EQ(0u, reset.find(kNoCopy)) << reset;
    } else {
        std::string const copy = SavedCopy(reset);
        EXPECT_EQ(m_File + ".", copy.substr(0, m_File.size() + 1));
        EXPECT_EQ(".bak", copy.substr(copy.size() - 4));
        EXPECT_EQ("3", PMTest::QueryFile(copy, held));
    }
    nlohmann::json info = Info(m_File);
    EXPECT_EQ("8 3", info["roles"]["total"].dump() + " " + info["users"].dump());
}

INSTANTIATE_ON_BOTH_ENGINES(FileCommandsTest);

} // namespace
