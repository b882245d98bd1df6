// Checks the product catalogue we ship against what the library and the host
// expect of its content, and the previous release's catalogue against the
// differences documented in docs/catalogue-format.md.
#include <host/catalogue/Catalogue.h>

#include <Defcat/Defcat.h>
#include <Util/StringCompare.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

std::string const kCatalogueDir = PM_CATALOGUE_DIR;

struct FeatureRow {
    std::string name;
    int parent;
    int attrs;
    bool enabled;
    std::vector<std::string> parameters;

    bool Visible() const { return (attrs & 1) != 0; }
};

// The catalogue as the library reads it: the features of the first grant of
// BASE_ROLE, keyed by id.
std::map<int, FeatureRow> ReadFeatures() {
    std::map<int, FeatureRow> rows;
    DefcatObjectPtrList<Defcat::Entitlement> grants;
    Defcat::Role::FindByID("BASE_ROLE")->GetEntitlements(&grants, false);
    DefcatObjectPtrList<Defcat::Feature> features;
    grants[0]->GetFeatures(&features, false);
    for (std::size_t i = 0; i < features.size(); ++i) {
        DefcatObjectPtrList<Defcat::Parameter> parameters;
        features[i]->GetParameters(&parameters, false);
        FeatureRow row{features[i]->GetName().c_str(),
                       std::atoi(parameters[0]->GetData()),
                       std::atoi(parameters[1]->GetData()),
                       features[i]->GetEnabled(),
                       {}};
        for (std::size_t p = 0; p < parameters.size(); ++p) {
            row.parameters.push_back(parameters[p]->GetData().c_str());
        }
        rows[std::atoi(features[i]->GetID())] = row;
    }
    return rows;
}

