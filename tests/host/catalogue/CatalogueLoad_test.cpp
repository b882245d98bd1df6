#include <host/catalogue/Catalogue.h>

#include <Defcat/Defcat.h>
#include <Util/StringCompare.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string const kFeatures = R"([
  {"id": "0", "name": "Data", "parameters": ["-1", "0", "31", "240"]},
  {"id": "5", "name": "Five", "parameters": ["100000", "7"]},
  {"id": "100000", "name": "Root", "parameters": ["-1", "1"]}])";
std::string const kRoles = R"([
  {"id": "BASE_ROLE", "name": "Base", "grants": [{"actions": [], "features": ["0", "5", "100000"]}]},
  {"id": "A", "name": "Admin", "grants": [{"actions": [0, 8], "features": "*"}]}])";
std::string const kTail = R"("applications": [{"id": "App", "useRole": "A"}],
  "flavors": [{"id": "F", "defaultRoles": ["A"]}], "currentFlavor": "F")";

std::string Doc(std::string const& features = kFeatures, std::string const& roles = kRoles,
                std::string const& tail = kTail) {
    return "{\"format\": 1, \"features\": " + features + ",\n \"roles\": " + roles + ",\n " + tail +
           "}";
}

std::string Str(TString const& text) {
    return text.c_str();
}

class CatalogueLoadTest : public ::testing::Test {
protected:
    void TearDown() override { Host::UnloadCatalogue(); }
};

