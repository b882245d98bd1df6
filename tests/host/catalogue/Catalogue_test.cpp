// The catalogue read from JSON: what is refused, with its place and fault,
// and what a refused load leaves.
#include <host/catalogue/Catalogue.h>

#include <Defcat/Defcat.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

namespace {

// Role "A" has a name of the longest length allowed, 29 characters.
std::string const kDoc = R"({"format": 1, "features": [
  {"id": "0", "name": "Data", "parameters": ["-1", "0", "31", "240"]},
  {"id": "5", "name": "Five", "enabled": true, "parameters": ["100000", "7"]},
  {"id": "100000", "name": "Root", "parameters": ["-1", "1"]}],
 "roles": [
  {"id": "BASE_ROLE", "name": "Base", "grants": [{"actions": [], "features": ["0", "5", "100000"]}]},
  {"id": "A", "name": "Administrator of all accounts", "grants": [{"actions": [0, 8], "features": ["5"]}]}],
 "flavors": [{"id": "F", "defaultRoles": ["A"]}], "currentFlavor": "F"})";

// kDoc with its first occurrence of from replaced by to.
std::string Edit(std::string const& from, std::string const& to) {
    std::string text = kDoc;
    std::size_t const at = text.find(from);
    return at == std::string::npos ? "edit not found: " + from : text.replace(at, from.size(), to);
}

class CatalogueTest : public ::testing::Test {
protected:
    void TearDown() override { Host::UnloadCatalogue(); }
};

TEST_F(CatalogueTest, MalformedCataloguesAreRefusedWithPlaceAndFault) {
    std::string const base = R"({"actions": [], "features": ["0", "5", "100000"]})";
    // The document and the message after "inline.json".
    std::pair<std::string, std::string> const cases[] = {
        {"{\n  \"format\": 1,\n  \"features\": [}\n",
         ":3:16: invalid JSON: syntax error while parsing value - unexpected '}'; expected '[', "
         "'{', or a literal"},
        {R"({"a b": [{}, {"x": 1, "x": 2}]})", ": $[\"a b\"][1]: duplicate key \"x\""},
        {Edit(R"("format": 1)", R"("format": 1, "flavour": 1)"), ": $: unknown key \"flavour\""},
        {Edit(R"("id": "5")", R"("id": "05")"),
         ": $.features[1].id: feature id \"05\" is not a decimal number from 0 to 299999 without "
         "leading zeros"},
        {Edit(R"("id": "100000")", R"("id": "5")"),
         ": $.features[2].id: duplicate feature id \"5\" (first at $.features[1])"},
        {Edit("Five", std::string(512, 'x')),
         ": $.features[1].name: text is longer than 511 bytes"},
        {Edit(R"(["100000", "7"])", R"(["100000"])"),
         ": $.features[1].parameters: feature \"5\" needs parameters 0 (parent id) and 1 (attrs), "
         "found 1"},
        {Edit(R"(, "31", "240")", ""),
         ": $.features[0].parameters: feature \"0\" needs parameters 0 (parent id), 1 (attrs), 2 "
         "(version) and 3 (entitlement count), found 2"},
        {Edit(R"("Data")", R"("Permission-Data")"),
         ": $.features[0].name: the name of feature \"0\" must not contain \"-\""},
        {Edit(R"("BASE_ROLE")", R"("BASE")"), ": $.roles: no role \"BASE_ROLE\""},
        {Edit(R"("id": "100000")", R"("id": "100002")"),
         ": $.features: feature \"100002\" follows a gap: ids from 100000 must have no gaps, "
         "and \"100000\" is missing"},
        {Edit(base, ""), ": $.roles[0]: role \"BASE_ROLE\" has no grant listing the features"},
        {Edit(R"(["0", "5", "100000"])", R"(["0", "100000", "5"])"),
         ": $.roles[0].grants[0].features[2]: feature \"5\" is not in ascending id order after "
         "\"100000\""},
        {Edit(R"("id": "A")", R"("id": "BASE_ROLE")"),
         ": $.roles[1].id: duplicate role id \"BASE_ROLE\" (first at $.roles[0])"},
        {Edit("all accounts", "all accounts!"),
         ": $.roles[1].name: role name \"Administrator of all accounts!\" is longer than 29 "
         "characters"},
        {Edit(R"(["5"])", R"(["5", "6"])"),
         ": $.roles[1].grants[0].features[1]: unknown feature \"6\""},
        {Edit(R"(["5"])", R"(["5", "5"])"),
         ": $.roles[1].grants[0].features[1]: feature \"5\" is granted twice in role \"A\""},
        {Edit("[0, 8]", "[0, 9]"),
         ": $.roles[1].grants[0].actions[1]: user action type 9 is outside 0..8"},
        {Edit(R"(["A"])", R"(["A", "Z"])"), ": $.flavors[0].defaultRoles[1]: unknown role \"Z\""},
    };
    for (auto const& [json, message] : cases) {
        SCOPED_TRACE(json);
        Host::CatalogueResult const result = Host::LoadCatalogueText(json, "inline.json");
        EXPECT_EQ(result.message, "inline.json" + message);
        EXPECT_FALSE(result.ok || Host::GetCatalogueInfo().loaded);
    }
    EXPECT_EQ(Host::LoadCatalogueText(kDoc, "inline.json").message, "");
}

// What never ends or is far too large is refused before it is read.
TEST_F(CatalogueTest, FilesAreNamedInMessages) {
    std::string const path = ::testing::TempDir() + "catalogue_test.json";
    std::remove(path.c_str());
    EXPECT_EQ(Host::LoadCatalogueFile(path).message,
              path + ": cannot open: No such file or directory");
    EXPECT_EQ(Host::LoadCatalogueFile("/dev/zero").message, "/dev/zero: not a regular file");
    std::ofstream(path).close();
    std::filesystem::resize_file(path, 64LL * 1024 * 1024 + 1);
    EXPECT_EQ(Host::LoadCatalogueFile(path).message,
              path + ": 67108865 bytes, more than a catalogue's limit of 67108864");
    std::remove(path.c_str());
}

TEST_F(CatalogueTest, RefusedLoadKeepsThePreviousCatalogue) {
    ASSERT_TRUE(Host::LoadCatalogueText(kDoc, "first.json").ok);
    auto_init_ptr<Defcat::Role> admin = Defcat::Role::FindByID("A");
    EXPECT_FALSE(Host::LoadCatalogueText(Edit(R"("BASE_ROLE")", R"("X")"), "bad.json").ok);
    EXPECT_EQ(Defcat::Role::FindByID("A").get(), admin.get());
    EXPECT_EQ(std::string(Defcat::ProductFlavor::GetCurrent()->GetID()) + " " +
                  Host::GetCatalogueInfo().sourceName,
              "F first.json");
    Host::UnloadCatalogue();
    EXPECT_FALSE(Defcat::ProductFlavor::GetCurrent() || Defcat::Role::FindByID("A") ||
                 Host::GetCatalogueInfo().loaded);
}

} // namespace
