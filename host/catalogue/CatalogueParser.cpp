// Reads a catalogue text into a Catalogue, checking everything before anything is
// handed out. The first fault ends the read; its message names the source, the
// place and the fault. The layout is described in docs/catalogue-format.md.
#include <host/catalogue/CatalogueModel.h>
#include <host/json/StrictJson.h>

#include <Records/RecordText.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <set>
#include <string>

namespace Host {
namespace detail {

namespace {

using Json = StrictJson::Value;
using StrictJson::ArrayOf;
using StrictJson::Describe;
using StrictJson::Element;
using StrictJson::Fail;
using StrictJson::Object;
using StrictJson::OptionalFlag;
using StrictJson::OptionalText;
using StrictJson::Quoted;
using StrictJson::RequireText;
using StrictJson::TextOf;

char const kBaseRoleId[] = "BASE_ROLE";
int const kFormat = 1;
// Ids from here on are the library's run-time entitlements.
long const kFirstDynamicId = 300000;
// The root of the entitlement tree, where the band of categories starts.
long const kEntitlementRootId = 100000;
// The manager refuses longer role names, so a catalogue role must not have one.
std::size_t const kMaxRoleNameLength = 29;

std::string RequireId(Object const& object, char const* what) {
    std::string id = RequireText(object, "id");
    if (id.empty()) {
        Fail(object.Path("id"), std::string("empty ") + what + " id");
    }
    return id;
}

// Decimal digits without leading zeros ("0" itself is fine), optionally after a
// minus, within the range of int.
bool IsDecimal(std::string const& text, bool mayBeNegative) {
    std::size_t const start = mayBeNegative && !text.empty() && text[0] == '-' ? 1 : 0;
    std::size_t const digits = text.size() - start;
    if (digits == 0 || digits > 10 || (digits > 1 && text[start] == '0')) {
        return false;
    }
    for (std::size_t i = start; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return false;
        }
    }
    long long const value = std::strtoll(text.c_str(), nullptr, 10);
    return value >= INT_MIN && value <= INT_MAX;
}

TString Text(std::string const& text) {
    return TString(text.c_str());
}

class Builder {
public:
    explicit Builder(Catalogue& catalogue) : m_Catalogue(catalogue) {}

    void Read(Json const& document) {
        Object const root(
            document, "$",
            {"format", "product", "features", "roles", "applications", "flavors", "currentFlavor"});
        Json const& format = root.Require("format");
        if (!format.is_number_integer()) {
            Fail(root.Path("format"), "expected an integer, found " + Describe(format));
        }
        if (format != kFormat) {
            Fail(root.Path("format"),
                 "unsupported format " + format.dump() + ", expected " + std::to_string(kFormat));
        }
        m_Catalogue.product = OptionalText(root, "product");
        ReadFeatures(root);
        ReadRoles(root);
        ReadApplications(root);
        ReadFlavors(root);
        std::string const current = RequireText(root, "currentFlavor");
        auto const found = m_Catalogue.flavors.find(current);
        if (found == m_Catalogue.flavors.end()) {
            Fail(root.Path("currentFlavor"), "unknown flavor " + Quoted(current));
        }
        m_Catalogue.currentFlavor = found->second;
    }

private:
    using FirstSeen = std::map<std::string, std::string>; // id -> path of its object

    static std::string UniqueId(Object const& object, char const* what, FirstSeen& seen) {
        std::string const id = RequireId(object, what);
        auto const first = seen.emplace(id, object.Path());
        if (!first.second) {
            Fail(object.Path("id"), std::string("duplicate ") + what + " id " + Quoted(id) +
                                        " (first at " + first.first->second + ")");
        }
        return id;
    }

    static std::string RequireName(Object const& object) {
        std::string name = RequireText(object, "name");
        if (name.empty()) {
            Fail(object.Path("name"), "empty name");
        }
        return StorableText(name, object.Path("name"));
    }

    // The company file stores names and descriptions in record text fields.
    static std::string StorableText(std::string text, std::string const& path) {
        if (text.size() >= static_cast<std::size_t>(kRecordTextBufferSize)) {
            Fail(path,
                 "text is longer than " + std::to_string(kRecordTextBufferSize - 1) + " bytes");
        }
        return text;
    }