TEST_F(CatalogueLoadTest, MalformedCataloguesAreRefusedWithPlaceAndFault) {
    struct Case {
        char const* name;
        std::string json;
        std::string message;
    };
    std::string const P = "inline.json: ";
    std::string const roleA =
        R"({"id": "A", "name": "Admin", "grants": [{"actions": [0], "features": ["5"]}]})";
    std::string const base =
        R"({"id": "BASE_ROLE", "name": "Base", "grants": [{"actions": [], "features": "*"}]})";
    Case const cases[] = {
        {"syntax", "{\n  \"format\": 1,\n  \"features\": [}\n",
         "inline.json:3:16: invalid JSON: syntax error while parsing value - unexpected '}'; "
         "expected '[', '{', or a literal"},
        {"empty text", "",
         "inline.json:1:1: invalid JSON: syntax error while parsing value - unexpected end of "
         "input; expected '[', '{', or a literal"},
        {"number overflow", R"({"format": 1, "features": [{"id": 1e999}]})",
         P + "$.features[0].id: invalid JSON: number overflow parsing '1e999'"},
        {"duplicate key",
         Doc(R"([{"id": "5", "name": "Five", "name": "V", "parameters": ["1", "2"]}])"),
         P + "$.features[0]: duplicate key \"name\""},
        {"duplicate key under odd key", R"({"a b": [{}, {"x": 1, "x": 2}]})",
         P + "$[\"a b\"][1]: duplicate key \"x\""},
        {"root not an object", "[]", P + "$: expected an object, found an array"},
        {"unknown top-level key", Doc(kFeatures, kRoles, kTail + R"(, "flavour": "F")"),
         P + "$: unknown key \"flavour\""},
        {"missing format", R"({"features": []})", P + "$: missing key \"format\""},
        {"unsupported format", R"({"format": 2})",
         P + "$.format: unsupported format 2, expected 1"},
        {"features not an array", Doc("{}"), P + "$.features: expected an array, found an object"},
        {"unknown feature key", Doc(R"([{"id": "5", "name": "F", "enabeld": true}])"),
         P + "$.features[0]: unknown key \"enabeld\""},
        {"feature id a number", Doc(R"([{"id": 5, "name": "F", "parameters": []}])"),
         P + "$.features[0].id: expected a string, found a number"},
        {"feature id with leading zero", Doc(R"([{"id": "05", "name": "F", "parameters": []}])"),
         P + "$.features[0].id: feature id \"05\" is not a decimal number from 0 to 299999 "
             "without leading zeros"},
        {"feature id in the dynamic band",
         Doc(R"([{"id": "300000", "name": "F", "parameters": []}])"),
         P + "$.features[0].id: feature id \"300000\" is not a decimal number from 0 to 299999 "
             "without leading zeros"},
        {"duplicate feature id", Doc(R"([{"id": "5", "name": "F", "parameters": ["1", "1"]},
                 {"id": "5", "name": "G", "parameters": ["1", "1"]}])"),
         P + "$.features[1].id: duplicate feature id \"5\" (first at $.features[0])"},
        {"empty feature name", Doc(R"([{"id": "5", "name": "", "parameters": ["1", "1"]}])"),
         P + "$.features[0].name: empty name"},
        {"NUL in a name", Doc(R"([{"id": "5", "name": "a\u0000b", "parameters": ["1", "1"]}])"),
         P + "$.features[0].name: text contains a NUL character"},
        {"enabled not a boolean",
         Doc(R"([{"id": "5", "name": "F", "enabled": "yes", "parameters": ["1", "1"]}])"),
         P + "$.features[0].enabled: expected a boolean, found a string"},
        {"feature without parameters", Doc(R"([{"id": "5", "name": "F"}])"),
         P + "$.features[0]: missing key \"parameters\""},
        {"feature without attrs", Doc(R"([{"id": "5", "name": "F", "parameters": ["1"]}])"),
         P + "$.features[0].parameters: feature \"5\" needs parameters 0 (parent id) and 1 "
             "(attrs), found 1"},
        {"parameter not a string", Doc(R"([{"id": "5", "name": "F", "parameters": ["1", 7]}])"),
         P + "$.features[0].parameters[1]: expected a string, found a number"},
        {"parent id not an integer",
         Doc(R"([{"id": "5", "name": "F", "parameters": ["1x", "7"]}])"),
         P + "$.features[0].parameters[0]: parent id \"1x\" is not an integer"},
        {"attrs out of range",
         Doc(R"([{"id": "5", "name": "F", "parameters": ["1", "4294967296"]}])"),
         P + "$.features[0].parameters[1]: attrs \"4294967296\" is not an integer"},
        {"version feature without version and count",
         Doc(R"([{"id": "0", "name": "Data", "parameters": ["-1", "0"]}])"),
         P + "$.features[0].parameters: feature \"0\" needs parameters 0 (parent id), 1 (attrs), "
             "2 (version) and 3 (entitlement count), found 2"},
        {"version feature with a hyphen",
         Doc(R"([{"id": "0", "name": "Permission-Data", "parameters": ["-1", "0", "1", "2"]}])"),
         P + "$.features[0].name: the name of feature \"0\" must not contain \"-\""},
        {"version not a number",
         Doc(R"([{"id": "0", "name": "Data", "parameters": ["-1", "0", "3.1", "2"]}])"),
         P + "$.features[0].parameters[2]: version \"3.1\" is not a decimal number"},
        {"count negative",
         Doc(R"([{"id": "0", "name": "Data", "parameters": ["-1", "0", "3", "-2"]}])"),
         P + "$.features[0].parameters[3]: entitlement count \"-2\" is not a decimal number"},
        {"roles missing", R"({"format": 1, "features": []})", P + "$: missing key \"roles\""},
        {"no BASE_ROLE", Doc(kFeatures, "[" + roleA + "]"), P + "$.roles: no role \"BASE_ROLE\""},
        {"BASE_ROLE without grants", Doc(kFeatures, R"([{"id": "BASE_ROLE", "name": "Base"}])"),
         P + "$.roles[0]: role \"BASE_ROLE\" has no grant listing the features"},
        {"BASE_ROLE out of order", Doc(kFeatures, R"([{"id": "BASE_ROLE", "name": "Base",
                             "grants": [{"actions": [], "features": ["0", "100000", "5"]}]}])"),
         P + "$.roles[0].grants[0].features[2]: feature \"5\" is not in ascending id order after "
             "\"100000\""},
        {"BASE_ROLE incomplete", Doc(kFeatures, R"([{"id": "BASE_ROLE", "name": "Base",
                             "grants": [{"actions": [], "features": ["0", "100000"]}]}])"),
         P + "$.roles[0].grants[0].features: feature \"5\" is missing from the first grant of "
             "\"BASE_ROLE\""},
        {"role id empty", Doc(kFeatures, R"([{"id": "", "name": "X"}])"),
         P + "$.roles[0].id: empty role id"},
        {"duplicate role id", Doc(kFeatures, "[" + base + ", " + roleA + ", " + roleA + "]"),
         P + "$.roles[2].id: duplicate role id \"A\" (first at $.roles[1])"},
        {"role name too long",
         Doc(kFeatures, "[" + base + R"(, {"id": "L", "name": "Thirty characters in this name"}])"),
         P + "$.roles[1].name: role name \"Thirty characters in this name\" is longer than 29 "
             "characters"},
        {"grant without actions",
         Doc(kFeatures,
             "[" + base + R"(, {"id": "A", "name": "A", "grants": [{"features": []}]}])"),
         P + "$.roles[1].grants[0]: missing key \"actions\""},
        {"unknown feature in a grant", Doc(kFeatures, "[" + base + R"(, {"id": "A", "name": "A",
                               "grants": [{"actions": [0], "features": ["5", "6"]}]}])"),
         P + "$.roles[1].grants[0].features[1]: unknown feature \"6\""},
        {"feature granted twice",
         Doc(kFeatures, "[" + base + R"(, {"id": "A", "name": "A", "grants": [
                 {"actions": [0], "features": ["5"]}, {"actions": [8], "features": ["0", "5"]}]}])"),
         P + "$.roles[1].grants[1].features[1]: feature \"5\" is granted twice in role \"A\""},
        {"feature granted twice through *",
         Doc(kFeatures, "[" + base + R"(, {"id": "A", "name": "A", "grants": [
                 {"actions": [0], "features": ["5"]}, {"actions": [8], "features": "*"}]}])"),
         P + "$.roles[1].grants[1].features: feature \"5\" is granted twice in role \"A\""},
        {"features neither a list nor *", Doc(kFeatures, "[" + base + R"(, {"id": "A", "name": "A",
                               "grants": [{"actions": [0], "features": "all"}]}])"),
         P + "$.roles[1].grants[0].features: expected an array, found a string"},
        {"user action type out of range", Doc(kFeatures, "[" + base + R"(, {"id": "A", "name": "A",
                               "grants": [{"actions": [0, 9], "features": ["5"]}]}])"),
         P + "$.roles[1].grants[0].actions[1]: user action type 9 is outside 0..8"},
        {"user action type as text", Doc(kFeatures, "[" + base + R"(, {"id": "A", "name": "A",
                               "grants": [{"actions": ["0"], "features": ["5"]}]}])"),
         P + "$.roles[1].grants[0].actions[0]: expected an integer, found a string"},
        {"private not a boolean",
         Doc(kFeatures, "[" + base + R"(, {"id": "A", "name": "A", "private": 1}])"),
         P + "$.roles[1].private: expected a boolean, found a number"},
        {"application with unknown role",
         Doc(kFeatures, kRoles,
             R"("applications": [{"id": "App", "useRole": "Z"}], "flavors": [], "currentFlavor": "F")"),
         P + "$.applications[0].useRole: unknown role \"Z\""},
        {"duplicate application id",
         Doc(kFeatures, kRoles,
             R"("applications": [{"id": "App"}, {"id": "App", "useRole": "A"}], "flavors": [],
                "currentFlavor": "F")"),
         P + "$.applications[1].id: duplicate application id \"App\" (first at $.applications[0])"},
        {"default role unknown",
         Doc(kFeatures, kRoles,
             R"("flavors": [{"id": "F", "defaultRoles": ["A", "Z"]}], "currentFlavor": "F")"),
         P + "$.flavors[0].defaultRoles[1]: unknown role \"Z\""},
        {"default role listed twice",
         Doc(kFeatures, kRoles,
             R"("flavors": [{"id": "F", "defaultRoles": ["A", "A"]}], "currentFlavor": "F")"),
         P + "$.flavors[0].defaultRoles[1]: role \"A\" is listed twice"},
        {"duplicate flavor id",
         Doc(kFeatures, kRoles,
             R"("flavors": [{"id": "F", "defaultRoles": []}, {"id": "F", "defaultRoles": []}],
                "currentFlavor": "F")"),
         P + "$.flavors[1].id: duplicate flavor id \"F\" (first at $.flavors[0])"},
        {"flavor without default roles",
         Doc(kFeatures, kRoles, R"("flavors": [{"id": "F"}], "currentFlavor": "F")"),
         P + "$.flavors[0]: missing key \"defaultRoles\""},
        {"no current flavor",
         Doc(kFeatures, kRoles, R"("flavors": [{"id": "F", "defaultRoles": ["A"]}])"),
         P + "$: missing key \"currentFlavor\""},
        {"unknown current flavor",
         Doc(kFeatures, kRoles,
             R"("flavors": [{"id": "F", "defaultRoles": ["A"]}], "currentFlavor": "G")"),
         P + "$.currentFlavor: unknown flavor \"G\""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        Host::CatalogueResult const result = Host::LoadCatalogueText(c.json, "inline.json");
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(result.message, c.message);
        EXPECT_FALSE(Host::GetCatalogueInfo().loaded);
    }
    ASSERT_EQ(Host::LoadCatalogueText(Doc(), "inline.json").message, "");
}

