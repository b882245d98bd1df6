// pmctl create, info, upgrade and reset on real company files.
#include "support/PmctlTesting.h"

#include <fstream>

namespace {

using PMTest::Capture;
using PMTest::ReadBytes;

class FileCommandsTest : public PMTest::CommandTest {
protected:
    nlohmann::json Info(Pmctl::FileArgs args) {
        args.json = true;
        PMTest::Result info = Capture([&](Pmctl::Io io) { return Pmctl::InfoCommand(args, io); });
        EXPECT_EQ(0, info.code) << info.err;
        return nlohmann::json::parse(info.out);
    }
    static int Create(Pmctl::FileArgs const& args) {
        return Capture([&](Pmctl::Io io) { return Pmctl::CreateCommand(args, "admin", io); }).code;
    }
    // The shipped catalogue with another permission data version.
    std::string CatalogueWithVersion(int version) {
        nlohmann::json catalogue = nlohmann::json::parse(ReadBytes(PMTest::ShippedCatalogue()));
        for (nlohmann::json& feature : catalogue["features"]) {
            if (feature["id"] == "0") {
                feature["parameters"][2] = std::to_string(version);
            }
        }
        std::string path = Scratch("catalogue-" + std::to_string(version) + ".json");
        std::ofstream(path) << catalogue.dump();
        return path;
    }
};

TEST_F(FileCommandsTest, CreateMakesTheDefaultsAndNeverOverwrites) {
    Pmctl::FileArgs fresh{Scratch("new.pmco"), "", false};
    PMTest::Result created =
        Capture([&](Pmctl::Io io) { return Pmctl::CreateCommand(fresh, "boss", io); });
    ASSERT_EQ(0, created.code) << created.err;
    EXPECT_NE(std::string::npos, created.out.find("administrator boss (user 101) holds Admin"));
    nlohmann::json info = Info(fresh);
    EXPECT_EQ(27, info["catalogue"]["version"]);
    EXPECT_EQ(27, info["storedVersion"]);
    EXPECT_EQ(false, info["upgradeOnNextChange"]);
    EXPECT_EQ(232, info["entitlements"]["catalogue"]);
    EXPECT_EQ(8, info["roles"]["total"]);
    EXPECT_EQ(1, info["users"]);

    std::string before = ReadBytes(fresh.file);
    PMTest::Result again =
        Capture([&](Pmctl::Io io) { return Pmctl::CreateCommand(fresh, "boss", io); });
    EXPECT_EQ(Pmctl::kExitBadInput, again.code);
    EXPECT_EQ("pmctl: " + fresh.file +
                  ": the file exists already; create never overwrites a file\n",
              again.err);
    EXPECT_EQ(before, ReadBytes(fresh.file));
}

TEST_F(FileCommandsTest, OpeningWithANewerCatalogueUpgradesOnceAndAnOlderOneIsRefused) {
    Pmctl::FileArgs old{Scratch("old.pmco"), CatalogueWithVersion(26), false};
    ASSERT_EQ(0, Create(old));
    Pmctl::FileArgs current{old.file, "", false};

    PMTest::Result upgrade =
        Capture([&](Pmctl::Io io) { return Pmctl::UpgradeCommand(current, io); });
    EXPECT_EQ(0, upgrade.code) << upgrade.err;
    // A copy of the file as it was, then the upgrade and, in the same change,
    // the check of what an upgrade can leave short.
    std::string const copied = "saved a copy of the file as it was: " + old.file + ".";
    ASSERT_EQ(0u, upgrade.out.find(copied)) << upgrade.out;
    std::string const copy =
        upgrade.out.substr(copied.size() - old.file.size() - 1,
                           upgrade.out.find('\n') - copied.size() + old.file.size() + 1);
    EXPECT_EQ(upgrade.out.substr(upgrade.out.find('\n') + 1),
              "upgraded " + old.file +
                  " from version 26 (216 catalogue entitlements) to 27 (216 catalogue "
                  "entitlements)\nAdmin: in order\nExternal Accountant: in order\nbank "
                  "accounts and assignments: in order\n");
    EXPECT_EQ(26, Info(Pmctl::FileArgs{copy, CatalogueWithVersion(26), false})["storedVersion"]);
    nlohmann::json info = Info(current);
    EXPECT_EQ(27, info["storedVersion"]);
    EXPECT_EQ(false, info["upgradeOnNextChange"]);

    // Version 26 would merge the file back: refused, and nothing written.
    std::string before = ReadBytes(old.file);
    PMTest::Result refused = Capture([&](Pmctl::Io io) { return Pmctl::InfoCommand(old, io); });
    EXPECT_EQ(Pmctl::kExitBadInput, refused.code);
    EXPECT_NE(std::string::npos,
              refused.err.find("its permission data is version 27, newer than version 26"));
    EXPECT_EQ(before, ReadBytes(old.file));

    Pmctl::FileArgs other{Scratch("other.pmco"), CatalogueWithVersion(26), false};
    ASSERT_EQ(0, Create(other));
    nlohmann::json opened = Info(Pmctl::FileArgs{other.file, "", false});
    EXPECT_EQ(26, opened["storedVersion"]);
    EXPECT_EQ(true, opened["upgradeOnNextChange"]);
}

// A reset copies the file as it was beside it, then leaves only the
// administrator with a role.
TEST_F(FileCommandsTest, ResetKeepsACopyAndLeavesOnlyTheAdministratorWithARole) {
    PMTest::Result reset = Run(Pmctl::ResetCommand);
    ASSERT_EQ(0, reset.code) << reset.err;
    std::string const said = "saved a copy of the file as it was: " + m_File + ".";
    ASSERT_EQ(0u, reset.out.find(said)) << reset.out;
    std::string const copy = reset.out.substr(
        said.size() - m_File.size() - 1, reset.out.find('\n') - said.size() + m_File.size() + 1);
    EXPECT_EQ(".bak", copy.substr(copy.size() - 4));
    EXPECT_NE(std::string::npos,
              reset.out.find("  admin: Admin\n  carol: no role\n  dave: no role\n"));
    std::string const held = "SELECT count(*) FROM user_roles WHERE role_id <> 0";
    EXPECT_EQ("3 0", PMTest::Sql(copy, held) + " " + PMTest::Sql(m_File, held));
    nlohmann::json info = Info(File());
    EXPECT_EQ(8, info["roles"]["total"]);
    EXPECT_EQ(3, info["users"]);
}

} // namespace