    void ReadFeatures(Object const& root) {
        Json const& features = ArrayOf(root.Require("features"), root.Path("features"));
        FirstSeen seen;
        for (std::size_t i = 0; i < features.size(); ++i) {
            Object const object(features[i], Element(root.Path("features"), i),
                                {"id", "name", "enabled", "parameters"});
            std::string const id = UniqueId(object, "feature", seen);
            if (!IsDecimal(id, false) || std::atol(id.c_str()) >= kFirstDynamicId) {
                Fail(object.Path("id"), "feature id " + Quoted(id) +
                                            " is not a decimal number from 0 to 299999"
                                            " without leading zeros");
            }
            std::string const name = RequireName(object);
            bool const isVersion = id == "0";
            if (isVersion && name.find('-') != std::string::npos) {
                Fail(object.Path("name"), "the name of feature \"0\" must not contain \"-\"");
            }
            bool const enabled = OptionalFlag(object, "enabled", true);
            std::vector<Defcat::Parameter*> parameters =
                ReadParameters(object, id, isVersion ? 4 : 2);
            if (isVersion) {
                // Stored as "<name>-<version>-<count>".
                StorableText(name + "-" + parameters[2]->GetData().c_str() + "-" +
                                 parameters[3]->GetData().c_str(),
                             object.Path("name"));
            }
            Defcat::Feature* feature =
                m_Catalogue.Make<Defcat::Feature>(Text(id), Text(name), enabled, parameters);
            m_Catalogue.features.emplace(id, feature);
            m_ById.emplace(std::atol(id.c_str()), feature);
        }
        CheckCategoryBand(root.Path("features"));
    }

    // The store reads the band from 100000 by trying ids upward and ends it at
    // the first missing one, so an entitlement beyond a gap would never be read
    // and the scan would not come to an end: the band must be gapless.
    void CheckCategoryBand(std::string const& path) {
        long expected = kEntitlementRootId;
        for (auto it = m_ById.lower_bound(kEntitlementRootId); it != m_ById.end(); ++it) {
            if (it->first != expected) {
                Fail(path, "feature " + Quoted(std::to_string(it->first)) +
                               " follows a gap: " + "ids from " +
                               std::to_string(kEntitlementRootId) + " must have no gaps, and " +
                               Quoted(std::to_string(expected)) + " is missing");
            }
            ++expected;
        }
    }

    std::vector<Defcat::Parameter*> ReadParameters(Object const& object, std::string const& id,
                                                   std::size_t needed) {
        std::string const path = object.Path("parameters");
        Json const& list = ArrayOf(object.Require("parameters"), path);
        if (list.size() < needed) {
            std::string const wanted = needed == 4 ? "parameters 0 (parent id), 1 (attrs),"
                                                     " 2 (version) and 3 (entitlement count)"
                                                   : "parameters 0 (parent id) and 1 (attrs)";
            Fail(path, "feature " + Quoted(id) + " needs " + wanted + ", found " +
                           std::to_string(list.size()));
        }
        static char const* const kMeaning[] = {"parent id", "attrs", "version",
                                               "entitlement count"};
        std::vector<Defcat::Parameter*> parameters;
        for (std::size_t i = 0; i < list.size(); ++i) {
            std::string const data = TextOf(list[i], Element(path, i));
            // Parameters beyond the needed ones are the product's own; nothing reads them.
            if (i < needed && !IsDecimal(data, i < 2)) {
                Fail(Element(path, i),
                     std::string(kMeaning[i]) + " " + Quoted(data) +
                         (i < 2 ? " is not an integer" : " is not a decimal number"));
            }
            parameters.push_back(
                m_Catalogue.Make<Defcat::Parameter>(Text(std::to_string(i)), Text(data)));
        }
        return parameters;
    }

