// What the catalogue import and upgrade tests share: catalogues written in a
// short notation, and the company file's tables rendered as text straight from
// SQLite, so one EXPECT_EQ checks a whole state without asking the store.
#pragma once

#include "StoreFixture.h"

#include <host/catalogue/Catalogue.h>
#include <host/records/CompanyFile.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace PMTest {

// "V29/3, 1 Invoices, 2 Bills@61": feature "0" named "V" with version 29 and
// count 3, then features under 100000 with attrs 125 unless given after "@".
inline std::string Features(std::string const& notation) {
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

inline std::string Entitlements() {
    return Query("SELECT entitlement_id, name FROM entitlements ORDER BY 1");
}

// Every role with its masks on the listed ids: "Admin{1:63,2:63}; Clerk{1:1}".
inline std::string Masks(std::string const& ids) {
    return Query("SELECT r.name || '{' || coalesce((SELECT group_concat(e || ':' || m) FROM "
                 "(SELECT entitlement_id e, action_type m FROM role_actions a WHERE a.role_id = "
                 "r.role_id AND e IN (" +
                 ids + ") ORDER BY e)), '') || '}' FROM roles r ORDER BY r.role_id");
}

// "id|name|category|attrs|visible|enabled|action|mixed" rows, or "null"; the
// list is deleted.
inline std::string Render(std::vector<PM::EntitlementDef>* list) {
    std::unique_ptr<std::vector<PM::EntitlementDef>> owned(list);
    std::string rows = owned == nullptr ? "null" : "";
    for (std::size_t i = 0; owned != nullptr && i < owned->size(); ++i) {
        PM::EntitlementDef const& e = (*owned)[i];
        rows += (i > 0 ? "; " : "") + std::to_string(e.GetId()) + "|" + e.GetName().c_str();
        for (long field : {long(e.GetCategory()), e.GetAttrs(), long(e.IsVisible()),
                           long(e.IsEnabled()), long(e.GetAction()), long(e.IsMixed())}) {
            rows += "|" + std::to_string(field);
        }
    }
    return rows;
}

class CatalogueStoreFixture : public StoreFixture {
protected:
    void TearDown() override {
        Host::UnloadCatalogue();
        StoreFixture::TearDown();
    }
    // "BASE_ROLE" listing every feature, then roles; the current flavor lists
    // defaults (quoted ids).
    static void LoadInline(std::string const& features, std::string const& roles,
                           std::string const& defaults) {
        Host::CatalogueResult const loaded = Host::LoadCatalogueText(
            R"({"format": 1, "features": [)" + features +
                R"(], "roles": [{"id": "BASE_ROLE", "name": "Base", "grants": [{"actions": [], )"
                R"("features": "*"}]})" +
                (roles.empty() ? "" : ", " + roles) + R"(], "flavors": [{"id": "F", )" +
                R"("defaultRoles": [)" + defaults + R"(]}], "currentFlavor": "F"})",
            "inline.json");
        ASSERT_TRUE(loaded.ok) << loaded.message;
    }
    // Writes since the last ResetCounts: entitlements "add/update/delete",
    // then masks "add/delete by entitlement".
    static std::string Writes() {
        auto n = [](char const* operation) { return std::to_string(Calls(operation)); };
        return n("DMUSREntitlement::Add") + "/" + n("DMUSREntitlement::Update") + "/" +
               n("DMUSREntitlement::Delete") + " " + n("DMUSRRoleAction::Add") + "/" +
               n("DMUSRRoleAction::DeleteByEntitlementId");
    }
};

} // namespace PMTest
