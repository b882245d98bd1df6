// pmctl create, info, upgrade and reset on real company files and databases.
// A copy of the company as it was is made beside a file before a reset or an
// upgrade; on a server the command says that none was made.
#include "support/PmctlTesting.h"
#include "support/RecordTesting.h"

namespace {

class FileCommandsTest : public PMTest::CommandTest {
protected:
    nlohmann::json Info(std::string const& file, std::string const& catalogue = "") {
        PMTest::Result info =
            Pmctl("info F --json" + (catalogue.empty() ? "" : " --catalogue " + catalogue), file);
        EXPECT_EQ(0, info.code) << info.err;
        return nlohmann::json::parse(info.out);
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
    PMTest::Result created = Pmctl("create F --admin boss", fresh);
    ASSERT_EQ(0, created.code) << created.err;
    EXPECT_NE(std::string::npos, created.out.find("administrator boss (user 101) holds Admin"));
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
    ASSERT_EQ(0, Pmctl("create F --catalogue " + version26, old).code);
    EXPECT_EQ(true, Info(old)["upgradeOnNextChange"]);

    // A copy of the file as it was, then the upgrade and, in the same change,
    // the check of what an upgrade can leave short.
    PMTest::Result upgrade = Pmctl("upgrade F --catalogue " + PMTest::ShippedCatalogue(), old);
    EXPECT_EQ(0, upgrade.code) << upgrade.err;
    if (OnServer()) {
        EXPECT_EQ(0u, upgrade.out.find(kNoCopy)) << upgrade.out;
    } else {
        EXPECT_EQ(26, Info(SavedCopy(upgrade.out), version26)["storedVersion"]);
    }
    EXPECT_EQ(upgrade.out.substr(upgrade.out.find('\n') + 1),
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
    PMTest::Result reset = Pmctl("reset F --yes");
    ASSERT_EQ(0, reset.code) << reset.err;
    EXPECT_NE(std::string::npos,
              reset.out.find("  admin: Admin\n  carol: no role\n  dave: no role\n"));
    std::string const held = "SELECT count(*) FROM user_roles WHERE role_id <> 0";
    EXPECT_EQ("0", Query(held));
    if (OnServer()) {
        EXPECT_EQ(0u, reset.out.find(kNoCopy)) << reset.out;
    } else {
        std::string const copy = SavedCopy(reset.out);
        EXPECT_EQ(m_File + ".", copy.substr(0, m_File.size() + 1));
        EXPECT_EQ(".bak", copy.substr(copy.size() - 4));
        EXPECT_EQ("3", PMTest::QueryFile(copy, held));
    }
    nlohmann::json info = Info(m_File);
    EXPECT_EQ("8 3", info["roles"]["total"].dump() + " " + info["users"].dump());
}

INSTANTIATE_ON_BOTH_ENGINES(FileCommandsTest);

} // namespace