    void ReadRoles(Object const& root) {
        Json const& roles = ArrayOf(root.Require("roles"), root.Path("roles"));
        FirstSeen seen;
        for (std::size_t i = 0; i < roles.size(); ++i) {
            Object const object(roles[i], Element(root.Path("roles"), i),
                                {"id", "name", "description", "visible", "private", "grants"});
            std::string const id = UniqueId(object, "role", seen);
            std::string const name = RequireName(object);
            if (name.size() > kMaxRoleNameLength) {
                Fail(object.Path("name"), "role name " + Quoted(name) + " is longer than " +
                                              std::to_string(kMaxRoleNameLength) + " characters");
            }
            std::string const description =
                StorableText(OptionalText(object, "description"), object.Path("description"));
            bool const visible = OptionalFlag(object, "visible", true);
            bool const isPrivate = OptionalFlag(object, "private", false);
            std::vector<Defcat::Entitlement*> grants = ReadGrants(object, id);
            Defcat::Role* role = m_Catalogue.Make<Defcat::Role>(
                Text(id), Text(name), Text(description), visible, isPrivate, grants);
            m_Catalogue.roles.emplace(id, role);
            m_Catalogue.roleOrder.push_back(role);
            if (id == kBaseRoleId) {
                CheckBaseRole(object, grants);
            }
        }
        if (m_Catalogue.roles.count(kBaseRoleId) == 0) {
            Fail(root.Path("roles"), std::string("no role ") + Quoted(kBaseRoleId));
        }
    }

    std::vector<Defcat::Entitlement*> ReadGrants(Object const& role, std::string const& roleId) {
        std::vector<Defcat::Entitlement*> grants;
        Json const* list = role.Find("grants");
        if (list == nullptr) {
            return grants;
        }
        ArrayOf(*list, role.Path("grants"));
        std::set<Defcat::Feature*> granted; // a feature has one mask per role
        for (std::size_t i = 0; i < list->size(); ++i) {
            Object const object((*list)[i], Element(role.Path("grants"), i),
                                {"id", "actions", "features"});
            std::string id = OptionalText(object, "id");
            if (id.empty()) {
                id = roleId + "/" + std::to_string(i);
            }
            std::vector<Defcat::UserAction*> actions = ReadActions(object);
            std::string const path = object.Path("features");
            Json const& named = object.Require("features");
            bool const all = named.is_string() && named.get_ref<std::string const&>() == "*";
            std::vector<Defcat::Feature*> features;
            if (all) {
                for (auto const& item : m_ById) {
                    features.push_back(item.second);
                }
            } else {
                ArrayOf(named, path);
                for (std::size_t k = 0; k < named.size(); ++k) {
                    std::string const featureId = TextOf(named[k], Element(path, k));
                    auto const found = m_Catalogue.features.find(featureId);
                    if (found == m_Catalogue.features.end()) {
                        Fail(Element(path, k), "unknown feature " + Quoted(featureId));
                    }
                    features.push_back(found->second);
                }
            }
            for (std::size_t k = 0; k < features.size(); ++k) {
                if (!granted.insert(features[k]).second) {
                    Fail(all ? path : Element(path, k),
                         "feature " + Quoted(features[k]->GetID().c_str()) +
                             " is granted twice in role " + Quoted(roleId));
                }
            }
            grants.push_back(m_Catalogue.Make<Defcat::Entitlement>(Text(id), actions, features));
        }
        return grants;
    }

    std::vector<Defcat::UserAction*> ReadActions(Object const& grant) {
        std::string const path = grant.Path("actions");
        Json const& list = ArrayOf(grant.Require("actions"), path);
        std::vector<Defcat::UserAction*> actions;
        for (std::size_t i = 0; i < list.size(); ++i) {
            Json const& type = list[i];
            if (!type.is_number_integer()) {
                Fail(Element(path, i), "expected an integer, found " + Describe(type));
            }
            if (type < 0 || type > 8) {
                Fail(Element(path, i), "user action type " + type.dump() + " is outside 0..8");
            }
            int const value = type.get<int>();
            actions.push_back(m_Catalogue.Make<Defcat::UserAction>(
                Text(std::to_string(value)), static_cast<Defcat::UserActionType>(value)));
        }
        return actions;
    }

