// Reads a catalogue text into a Catalogue, checking everything before anything is
// handed out. The first fault ends the read; its message names the source, the
// place and the fault. The layout is described in docs/catalogue-format.md.
#include <host/catalogue/CatalogueModel.h>

#include <Records/RecordText.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <initializer_list>
#include <set>
#include <string>
#include <utility>

namespace Host {
namespace detail {

namespace {

using Json = nlohmann::json;

char const kBaseRoleId[] = "BASE_ROLE";
int const kFormat = 1;
// Ids from here on are the library's run-time entitlements.
long const kFirstDynamicId = 300000;
// The root of the entitlement tree, where the band of categories starts.
long const kEntitlementRootId = 100000;
// The manager refuses longer role names, so a catalogue role must not have one.
std::size_t const kMaxRoleNameLength = 29;

// A fault at a place in the document; caught by ParseCatalogue.
struct Fault {
    std::string place;
    std::string text;
};

[[noreturn]] void Fail(std::string place, std::string text) {
    throw Fault{std::move(place), std::move(text)};
}

std::string Quoted(std::string const& text) {
    return "\"" + text + "\"";
}

bool IsIdentifier(std::string const& key) {
    if (key.empty() || (key[0] >= '0' && key[0] <= '9')) {
        return false;
    }
    for (char ch : key) {
        bool const ok = (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') ||
                        (ch >= '0' && ch <= '9') || ch == '_';
        if (!ok) {
            return false;
        }
    }
    return true;
}

std::string Member(std::string const& path, std::string const& key) {
    return IsIdentifier(key) ? path + "." + key : path + "[" + Quoted(key) + "]";
}

std::string Element(std::string const& path, std::size_t index) {
    return path + "[" + std::to_string(index) + "]";
}

std::string Describe(Json const& value) {
    switch (value.type()) {
    case Json::value_t::object:
        return "an object";
    case Json::value_t::array:
        return "an array";
    case Json::value_t::string:
        return "a string";
    case Json::value_t::boolean:
        return "a boolean";
    case Json::value_t::null:
        return "null";
    case Json::value_t::number_float:
        return "a floating-point number";
    default:
        return "a number";
    }
}

// Follows the parser's events to know the path of the value being read, and
// refuses an object that repeats a key (the parser would keep only the last).
class PathTracker {
public:
    bool operator()(int /*depth*/, Json::parse_event_t event, Json& parsed) {
        switch (event) {
        case Json::parse_event_t::object_start:
            StartValue();
            m_Frames.push_back(Frame{false, 0, std::string(), {}});
            break;
        case Json::parse_event_t::array_start:
            StartValue();
            m_Frames.push_back(Frame{true, 0, std::string(), {}});
            break;
        case Json::parse_event_t::object_end:
        case Json::parse_event_t::array_end:
            m_Frames.pop_back();
            break;
        case Json::parse_event_t::key: {
            Frame& frame = m_Frames.back();
            std::string const key = parsed.get<std::string>();
            if (!frame.keys.insert(key).second) {
                Fail(ContainerPath(), "duplicate key " + Quoted(key));
            }
            frame.key = key;
            break;
        }
        case Json::parse_event_t::value:
            StartValue();
            break;
        }
        return true;
    }

    // The path of the value that the parser is reading or has just begun.
    std::string PendingPath() const {
        if (m_Frames.empty()) {
            return "$";
        }
        Frame const& top = m_Frames.back();
        std::string const path = ContainerPath();
        return top.isArray ? Element(path, top.count) : Member(path, top.key);
    }

private:
    struct Frame {
        bool isArray;
        std::size_t count; // elements begun, for arrays
        std::string key;   // the current key, for objects
        std::set<std::string> keys;
    };

    void StartValue() {
        if (!m_Frames.empty() && m_Frames.back().isArray) {
            ++m_Frames.back().count;
        }
    }

    // The path of the innermost open container.
    std::string ContainerPath() const {
        std::string path = "$";
        for (std::size_t i = 0; i + 1 < m_Frames.size(); ++i) {
            Frame const& frame = m_Frames[i];
            path = frame.isArray ? Element(path, frame.count - 1) : Member(path, frame.key);
        }
        return path;
    }

    std::vector<Frame> m_Frames;
};

// One JSON object of the layout: only the listed keys are allowed.
class ObjectReader {
public:
    ObjectReader(Json const& value, std::string path, std::initializer_list<char const*> allowed)
        : m_Value(value), m_Path(std::move(path)) {
        if (!value.is_object()) {
            Fail(m_Path, "expected an object, found " + Describe(value));
        }
        for (auto const& item : value.items()) {
            bool known = false;
            for (char const* key : allowed) {
                known = known || item.key() == key;
            }
            if (!known) {
                Fail(m_Path, "unknown key " + Quoted(item.key()));
            }
        }
    }

    std::string const& Path() const { return m_Path; }
    std::string Path(char const* key) const { return Member(m_Path, key); }

    Json const* Find(char const* key) const {
        auto const found = m_Value.find(key);
        return found == m_Value.end() ? nullptr : &*found;
    }

    Json const& Require(char const* key) const {
        Json const* value = Find(key);
        if (value == nullptr) {
            Fail(m_Path, "missing key " + Quoted(key));
        }
        return *value;
    }

private:
    Json const& m_Value;
    std::string m_Path;
};

std::string TextOf(Json const& value, std::string const& path) {
    if (!value.is_string()) {
        Fail(path, "expected a string, found " + Describe(value));
    }
    std::string const& text = value.get_ref<std::string const&>();
    if (text.find('\0') != std::string::npos) {
        Fail(path, "text contains a NUL character");
    }
    return text;
}

std::string RequireText(ObjectReader const& object, char const* key) {
    return TextOf(object.Require(key), object.Path(key));
}

std::string OptionalText(ObjectReader const& object, char const* key) {
    Json const* value = object.Find(key);
    return value == nullptr ? std::string() : TextOf(*value, object.Path(key));
}

bool OptionalFlag(ObjectReader const& object, char const* key, bool fallback) {
    Json const* value = object.Find(key);
    if (value == nullptr) {
        return fallback;
    }
    if (!value->is_boolean()) {
        Fail(object.Path(key), "expected a boolean, found " + Describe(*value));
    }
    return value->get<bool>();
}

Json const& ArrayOf(Json const& value, std::string const& path) {
    if (!value.is_array()) {
        Fail(path, "expected an array, found " + Describe(value));
    }
    return value;
}

std::string RequireId(ObjectReader const& object, char const* what) {
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
        ObjectReader const root(
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

    static std::string UniqueId(ObjectReader const& object, char const* what, FirstSeen& seen) {
        std::string const id = RequireId(object, what);
        auto const first = seen.emplace(id, object.Path());
        if (!first.second) {
            Fail(object.Path("id"), std::string("duplicate ") + what + " id " + Quoted(id) +
                                        " (first at " + first.first->second + ")");
        }
        return id;
    }

    static std::string RequireName(ObjectReader const& object) {
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

    void ReadFeatures(ObjectReader const& root) {
        Json const& features = ArrayOf(root.Require("features"), root.Path("features"));
        FirstSeen seen;
        for (std::size_t i = 0; i < features.size(); ++i) {
            ObjectReader const object(features[i], Element(root.Path("features"), i),
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

    std::vector<Defcat::Parameter*> ReadParameters(ObjectReader const& object,
                                                   std::string const& id, std::size_t needed) {
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

    void ReadRoles(ObjectReader const& root) {
        Json const& roles = ArrayOf(root.Require("roles"), root.Path("roles"));
        FirstSeen seen;
        for (std::size_t i = 0; i < roles.size(); ++i) {
            ObjectReader const object(
                roles[i], Element(root.Path("roles"), i),
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

    std::vector<Defcat::Entitlement*> ReadGrants(ObjectReader const& role,
                                                 std::string const& roleId) {
        std::vector<Defcat::Entitlement*> grants;
        Json const* list = role.Find("grants");
        if (list == nullptr) {
            return grants;
        }
        ArrayOf(*list, role.Path("grants"));
        std::set<Defcat::Feature*> granted; // a feature has one mask per role
        for (std::size_t i = 0; i < list->size(); ++i) {
            ObjectReader const object((*list)[i], Element(role.Path("grants"), i),
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

    std::vector<Defcat::UserAction*> ReadActions(ObjectReader const& grant) {
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
    void CheckBaseRole(ObjectReader const& role, std::vector<Defcat::Entitlement*> const& grants) {
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

    void ReadApplications(ObjectReader const& root) {
        Json const* list = root.Find("applications");
        if (list == nullptr) {
            return;
        }
        ArrayOf(*list, root.Path("applications"));
        FirstSeen seen;
        for (std::size_t i = 0; i < list->size(); ++i) {
            ObjectReader const object((*list)[i], Element(root.Path("applications"), i),
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

    void ReadFlavors(ObjectReader const& root) {
        Json const& list = ArrayOf(root.Require("flavors"), root.Path("flavors"));
        FirstSeen seen;
        for (std::size_t i = 0; i < list.size(); ++i) {
            ObjectReader const object(list[i], Element(root.Path("flavors"), i),
                                      {"id", "defaultRoles"});
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

// Line and column (both from 1) of the character at the 1-based byte position.
std::pair<std::size_t, std::size_t> LineAndColumn(std::string const& text, std::size_t byte) {
    std::size_t line = 1;
    std::size_t column = 1;
    std::size_t const end = byte == 0 ? 0 : std::min(byte - 1, text.size());
    for (std::size_t i = 0; i < end; ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return {line, column};
}

// The parser's own words for the fault, without its prefix and position.
std::string ParserDetail(char const* what) {
    std::string const text(what);
    std::size_t const column = text.find(", column ");
    std::size_t const start = column == std::string::npos ? column : text.find(": ", column);
    if (start != std::string::npos) {
        return text.substr(start + 2);
    }
    std::size_t const bracket = text.find("] ");
    return bracket == std::string::npos ? text : text.substr(bracket + 2);
}

} // namespace

std::unique_ptr<Catalogue> ParseCatalogue(std::string const& json, std::string const& sourceName,
                                          std::string& error) {
    Json document;
    PathTracker tracker;
    try {
        document = Json::parse(json, std::ref(tracker));
    } catch (Fault const& fault) {
        error = sourceName + ": " + fault.place + ": " + fault.text;
        return nullptr;
    } catch (Json::parse_error const& e) {
        std::pair<std::size_t, std::size_t> const at = LineAndColumn(json, e.byte);
        error = sourceName + ":" + std::to_string(at.first) + ":" + std::to_string(at.second) +
                ": invalid JSON: " + ParserDetail(e.what());
        return nullptr;
    } catch (Json::exception const& e) {
        error =
            sourceName + ": " + tracker.PendingPath() + ": invalid JSON: " + ParserDetail(e.what());
        return nullptr;
    }

    std::unique_ptr<Catalogue> catalogue(new Catalogue);
    catalogue->sourceName = sourceName;
    try {
        Builder(*catalogue).Read(document);
    } catch (Fault const& fault) {
        error = sourceName + ": " + fault.place + ": " + fault.text;
        return nullptr;
    }
    return catalogue;
}

} // namespace detail
} // namespace Host