// Entitlement id -> action mask that the role's grants give it.
std::map<int, long> RoleMasks(auto_init_ptr<Defcat::Role> role) {
    static long const kBits[] = {1, 32, 16, 2, 4, 0, 0, 0, 8};
    std::map<int, long> masks;
    DefcatObjectPtrList<Defcat::Entitlement> grants;
    role->GetEntitlements(&grants, false);
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

std::set<int> TrackedWithAction(std::map<int, long> const& masks) {
    std::set<int> tracked;
    for (int id = 109; id <= 113; ++id) {
        auto const found = masks.find(id);
        if (found != masks.end() && found->second > 0) {
            tracked.insert(id);
        }
    }
    return tracked;
}

class ShippedCatalogueTest : public ::testing::Test {
protected:
    void Load(char const* file) {
        Host::CatalogueResult const result = Host::LoadCatalogueFile(kCatalogueDir + "/" + file);
        ASSERT_TRUE(result.ok) << result.message;
        m_Features = ReadFeatures();
    }
    void TearDown() override { Host::UnloadCatalogue(); }

    std::map<int, FeatureRow> m_Features;
};

TEST_F(ShippedCatalogueTest, EntitlementBandsAndTree) {
    ASSERT_NO_FATAL_FAILURE(Load("catalogue.json"));
    int band = 0;
    int categories = 0;
    for (auto const& item : m_Features) {
        if (item.first < 100000) {
            EXPECT_EQ(item.first, band) << "the catalogue band has a gap";
            ++band;
        } else {
            EXPECT_EQ(item.first, 100000 + categories) << "the category band has a gap";
            ++categories;
        }
    }
    EXPECT_GE(band, 190);
    EXPECT_LE(band, 240);
    EXPECT_GE(categories, 13);

    FeatureRow const& version = m_Features.at(0);
    EXPECT_EQ(version.name, "PermissionData");
    ASSERT_EQ(version.parameters.size(), 4u);
    EXPECT_EQ(version.parameters[2], "27");
    EXPECT_EQ(version.parameters[3], std::to_string(band));
    EXPECT_EQ(Host::GetCatalogueInfo().entitlementCount, band);

    EXPECT_EQ(m_Features.at(100000).parent, -1);
    std::set<std::string> names;
    for (auto const& item : m_Features) {
        SCOPED_TRACE(item.first);
        int const id = item.first;
        FeatureRow const& row = item.second;
        if (id > 100000) {
            EXPECT_EQ(row.parent, 100000);
        } else if (id > 0 && id < 100000) {
            EXPECT_GT(row.parent, 100000);
            EXPECT_EQ(m_Features.count(row.parent), 1u);
        }
        std::string folded = row.name;
        for (char& ch : folded) {
            ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
        }
        EXPECT_TRUE(names.insert(folded).second) << "duplicate name " << row.name;
        EXPECT_EQ(row.name.find(':'), std::string::npos);
        EXPECT_EQ(row.attrs & ~2047, 0);
    }
}

TEST_F(ShippedCatalogueTest, FixedIdsAndNamesExist) {
    ASSERT_NO_FATAL_FAILURE(Load("catalogue.json"));
    std::vector<int> fixed = {132, 68,  70,  71,  117, 26, 118, 104, 107, 9,   15,  109,   34, 31,
                              110, 33,  35,  111, 41,  76, 75,  112, 36,  37,  42,  113,   39, 40,
                              32,  160, 167, 161, 168, 28, 58,  20,  30,  180, 185, 100012};
    for (int id : fixed) {
        SCOPED_TRACE(id);
        ASSERT_EQ(m_Features.count(id), 1u);
        EXPECT_TRUE(m_Features.at(id).enabled);
        EXPECT_TRUE(m_Features.at(id).Visible());
    }
    std::map<std::string, int> byName;
    for (auto const& item : m_Features) {
        byName[item.second.name] = item.first;
    }
    ASSERT_EQ(byName.count("Bank Registers"), 1u);
    EXPECT_EQ(m_Features.at(byName.at("Bank Registers")).parent, 100012);
    EXPECT_NE(m_Features.at(100012).name, "Bank Registers");
    for (char const* name : {"Find All Transactions", "Accountant & Taxes Detail",
                             "Company & Financial Detail", "Custom Transaction Detail",
                             "Accountant & Taxes", "Company & Financial", "Custom Transaction"}) {
        SCOPED_TRACE(name);
        ASSERT_EQ(byName.count(name), 1u);
        EXPECT_TRUE(m_Features.at(byName.at(name)).Visible());
    }
}

TEST_F(ShippedCatalogueTest, DefaultRolesAndTheirGrants) {
    ASSERT_NO_FATAL_FAILURE(Load("catalogue.json"));
    Host::CatalogueInfo const info = Host::GetCatalogueInfo();
    std::vector<std::string> defaults;
    for (std::string const& id : info.defaultRoles) {
        if (Util::CompareStrings(id.c_str(), "BASE_ROLE", Util::kCaseInsensitive) != 0) {
            defaults.push_back(id);
        }
    }
    ASSERT_GE(defaults.size(), 6u);
    ASSERT_LE(defaults.size(), 9u);

    struct MasterSlaves {
        int master;
        std::vector<int> slaves;
    };
    MasterSlaves const slaveTable[] = {
        {132, {68, 70, 71}}, {117, {26}},     {118, {104, 107}},   {9, {15}},
        {109, {34, 31}},     {110, {33, 35}}, {111, {41, 76, 75}}, {112, {36, 37, 42}},
        {113, {39, 40, 32}}, {160, {167}},    {161, {168}},        {28, {58}},
        {20, {30}}};

    std::set<std::string> rolesWith185;
    for (std::size_t roleId = 0; roleId < defaults.size(); ++roleId) {
        auto_init_ptr<Defcat::Role> role = Defcat::Role::FindByID(defaults[roleId].c_str());
        ASSERT_TRUE(role);
        std::string const name = role->GetName().c_str();
        SCOPED_TRACE(name);
        EXPECT_TRUE(role->GetVisible());
        EXPECT_FALSE(role->GetPrivate());
        std::map<int, long> const masks = RoleMasks(role);
        for (auto const& item : masks) {
            EXPECT_EQ(m_Features.count(item.first), 1u) << item.first;
        }
        if (roleId == 0) {
            EXPECT_EQ(name, "Admin");
            EXPECT_EQ(masks.size(), m_Features.size());
            for (auto const& item : masks) {
                EXPECT_EQ(item.second, 63) << item.first;
            }
        }
        if (name == "External Accountant") {
            EXPECT_EQ(masks.count(100012) ? masks.at(100012) : 0, 63);
            for (auto const& item : m_Features) {
                if (item.second.parent == 100012) {
                    EXPECT_EQ(masks.count(item.first) ? masks.at(item.first) : 0, 63) << item.first;
                }
            }
        }
        // Usage facts: roles 1, 4 and 6 hold exactly 109, 110 and 112 of the tracked
        // ids; every other default role is one of the combinations that is no custom role.
        std::set<int> const tracked = TrackedWithAction(masks);
        if (roleId == 1 || roleId == 4 || roleId == 6) {
            EXPECT_EQ(tracked, (std::set<int>{109, 110, 112}));
        } else if (!tracked.empty()) {
            bool const allFive = tracked.size() == 5;
            bool const payrollThree = tracked == std::set<int>{109, 110, 111};
            EXPECT_TRUE(allFive || payrollThree);
            for (int id : tracked) {
                EXPECT_EQ(masks.at(id), 63) << id;
            }
        }
        // An edit copies the master's mask onto its slaves; the defaults agree.
        for (MasterSlaves const& row : slaveTable) {
            for (int slave : row.slaves) {
                EXPECT_EQ(masks.count(row.master), masks.count(slave)) << slave;
                if (masks.count(row.master) != 0 && masks.count(slave) != 0) {
                    EXPECT_EQ(masks.at(row.master), masks.at(slave)) << slave;
                }
            }
        }
        EXPECT_EQ(masks.count(180) ? masks.at(180) : 0, 63);
        if (masks.count(185) != 0) {
            EXPECT_EQ(masks.at(185), 63);
            rolesWith185.insert(name);
        }
    }
    EXPECT_EQ(std::string(Defcat::Role::FindByID(defaults[2].c_str())->GetName().c_str()),
              "External Accountant");

    // Integrated applications act under private roles of their own.
    bool orvane = false;
    for (Host::CatalogueApplicationInfo const& application : info.applications) {
        SCOPED_TRACE(application.id);
        auto_init_ptr<Defcat::Role> role = Defcat::Role::FindByID(application.useRole.c_str());
        ASSERT_TRUE(role);
        EXPECT_TRUE(role->GetPrivate());
        EXPECT_EQ(std::count(defaults.begin(), defaults.end(), application.useRole), 0);
        std::map<int, long> const masks = RoleMasks(role);
        EXPECT_EQ(masks.count(180) ? masks.at(180) : 0, 63);
        if (std::string(role->GetName().c_str()) == "OrvaneApp") {
            orvane = true;
            rolesWith185.insert("OrvaneApp");
            EXPECT_EQ(masks.count(185) ? masks.at(185) : 0, 63);
        } else {
            EXPECT_EQ(masks.count(185), 0u);
        }
    }
    EXPECT_TRUE(orvane);
    EXPECT_EQ(rolesWith185, (std::set<std::string>{"Admin", "External Accountant", "OrvaneApp"}));
}

TEST_F(ShippedCatalogueTest, PreviousReleaseDiffersAsDocumented) {
    ASSERT_NO_FATAL_FAILURE(Load("catalogue-previous.json"));
    std::map<int, FeatureRow> const previous = m_Features;
    EXPECT_EQ(previous.at(0).parameters[2], "24");
    EXPECT_EQ(previous.at(0).parameters[3], "180");
    ASSERT_NO_FATAL_FAILURE(Load("catalogue.json"));

    std::set<int> added;
    std::set<int> removed;
    std::map<int, std::string> renamed;
    std::map<int, int> moved;
    for (auto const& item : m_Features) {
        auto const old = previous.find(item.first);
        if (old == previous.end()) {
            added.insert(item.first);
            continue;
        }
        if (item.first == 0) {
            continue;
        }
        if (old->second.name != item.second.name) {
            renamed[item.first] = old->second.name + " -> " + item.second.name;
        }
        if (old->second.parent != item.second.parent) {
            moved[item.first] = old->second.parent;
        }
        EXPECT_EQ(old->second.attrs, item.second.attrs) << item.first;
        EXPECT_EQ(old->second.enabled, item.second.enabled) << item.first;
    }
    for (auto const& item : previous) {
        if (m_Features.count(item.first) == 0) {
            removed.insert(item.first);
        }
    }
    std::set<int> expectedAdded = {100015};
    for (int id = 180; id <= 215; ++id) {
        expectedAdded.insert(id);
    }
    EXPECT_EQ(added, expectedAdded);
    EXPECT_EQ(removed, (std::set<int>{100016}));
    EXPECT_EQ(previous.at(100016).name, "Merchant Services");
    EXPECT_EQ(renamed, (std::map<int, std::string>{{87, "Online Banking -> Bank Feeds"}}));
    EXPECT_EQ(moved, (std::map<int, int>{{150, 100016}}));
    EXPECT_EQ(m_Features.at(150).parent, 100013);
}

} // namespace