    // The first grant of BASE_ROLE is the list of entitlements the product has:
    // every feature, in ascending id order.
    void CheckBaseRole(Object const& role, std::vector<Defcat::Entitlement*> const& grants) {
        if (grants.empty()) {
            Fail(role.Path(),
                 std::string("role ") + Quoted(kBaseRoleId) + " has no grant listing the features");
        }
        DefcatObjectPtrList<Defcat::Feature> listed;
        grants.front()->GetFeatures(&listed, false);
        std::string const path = Element(role.Path("grants"), 0) + ".features";
        std::set<Defcat::Feature const*> present;
        for (std::size_t k = 0; k < listed.size(); ++k) {
            present.insert(listed[k].get());
            if (k > 0 && std::atol(listed[k]->GetID()) <= std::atol(listed[k - 1]->GetID())) {
                Fail(Element(path, k), "feature " + Quoted(listed[k]->GetID().c_str()) +
                                           " is not in ascending id order after " +
                                           Quoted(listed[k - 1]->GetID().c_str()));
            }
        }
        for (auto const& item : m_ById) {
            if (present.count(item.second) == 0) {
                Fail(path, "feature " + Quoted(item.second->GetID().c_str()) +
                               " is missing from the first grant of " + Quoted(kBaseRoleId));
            }
        }
    }

    Defcat::Role* KnownRole(Json const& value, std::string const& path) {
        std::string const id = TextOf(value, path);
        auto const found = m_Catalogue.roles.find(id);
        if (found == m_Catalogue.roles.end()) {
            Fail(path, "unknown role " + Quoted(id));
        }
        return found->second;
    }

    void ReadApplications(Object const& root) {
        Json const* list = root.Find("applications");
        if (list == nullptr) {
            return;
        }
        ArrayOf(*list, root.Path("applications"));
        FirstSeen seen;
        for (std::size_t i = 0; i < list->size(); ++i) {
            Object const object((*list)[i], Element(root.Path("applications"), i),
                                {"id", "useRole"});
            std::string const id = UniqueId(object, "application", seen);
            std::string const useRole = OptionalText(object, "useRole");
            if (!useRole.empty()) {
                KnownRole(object.Require("useRole"), object.Path("useRole"));
            }
            Defcat::SDKApplication* application =
                m_Catalogue.Make<Defcat::SDKApplication>(Text(id), Text(useRole));
            m_Catalogue.applications.emplace(id, application);
            m_Catalogue.applicationOrder.push_back(application);
        }
    }

    void ReadFlavors(Object const& root) {
        Json const& list = ArrayOf(root.Require("flavors"), root.Path("flavors"));
        FirstSeen seen;
        for (std::size_t i = 0; i < list.size(); ++i) {
            Object const object(list[i], Element(root.Path("flavors"), i), {"id", "defaultRoles"});
            std::string const id = UniqueId(object, "flavor", seen);
            std::string const path = object.Path("defaultRoles");
            Json const& named = ArrayOf(object.Require("defaultRoles"), path);
            std::vector<Defcat::Role*> roles;
            for (std::size_t k = 0; k < named.size(); ++k) {
                Defcat::Role* role = KnownRole(named[k], Element(path, k));
                if (std::find(roles.begin(), roles.end(), role) != roles.end()) {
                    Fail(Element(path, k),
                         "role " + Quoted(role->GetID().c_str()) + " is listed twice");
                }
                roles.push_back(role);
            }
            Defcat::DefaultRoleList* defaults =
                m_Catalogue.Make<Defcat::DefaultRoleList>(Text(id + "/defaultRoles"), roles);
            Defcat::ProductFlavor* flavor =
                m_Catalogue.Make<Defcat::ProductFlavor>(Text(id), defaults);
            m_Catalogue.flavors.emplace(id, flavor);
            m_Catalogue.flavorOrder.push_back(flavor);
        }
    }

    Catalogue& m_Catalogue;
    std::map<long, Defcat::Feature*> m_ById; // ascending id order
};

} // namespace

std::unique_ptr<Catalogue> ParseCatalogue(std::string const& json, std::string const& sourceName,
                                          std::string& error) {
    std::unique_ptr<Catalogue> catalogue(new Catalogue);
    catalogue->sourceName = sourceName;
    try {
        Builder(*catalogue).Read(StrictJson::Parse(json));
    } catch (StrictJson::Fault const& fault) {
        error = fault.Message(sourceName);
        return nullptr;
    }
    return catalogue;
}

} // namespace detail
} // namespace Host