TEST_F(CatalogueLoadTest, FilesAreReadAndNamedInMessages) {
    std::string const path = ::testing::TempDir() + "catalogue_load_test.json";
    struct Case {
        char const* name;
        std::string content; // empty: no file
        std::string message;
    };
    Case const cases[] = {
        {"missing file", "", path + ": cannot open: No such file or directory"},
        {"bad JSON", "{\"format\": 1,,}",
         path + ":1:14: invalid JSON: syntax error while parsing "
                "object key - unexpected ','; expected string "
                "literal"},
        {"valid", Doc(), ""},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        std::remove(path.c_str());
        if (!c.content.empty()) {
            std::FILE* file = std::fopen(path.c_str(), "wb");
            ASSERT_NE(file, nullptr);
            std::fwrite(c.content.data(), 1, c.content.size(), file);
            std::fclose(file);
        }
        Host::CatalogueResult const result = Host::LoadCatalogueFile(path);
        EXPECT_EQ(result.ok, c.message.empty());
        EXPECT_EQ(result.message, c.message);
    }
    EXPECT_EQ(Host::GetCatalogueInfo().sourceName, path);
    std::remove(path.c_str());
}

std::string const kRich = R"({
  "format": 1,
  "product": "Test Product",
  "features": [
    {"id": "100000", "name": "Root", "parameters": ["-1", "1"]},
    {"id": "12", "name": "Twelve", "enabled": false, "parameters": ["100000", "6"]},
    {"id": "0", "name": "PermissionData", "parameters": ["-1", "0", "31", "240"]},
    {"id": "7", "name": "Seven", "parameters": ["100000", "7", "extra"]}
  ],
  "roles": [
    {"id": "BASE_ROLE", "name": "Base", "grants": [{"actions": [], "features": "*"}]},
    {"id": "ADMIN", "name": "Admin", "description": "All of it", "visible": false, "private": true,
     "grants": [{"actions": [0, 2, 5], "features": ["12", "7"]},
                {"id": "second", "actions": [8], "features": ["100000"]}]},
    {"id": "CLERK", "name": "Clerk"}
  ],
  "applications": [{"id": "App1", "useRole": "CLERK"}, {"id": "App2"}],
  "flavors": [{"id": "F1", "defaultRoles": ["CLERK"]},
              {"id": "F2", "defaultRoles": ["BASE_ROLE", "ADMIN", "CLERK"]}],
  "currentFlavor": "F2"
})";

