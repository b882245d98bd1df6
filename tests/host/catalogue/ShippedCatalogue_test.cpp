// The product catalogue we ship, against what the library and the host expect of
// its content. (The previous release is checked by its upgrade to this one.)
#include <host/catalogue/Catalogue.h>

#include <Defcat/Defcat.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <set>
#include <string>

namespace {

struct Row {
    std::string name;
    int parent;
    int attrs;
    bool enabled;
};

using Rows = std::map<int, Row>;
using Masks = std::map<int, long>;

// The entitlements as the library imports them: the first grant of BASE_ROLE.
Rows Load(char const* file) {
    Host::CatalogueResult const r =
        Host::LoadCatalogueFile(std::string(PM_CATALOGUE_DIR "/") + file);
    EXPECT_EQ(r.message, "");
    Rows rows;
    DefcatObjectPtrList<Defcat::Entitlement> grants;
    DefcatObjectPtrList<Defcat::Feature> features;
    if (auto_init_ptr<Defcat::Role> base = Defcat::Role::FindByID("BASE_ROLE")) {
        base->GetEntitlements(&grants, false);
        grants[0]->GetFeatures(&features, false);
    }
    for (std::size_t i = 0; i < features.size(); ++i) {
        DefcatObjectPtrList<Defcat::Parameter> parameters;
        features[i]->GetParameters(&parameters, false);
        rows[std::atoi(features[i]->GetID())] =
            Row{features[i]->GetName().c_str(), std::atoi(parameters[0]->GetData()),
                std::atoi(parameters[1]->GetData()), features[i]->GetEnabled()};
    }
    return rows;
}

// Entitlement id -> the mask that the role's grants give it.
Masks RoleMasks(char const* roleId) {
    static long const kBits[] = {1, 32, 16, 2, 4, 0, 0, 0, 8};
    Masks masks;
    DefcatObjectPtrList<Defcat::Entitlement> grants;
    Defcat::Role::FindByID(roleId)->GetEntitlements(&grants, false);
    for (std::size_t g = 0; g < grants.size(); ++g) {
        long mask = 0;
        DefcatObjectPtrList<Defcat::UserAction> actions;
        grants[g]->GetUserActions(&actions, false);
        for (std::size_t a = 0; a < actions.size(); ++a) {
            mask |= kBits[actions[a]->GetType()];
        }
        DefcatObjectPtrList<Defcat::Feature> features;
        grants[g]->GetFeatures(&features, false);
        for (std::size_t f = 0; f < features.size(); ++f) {
            masks[std::atoi(features[f]->GetID())] = mask;
        }
    }
    return masks;
}

// Master entitlement -> the slaves whose masks follow it.
std::map<int, std::vector<int>> const kSlaves = {
    {132, {68, 70, 71}}, {117, {26}},     {118, {104, 107}},   {9, {15}},
    {109, {34, 31}},     {110, {33, 35}}, {111, {41, 76, 75}}, {112, {36, 37, 42}},
    {113, {39, 40, 32}}, {160, {167}},    {161, {168}},        {28, {58}},
    {20, {30}}};

long MaskOf(Masks const& masks, int id) {
    auto const found = masks.find(id);
    return found == masks.end() ? 0 : found->second;
}

class catalogue_shipped : public ::testing::Test {
protected:
    void TearDown() override { Host::UnloadCatalogue(); }
};

TEST_F(catalogue_shipped, EntitlementsBandsTreeAndFixedIds) {
    Rows const rows = Load("catalogue.json");
    int band = 0;
    int categories = 0;
    std::set<std::string> names;
    std::map<std::string, int> byName;
    for (auto const& item : rows) {
        SCOPED_TRACE(item.first);
        Row const& row = item.second;
        bool const inBand = item.first < 100000;
        EXPECT_EQ(item.first, inBand ? band++ : 100000 + categories++) << "gap";
        if (item.first > 100000) {
            EXPECT_EQ(row.parent, 100000);
        } else if (item.first > 0 && inBand) {
            EXPECT_GT(row.parent, 100000);
            EXPECT_EQ(rows.count(row.parent), 1u);
        }
        std::string folded = row.name;
        std::transform(folded.begin(), folded.end(), folded.begin(), ::tolower);
        EXPECT_TRUE(names.insert(folded).second) << row.name;
        byName[row.name] = item.first;
    }
    EXPECT_TRUE(band >= 190 && band <= 240) << band;
    EXPECT_EQ(rows.at(100000).parent, -1);
    Host::CatalogueInfo const info = Host::GetCatalogueInfo();
    EXPECT_EQ(info.versionName + " " + std::to_string(info.permissionDataVersion),
              "PermissionData 27");
    EXPECT_EQ(info.entitlementCount, band);

    // Ids the library knows by number: the slave table, the tracked ids, 180, 185.
    std::set<int> fixed = {109, 110, 111, 112, 113, 180, 185, 100012};
    for (auto const& row : kSlaves) {
        fixed.insert(row.first);
        fixed.insert(row.second.begin(), row.second.end());
    }
    for (int id : fixed) {
        SCOPED_TRACE(id);
        ASSERT_EQ(rows.count(id), 1u);
        EXPECT_TRUE(rows.at(id).enabled && (rows.at(id).attrs & 1) != 0);
    }
    ASSERT_EQ(byName.count("Bank Registers"), 1u);
    EXPECT_EQ(rows.at(byName.at("Bank Registers")).parent, 100012);
    EXPECT_NE(rows.at(100012).name, "Bank Registers");
    for (char const* name : {"Find All Transactions", "Accountant & Taxes Detail",
                             "Company & Financial Detail", "Custom Transaction Detail",
                             "Accountant & Taxes", "Company & Financial", "Custom Transaction"}) {
        EXPECT_EQ(byName.count(name), 1u) << name;
    }
}

TEST_F(catalogue_shipped, DefaultAndApplicationRoles) {
    Rows const rows = Load("catalogue.json");
    Host::CatalogueInfo const info = Host::GetCatalogueInfo();
    std::vector<std::string> defaults = info.defaultRoles;
    defaults.erase(std::remove(defaults.begin(), defaults.end(), "BASE_ROLE"), defaults.end());
    ASSERT_TRUE(defaults.size() >= 6 && defaults.size() <= 9);
    std::vector<std::string> roles = defaults;
    for (Host::CatalogueApplicationInfo const& application : info.applications) {
        roles.push_back(application.useRole);
    }
    std::set<std::string> with185;
    for (std::size_t roleId = 0; roleId < roles.size(); ++roleId) {
        auto_init_ptr<Defcat::Role> role = Defcat::Role::FindByID(roles[roleId].c_str());
        ASSERT_TRUE(role);
        std::string const name = role->GetName().c_str();
        SCOPED_TRACE(name);
        bool const isDefault = roleId < defaults.size();
        EXPECT_TRUE(role->GetPrivate() != isDefault && role->GetVisible() == isDefault);
        Masks const masks = RoleMasks(roles[roleId].c_str());
        if (roleId == 0) {
            EXPECT_EQ(name, "Admin");
            for (auto const& row : rows) {
                EXPECT_EQ(MaskOf(masks, row.first), 63) << row.first;
            }
        }
        if (roleId == 2) {
            EXPECT_EQ(name, "External Accountant");
            EXPECT_EQ(MaskOf(masks, 100012), 63);
            for (auto const& row : rows) {
                EXPECT_TRUE(row.second.parent != 100012 || MaskOf(masks, row.first) == 63)
                    << row.first;
            }
        }
        // Usage facts: roles 1, 4 and 6 hold exactly 109, 110 and 112 of the tracked ids;
        // the other default roles hold a combination that is no custom role.
        std::set<int> tracked;
        for (int id = 109; id <= 113; ++id) {
            if (MaskOf(masks, id) > 0) {
                tracked.insert(id);
            }
        }
        if (roleId == 1 || roleId == 4 || roleId == 6) {
            EXPECT_EQ(tracked, (std::set<int>{109, 110, 112}));
        } else if (isDefault && !tracked.empty()) {
            EXPECT_TRUE((tracked.size() == 5 || tracked == std::set<int>{109, 110, 111}));
            for (int id : tracked) {
                EXPECT_EQ(masks.at(id), 63) << id;
            }
        }
        for (auto const& row : kSlaves) {
            for (int slave : row.second) {
                EXPECT_EQ(masks.count(row.first) * 100 + MaskOf(masks, row.first),
                          masks.count(slave) * 100 + MaskOf(masks, slave))
                    << slave;
            }
        }
        EXPECT_EQ(MaskOf(masks, 180), 63);
        if (masks.count(185) != 0) {
            with185.insert(name + ":" + std::to_string(masks.at(185)));
        }
    }
    EXPECT_EQ(with185,
              (std::set<std::string>{"Admin:63", "External Accountant:63", "OrvaneApp:63"}));
}

} // namespace
