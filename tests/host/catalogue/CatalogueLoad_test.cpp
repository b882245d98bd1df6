#include <host/catalogue/Catalogue.h>

#include <Defcat/Defcat.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace {

std::string const kDoc = R"({"format": 1, "features": [
  {"id": "0", "name": "Data", "parameters": ["-1", "0", "31", "240"]},
  {"id": "5", "name": "Five", "enabled": true, "parameters": ["100000", "7"]},
  {"id": "100000", "name": "Root", "parameters": ["-1", "1"]}],
 "roles": [
  {"id": "BASE_ROLE", "name": "Base", "grants": [{"actions": [], "features": ["0", "5", "100000"]}]},
  {"id": "A", "name": "Admin", "private": false, "grants": [{"actions": [0, 8], "features": ["5"]}]}],
 "applications": [{"id": "App", "useRole": "A"}],
 "flavors": [{"id": "F", "defaultRoles": ["A"]}], "currentFlavor": "F"})";

// kDoc with its first occurrence of from replaced by to.
std::string Edit(std::string const& from, std::string const& to) {
    std::string text = kDoc;
    std::size_t const at = text.find(from);
    return at == std::string::npos ? "edit not found: " + from : text.replace(at, from.size(), to);
}

template <class T> std::vector<std::string> Ids(DefcatObjectPtrList<T> const& list) {
    std::vector<std::string> ids;
    for (std::size_t i = 0; i < list.size(); ++i) {
        ids.push_back(list[i]->GetID().c_str());
    }
    return ids;
}

class catalogue_load : public ::testing::Test {
protected:
    void TearDown() override { Host::UnloadCatalogue(); }
};

TEST_F(catalogue_load, MalformedCataloguesAreRefusedWithPlaceAndFault) {
    struct Case {
        std::string json;
        std::string message; // after "inline.json"
    };
    std::string const base = R"({"actions": [], "features": ["0", "5", "100000"]})";
    Case const cases[] = {
        {"{\n  \"format\": 1,\n  \"features\": [}\n",
         ":3:16: invalid JSON: syntax error while parsing value - unexpected '}'; expected '[', "
         "'{', or a literal"},
        {R"({"features": [{"id": 1e999}]})",
         ": $.features[0].id: invalid JSON: number overflow parsing '1e999'"},
        {R"({"a b": [{}, {"x": 1, "x": 2}]})", ": $[\"a b\"][1]: duplicate key \"x\""},
        {"[]", ": $: expected an object, found an array"},
        {Edit(R"("format": 1)", R"("format": 1, "flavour": 1)"), ": $: unknown key \"flavour\""},
        {Edit(R"("format": 1, )", ""), ": $: missing key \"format\""},
        {Edit(R"("format": 1)", R"("format": 2)"), ": $.format: unsupported format 2, expected 1"},
        {Edit(R"("id": "5")", R"("id": "05")"),
         ": $.features[1].id: feature id \"05\" is not a decimal number from 0 to 299999 without "
         "leading zeros"},
        {Edit(R"("id": "5")", R"("id": "300000")"),
         ": $.features[1].id: feature id \"300000\" is not a decimal number from 0 to 299999 "
         "without leading zeros"},
        {Edit(R"("id": "100000")", R"("id": "5")"),
         ": $.features[2].id: duplicate feature id \"5\" (first at $.features[1])"},
        {Edit(R"("Five")", R"("Fi\u0000ve")"),
         ": $.features[1].name: text contains a NUL character"},
        {Edit("Five", std::string(512, 'x')),
         ": $.features[1].name: text is longer than 511 bytes"},
        {Edit(R"("enabled": true)", R"("enabled": "yes")"),
         ": $.features[1].enabled: expected a boolean, found a string"},
        {Edit(R"(["100000", "7"])", R"(["100000"])"),
         ": $.features[1].parameters: feature \"5\" needs parameters 0 (parent id) and 1 (attrs), "
         "found 1"},
        {Edit(R"("7")", R"("4294967296")"),
         ": $.features[1].parameters[1]: attrs \"4294967296\" is not an integer"},
        {Edit(R"(, "31", "240")", ""),
         ": $.features[0].parameters: feature \"0\" needs parameters 0 (parent id), 1 (attrs), 2 "
         "(version) and 3 (entitlement count), found 2"},
        {Edit(R"("Data")", R"("Permission-Data")"),
         ": $.features[0].name: the name of feature \"0\" must not contain \"-\""},
        {Edit(R"("240")", R"("-2")"),
         ": $.features[0].parameters[3]: entitlement count \"-2\" is not a decimal number"},
        {Edit(R"("BASE_ROLE")", R"("BASE")"), ": $.roles: no role \"BASE_ROLE\""},
        {Edit(R"("id": "100000")", R"("id": "100002")"),
         ": $.features: feature \"100002\" follows a gap: ids from 100000 must have no gaps, "
         "and \"100000\" is missing"},
        {Edit(base, ""), ": $.roles[0]: role \"BASE_ROLE\" has no grant listing the features"},
        {Edit(R"(["0", "5", "100000"])", R"(["0", "100000", "5"])"),
         ": $.roles[0].grants[0].features[2]: feature \"5\" is not in ascending id order after "
         "\"100000\""},
        {Edit(R"(["0", "5", "100000"])", R"(["0", "100000"])"),
         ": $.roles[0].grants[0].features: feature \"5\" is missing from the first grant of "
         "\"BASE_ROLE\""},
        {Edit(R"("id": "A")", R"("id": "BASE_ROLE")"),
         ": $.roles[1].id: duplicate role id \"BASE_ROLE\" (first at $.roles[0])"},
        {Edit(R"("Admin")", R"("Thirty characters in this name")"),
         ": $.roles[1].name: role name \"Thirty characters in this name\" is longer than 29 "
         "characters"},
        {Edit(R"(["5"])", R"(["5", "6"])"),
         ": $.roles[1].grants[0].features[1]: unknown feature \"6\""},
        {Edit(R"(["5"])", R"(["5", "5"])"),
         ": $.roles[1].grants[0].features[1]: feature \"5\" is granted twice in role \"A\""},
        {Edit(R"(["5"]})", R"(["5"]}, {"actions": [], "features": "*"})"),
         ": $.roles[1].grants[1].features: feature \"5\" is granted twice in role \"A\""},
        {Edit("[0, 8]", "[0, 9]"),
         ": $.roles[1].grants[0].actions[1]: user action type 9 is outside 0..8"},
        {Edit("[0, 8]", "[0, 8.0]"),
         ": $.roles[1].grants[0].actions[1]: expected an integer, found a floating-point number"},
        {Edit(R"(["A"])", R"(["A", "Z"])"), ": $.flavors[0].defaultRoles[1]: unknown role \"Z\""},
        {Edit(R"(["A"])", R"(["A", "A"])"),
         ": $.flavors[0].defaultRoles[1]: role \"A\" is listed twice"},
        {Edit(R"("currentFlavor": "F")", R"("currentFlavor": "G")"),
         ": $.currentFlavor: unknown flavor \"G\""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.json);
        Host::CatalogueResult const result = Host::LoadCatalogueText(c.json, "inline.json");
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(result.message, "inline.json" + c.message);
        EXPECT_FALSE(Host::GetCatalogueInfo().loaded);
    }
    EXPECT_EQ(Host::LoadCatalogueText(kDoc, "inline.json").message, "");
}