TEST_F(CatalogueLoadTest, LoadedCatalogueAnswersTheLookups) {
    ASSERT_EQ(Host::LoadCatalogueText(kRich, "rich.json").message, "");

    struct FeatureCase {
        char const* id;
        char const* name;
        bool enabled;
        std::vector<std::string> parameters;
    };
    FeatureCase const features[] = {
        {"0", "PermissionData", true, {"-1", "0", "31", "240"}},
        {"7", "Seven", true, {"100000", "7", "extra"}},
        {"12", "Twelve", false, {"100000", "6"}},
    };
    for (FeatureCase const& c : features) {
        SCOPED_TRACE(c.id);
        auto_init_ptr<Defcat::Feature> feature = Defcat::Feature::FindByID(c.id);
        ASSERT_TRUE(feature);
        EXPECT_EQ(Str(feature->GetID()), c.id);
        EXPECT_EQ(Str(feature->GetName()), c.name);
        EXPECT_EQ(feature->GetEnabled(), c.enabled);
        DefcatObjectPtrList<Defcat::Parameter> parameters;
        feature->GetParameters(&parameters, false);
        ASSERT_EQ(parameters.size(), c.parameters.size());
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            EXPECT_EQ(Str(parameters[i]->GetData()), c.parameters[i]);
            EXPECT_EQ(Str(parameters[i]->GetID()), std::to_string(i));
        }
    }
    for (char const* unknown : {"8", "007", "base_role", ""}) {
        SCOPED_TRACE(unknown);
        EXPECT_FALSE(Defcat::Feature::FindByID(unknown));
        EXPECT_FALSE(Defcat::Role::FindByID(unknown));
        EXPECT_FALSE(Defcat::SDKApplication::FindByID(unknown));
    }
    EXPECT_FALSE(Defcat::Feature::FindByID(nullptr));

    auto_init_ptr<Defcat::Role> admin = Defcat::Role::FindByID("ADMIN");
    ASSERT_TRUE(admin);
    EXPECT_EQ(Str(admin->GetName()), "Admin");
    EXPECT_EQ(Str(admin->GetDescription()), "All of it");
    EXPECT_FALSE(admin->GetVisible());
    EXPECT_TRUE(admin->GetPrivate());
    DefcatObjectPtrList<Defcat::Entitlement> grants;
    admin->GetEntitlements(&grants, false);
    ASSERT_EQ(grants.size(), 2u);
    struct GrantCase {
        char const* id;
        std::vector<int> types;
        std::vector<std::string> features;
    };
    GrantCase const expected[] = {{"ADMIN/0", {0, 2, 5}, {"12", "7"}}, {"second", {8}, {"100000"}}};
    for (std::size_t g = 0; g < 2; ++g) {
        SCOPED_TRACE(expected[g].id);
        EXPECT_EQ(Str(grants[g]->GetID()), expected[g].id);
        DefcatObjectPtrList<Defcat::UserAction> actions;
        grants[g]->GetUserActions(&actions, false);
        std::vector<int> types;
        for (std::size_t i = 0; i < actions.size(); ++i) {
            types.push_back(actions[i]->GetType());
        }
        EXPECT_EQ(types, expected[g].types);
        DefcatObjectPtrList<Defcat::Feature> granted;
        grants[g]->GetFeatures(&granted, false);
        std::vector<std::string> ids;
        for (std::size_t i = 0; i < granted.size(); ++i) {
            ids.push_back(Str(granted[i]->GetID()));
        }
        EXPECT_EQ(ids, expected[g].features);
    }

    auto_init_ptr<Defcat::Role> clerk = Defcat::Role::FindByID("CLERK");
    ASSERT_TRUE(clerk);
    EXPECT_EQ(Str(clerk->GetDescription()), "");
    EXPECT_TRUE(clerk->GetVisible());
    EXPECT_FALSE(clerk->GetPrivate());
    clerk->GetEntitlements(&grants, false);
    EXPECT_EQ(grants.size(), 0u);

    // The first grant of BASE_ROLE comes in ascending id order whatever the file order.
    DefcatObjectPtrList<Defcat::Entitlement> baseGrants;
    Defcat::Role::FindByID("BASE_ROLE")->GetEntitlements(&baseGrants, false);
    DefcatObjectPtrList<Defcat::Feature> all;
    baseGrants[0]->GetFeatures(&all, false);
    std::vector<std::string> allIds;
    for (std::size_t i = 0; i < all.size(); ++i) {
        allIds.push_back(Str(all[i]->GetID()));
    }
    EXPECT_EQ(allIds, (std::vector<std::string>{"0", "7", "12", "100000"}));

    EXPECT_EQ(Str(Defcat::SDKApplication::FindByID("App1")->GetUseRole()), "CLERK");
    EXPECT_EQ(Str(Defcat::SDKApplication::FindByID("App1")->GetID()), "App1");
    EXPECT_TRUE(Defcat::SDKApplication::FindByID("App2")->GetUseRole().IsEmpty());

    auto_init_ptr<Defcat::ProductFlavor> flavor = Defcat::ProductFlavor::GetCurrent();
    ASSERT_TRUE(flavor);
    EXPECT_EQ(Str(flavor->GetID()), "F2");
    DefcatObjectPtrList<Defcat::Role> roles;
    roles.push_back(clerk.get());
    flavor->GetDefaultRoleList()->GetRoles(&roles, true);
    std::vector<std::string> roleIds;
    for (std::size_t i = 0; i < roles.size(); ++i) {
        roleIds.push_back(Str(roles[i]->GetID()));
    }
    EXPECT_EQ(roleIds, (std::vector<std::string>{"CLERK", "BASE_ROLE", "ADMIN", "CLERK"}));
    flavor->GetDefaultRoleList()->GetRoles(&roles, false);
    EXPECT_EQ(roles.size(), 3u);

    Host::CatalogueInfo const info = Host::GetCatalogueInfo();
    EXPECT_TRUE(info.loaded);
    EXPECT_EQ(info.sourceName, "rich.json");
    EXPECT_EQ(info.product, "Test Product");
    EXPECT_EQ(info.versionName, "PermissionData");
    EXPECT_EQ(info.permissionDataVersion, 31);
    EXPECT_EQ(info.entitlementCount, 240);
    EXPECT_EQ(info.featureCount, 4u);
    ASSERT_EQ(info.roles.size(), 3u);
    EXPECT_EQ(info.roles[1].id, "ADMIN");
    EXPECT_EQ(info.roles[1].name, "Admin");
    EXPECT_FALSE(info.roles[1].visible);
    EXPECT_TRUE(info.roles[1].isPrivate);
    ASSERT_EQ(info.applications.size(), 2u);
    EXPECT_EQ(info.applications[0].useRole, "CLERK");
    EXPECT_EQ(info.applications[1].useRole, "");
    EXPECT_EQ(info.flavors, (std::vector<std::string>{"F1", "F2"}));
    EXPECT_EQ(info.currentFlavor, "F2");
    EXPECT_EQ(info.defaultRoles, (std::vector<std::string>{"BASE_ROLE", "ADMIN", "CLERK"}));
}

