// The store tests' fixture and notations.
#include "support/StoreTesting.h"

#include <host/catalogue/Catalogue.h>
#include <host/records/CompanyFile.h>
#include <host/users/CompanyUsers.h>
#include <host/users/UserManagerHooks.h>

#include <memory>
#include <sstream>

namespace PMTest {

std::string Features(std::string const& notation) {
    std::string json;
    std::istringstream in(notation);
    for (std::string item; std::getline(in >> std::ws, item, ',');) {
        std::string::size_type split = item.find_first_of(" /"), at = item.find('@');
        std::string head = item.substr(0, split), tail = item.substr(split + 1, at - split - 1);
        std::string attrs = at == std::string::npos ? "125" : item.substr(at + 1);
        json += (json.empty() ? "" : ", ") +
                (item[0] == 'V' ? R"({"id": "0", "name": "V", "enabled": false, "parameters": )"
                                  R"(["-1", "0", ")" +
                                      head.substr(1) + "\", \"" + tail + "\"]}"
                                : R"({"id": ")" + head + R"(", "name": ")" + tail +
                                      R"(", "parameters": ["100000", ")" + attrs + "\"]}");
    }
    return json;
}

std::string Masks(std::string const& ids) {
    return Query("SELECT r.name || '{' || coalesce((SELECT group_concat(e || ':' || m) FROM "
                 "(SELECT entitlement_id e, action_type m FROM role_actions a WHERE a.role_id = "
                 "r.role_id AND e IN (" +
                 ids + ") ORDER BY e)), '') || '}' FROM roles r ORDER BY r.role_id");
}

std::string Render(std::vector<PM::EntitlementDef>* list) {
    std::unique_ptr<std::vector<PM::EntitlementDef>> owned(list);
    return owned == nullptr ? "null" : Join(*owned, "; ", [](PM::EntitlementDef const& e) {
        std::initializer_list<long> const fields = {long(e.GetCategory()), e.GetAttrs(),
                                                    long(e.IsVisible()), long(e.IsEnabled())};
        return std::to_string(e.GetId()) + "|" + e.GetName().c_str() + "|" +
               Join(fields, "|", [](long field) { return std::to_string(field); });
    });
}

void StoreFixture::TearDown() {
    Host::FaultPlan::Get().Disarm();
    Host::CloseCompanyFile();
    Host::UnloadCatalogue();
    Host::SetUserManager(nullptr);
}

void StoreFixture::Reopen() {
    Host::CloseCompanyFile();
    ASSERT_TRUE(Host::OpenInMemoryCompanyFile().ok);
    Host::FaultPlan::Get().Disarm();
    Host::FaultPlan::Get().ResetCounts();
}

void StoreFixture::LoadInline(std::string const& features, std::string const& roles,
                              std::string const& defaults) {
    Host::CatalogueResult const loaded = Host::LoadCatalogueText(
        R"({"format": 1, "features": [)" + features +
            R"(], "roles": [{"id": "BASE_ROLE", "name": "Base", "grants": [{"actions": [], )"
            R"("features": "*"}]})" +
            (roles.empty() ? "" : ", " + roles) +
            R"(], "flavors": [{"id": "F", "defaultRoles": [)" + defaults +
            R"(]}], "currentFlavor": "F"})",
        "inline.json");
    ASSERT_TRUE(loaded.ok) << loaded.message;
}

void StoreFixture::AddRole(int id, char const* name) {
    PM::RoleDef role;
    role.SetId(id);
    role.SetName(name);
    ASSERT_EQ(store.URPSAddRoleToDB(role), PM_OK) << id;
}

void StoreFixture::AddEntitlement(int id) {
    PM::EntitlementDef entitlement;
    entitlement.SetId(id);
    ASSERT_EQ(store.URPSAddEntitlementToDB(entitlement), PM_OK) << id;
}

void StoreFixture::AddUsers() {
    Host::UseCompanyUserManager();
    std::string error;
    for (char const* name : {"ann", "bob", "cy"}) {
        ASSERT_NE(Host::AddCompanyUser(name, false, &error), -1) << error;
    }
}

std::string StoreFixture::Writes() {
    auto n = [](char const* operation) { return std::to_string(Calls(operation)); };
    return n("DMUSREntitlement::Add") + "/" + n("DMUSREntitlement::Update") + "/" +
           n("DMUSREntitlement::Delete") + " " + n("DMUSRRoleAction::Add") + "/" +
           n("DMUSRRoleAction::DeleteByEntitlementId");
}

} // namespace PMTest