TEST_F(catalogue_load, FilesAreNamedInMessages) {
    std::string const path = ::testing::TempDir() + "catalogue_load_test.json";
    std::remove(path.c_str());
    EXPECT_EQ(Host::LoadCatalogueFile(path).message,
              path + ": cannot open: No such file or directory");
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::fputs("{\"format\": 1,,}", file);
    std::fclose(file);
    EXPECT_EQ(Host::LoadCatalogueFile(path).message,
              path + ":1:14: invalid JSON: syntax error while parsing object key - unexpected "
                     "','; expected string literal");
    // What never ends or is far too large is refused before it is read.
    EXPECT_EQ(Host::LoadCatalogueFile("/dev/zero").message, "/dev/zero: not a regular file");
    ASSERT_EQ(0, ::truncate(path.c_str(), 64LL * 1024 * 1024 + 1));
    EXPECT_EQ(Host::LoadCatalogueFile(path).message,
              path + ": 67108865 bytes, more than a catalogue's limit of 67108864");
    std::remove(path.c_str());
}

std::string const kRich = R"({"format": 1, "product": "Test Product", "features": [
  {"id": "100000", "name": "Root", "parameters": ["-1", "1"]},
  {"id": "12", "name": "Twelve", "enabled": false, "parameters": ["100000", "6"]},
  {"id": "0", "name": "PermissionData", "parameters": ["-1", "0", "31", "240"]},
  {"id": "7", "name": "Seven", "parameters": ["100000", "7", "extra"]}],
 "roles": [{"id": "BASE_ROLE", "name": "Base", "grants": [{"actions": [], "features": "*"}]},
  {"id": "ADMIN", "name": "Admin", "description": "All of it", "visible": false, "private": true,
   "grants": [{"actions": [0, 2, 5], "features": ["12", "7"]},
              {"id": "second", "actions": [8], "features": ["100000"]}]},
  {"id": "CLERK", "name": "Clerk"}],
 "applications": [{"id": "App1", "useRole": "CLERK"}, {"id": "App2"}],
 "flavors": [{"id": "F1", "defaultRoles": ["CLERK"]},
             {"id": "F2", "defaultRoles": ["BASE_ROLE", "ADMIN", "CLERK"]}],
 "currentFlavor": "F2"})";