TEST_F(CatalogueLoadTest, RefusedLoadKeepsThePreviousCatalogue) {
    ASSERT_TRUE(Host::LoadCatalogueText(kRich, "rich.json").ok);
    auto_init_ptr<Defcat::Role> admin = Defcat::Role::FindByID("ADMIN");

    EXPECT_FALSE(Host::LoadCatalogueText(Doc(kFeatures, kRoles, "\"flavors\": []"), "bad.json").ok);
    EXPECT_EQ(Str(Defcat::ProductFlavor::GetCurrent()->GetID()), "F2");
    EXPECT_EQ(Defcat::Role::FindByID("ADMIN").get(), admin.get());
    EXPECT_EQ(Str(admin->GetName()), "Admin");
    EXPECT_EQ(Host::GetCatalogueInfo().sourceName, "rich.json");

    ASSERT_TRUE(Host::LoadCatalogueText(Doc(), "small.json").ok);
    EXPECT_EQ(Str(Defcat::ProductFlavor::GetCurrent()->GetID()), "F");
    EXPECT_FALSE(Defcat::Role::FindByID("ADMIN"));
    EXPECT_TRUE(Defcat::Role::FindByID("A"));

    Host::UnloadCatalogue();
    EXPECT_FALSE(Defcat::ProductFlavor::GetCurrent());
    EXPECT_FALSE(Defcat::Role::FindByID("A"));
    EXPECT_FALSE(Defcat::Feature::FindByID("0"));
    EXPECT_FALSE(Defcat::SDKApplication::FindByID("App"));
    EXPECT_FALSE(Host::GetCatalogueInfo().loaded);
}

} // namespace