// What the library reads of features, roles and grants is checked through the
// store's import of inline catalogues; here, what only the host answers.
TEST_F(catalogue_load, LoadedCatalogueAnswersTheLookups) {
    ASSERT_EQ(Host::LoadCatalogueText(kRich, "rich.json").message, "");
    for (char const* unknown : {"8", "007", "base_role", "", static_cast<char const*>(nullptr)}) {
        EXPECT_FALSE(Defcat::Feature::FindByID(unknown) || Defcat::Role::FindByID(unknown) ||
                     Defcat::SDKApplication::FindByID(unknown));
    }
    // "*" grants every feature, in ascending id order.
    DefcatObjectPtrList<Defcat::Entitlement> grants;
    DefcatObjectPtrList<Defcat::Feature> features;
    Defcat::Role::FindByID("BASE_ROLE")->GetEntitlements(&grants, false);
    grants[0]->GetFeatures(&features, false);
    EXPECT_EQ(Ids(features), (std::vector<std::string>{"0", "7", "12", "100000"}));
    EXPECT_STREQ(Defcat::SDKApplication::FindByID("App1")->GetUseRole(), "CLERK");
    EXPECT_TRUE(Defcat::SDKApplication::FindByID("App2")->GetUseRole().IsEmpty());
    auto_init_ptr<Defcat::ProductFlavor> flavor = Defcat::ProductFlavor::GetCurrent();
    ASSERT_TRUE(flavor);
    EXPECT_STREQ(flavor->GetID(), "F2");
    DefcatObjectPtrList<Defcat::Role> roles;
    roles.push_back(Defcat::Role::FindByID("CLERK").get());
    flavor->GetDefaultRoleList()->GetRoles(&roles, true);
    EXPECT_EQ(Ids(roles), (std::vector<std::string>{"CLERK", "BASE_ROLE", "ADMIN", "CLERK"}));

    Host::CatalogueInfo const info = Host::GetCatalogueInfo();
    EXPECT_EQ(info.sourceName + "|" + info.product + "|" + info.versionName + "|" +
                  std::to_string(info.permissionDataVersion) + "|" +
                  std::to_string(info.entitlementCount) + "|" + info.roles[1].name + "|" +
                  info.applications[1].id + "|" + info.flavors[0] + "|" + info.currentFlavor,
              "rich.json|Test Product|PermissionData|31|240|Admin|App2|F1|F2");
    EXPECT_EQ(info.defaultRoles, (std::vector<std::string>{"BASE_ROLE", "ADMIN", "CLERK"}));
}

TEST_F(catalogue_load, RefusedLoadKeepsThePreviousCatalogue) {
    ASSERT_TRUE(Host::LoadCatalogueText(kRich, "rich.json").ok);
    auto_init_ptr<Defcat::Role> admin = Defcat::Role::FindByID("ADMIN");
    EXPECT_FALSE(Host::LoadCatalogueText(Edit(R"("BASE_ROLE")", R"("X")"), "bad.json").ok);
    EXPECT_STREQ(Defcat::ProductFlavor::GetCurrent()->GetID(), "F2");
    EXPECT_EQ(Defcat::Role::FindByID("ADMIN").get(), admin.get());
    EXPECT_STREQ(admin->GetName(), "Admin");
    EXPECT_EQ(Host::GetCatalogueInfo().sourceName, "rich.json");

    ASSERT_TRUE(Host::LoadCatalogueText(kDoc, "small.json").ok);
    EXPECT_STREQ(Defcat::ProductFlavor::GetCurrent()->GetID(), "F");
    EXPECT_FALSE(Defcat::Role::FindByID("ADMIN"));

    Host::UnloadCatalogue();
    EXPECT_FALSE(Defcat::ProductFlavor::GetCurrent() || Defcat::Role::FindByID("A") ||
                 Defcat::Feature::FindByID("0") || Defcat::SDKApplication::FindByID("App") ||
                 Host::GetCatalogueInfo().loaded);
}

} // namespace
