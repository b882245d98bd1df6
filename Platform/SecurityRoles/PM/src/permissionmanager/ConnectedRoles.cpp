// Connected roles: the configuration of entitlement sets read from the sphere
// module's JSON document, the connected-role flag that role lists carry, and
// the full-access flag.
#include <PM/PermissionManager.h>
#include <Util/StringCompare.h>

#include "Diagnostics.h"
#include "permissionmanager/SphereModule.h"

#include <Loader/Itoa.h>
#include <Loader/ModuleLoader.h>

// Boost's JSON parser still reaches the old global bind placeholders.
#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace PM {

namespace {

using boost::property_tree::ptree;

// State of the one search in progress: the keys from where the search started
// down to the member being walked, each followed by '.', and whether the leaf
// was found. Process-wide, so searches can't run on two threads at once or
// nest; FindConnectedRoleValue's callers clear the path before each search.
std::string gDottedPath;
bool gFound = false;

// Depth-first, in document order: the text of the first leaf named leafKey
// (ignoring case) whose ancestors' dotted path holds path as a substring.
// Empty when none. Members with an empty key (array elements) are skipped,
// so arrays are never read. The path holds only the ancestors, so a leaf
// directly below the start can't match a non-empty path; and the substring
// match lets "A.Ent_1" hit inside "A.Ent_10." or "XA.Ent_1.": the first hit
// in document order stands, which documents rely on by keeping their members
// in ascending order.
TString FindConnectedRoleValue(ptree const& tree, std::string const& path, char const* leafKey) {
    TString result;
    gFound = false;
    for (ptree::value_type const& child : tree) {
        if (gFound || child.first.empty()) {
            continue;
        }
        if (!child.second.data().empty()) {
            if (gDottedPath.find(path) != std::string::npos &&
                Util::CompareStrings(child.first.c_str(), leafKey, Util::kCaseInsensitive) ==
                    Util::kStringEqual) {
                gFound = true;
                result = child.second.data().c_str();
            }
        } else {
            std::string saved = gDottedPath;
            gDottedPath += child.first + ".";
            result = FindConnectedRoleValue(child.second, path, leafKey);
            gDottedPath = saved;
        }
    }
    return result;
}

TString FindFromStart(ptree const& tree, std::string const& path, char const* leafKey) {
    gDottedPath.clear();
    return FindConnectedRoleValue(tree, path, leafKey);
}

// The group names: pieces between commas, empty ones dropped, blanks kept.
std::vector<std::string> SplitGroupNames(char const* text) {
    std::vector<std::string> names;
    std::stringstream stream{std::string(text)};
    std::string piece;
    while (std::getline(stream, piece, ',')) {
        if (!piece.empty()) {
            names.push_back(piece);
        }
    }
    return names;
}

// The keys are numbered in a buffer of five bytes: four digits at most.
const int kLastEntNumber = 9999;

// One group's pairs within the subtree of one top-level member, from Ent_1 up
// to the first number whose id or minimum is missing or empty.
ConnectedEntitlementSet ReadGroup(ptree const& member, std::string const& group) {
    ConnectedEntitlementSet set;
    for (int number = 1; number <= kLastEntNumber; ++number) {
        char digits[5] = {0};
        _itoa(number, digits, 10);
        std::string path = group + ".Ent_" + digits;
        TString id = FindFromStart(member, path, "entitlementId");
        TString minAction = FindFromStart(member, path, "minAction");
        if (id.IsEmpty() || minAction.IsEmpty()) {
            break;
        }
        set.insert(ConnectedEntitlementSet::value_type(id.c_str(), minAction.c_str()));
    }
    return set;
}

} // namespace

void PermissionManager::FetchConnectedEntitlementIDList() {
    // A read that brought sets is never repeated; one that brought nothing is
    // tried again at the next call.
    if (!m_ConnectedEntitlementSets.empty()) {
        return;
    }
    char* text = nullptr;
    if (HMODULE module = LoadLibraryA(kSphereModuleName)) {
        GetConnectedRolesListFromDCEFn getText =
            GetSphereExport<GetConnectedRolesListFromDCEFn>(module, "GetConnectedRolesListFromDCE");
        if (getText != nullptr) {
            text = getText();
        }
        // The module goes before the text is touched: the block is the C
        // runtime's, shared with the module, and outlives it.
        FreeLibrary(module);
    }
    try {
        ptree tree;
        if (text != nullptr) {
            std::stringstream stream;
            stream << text;
            boost::property_tree::read_json(stream, tree);
            // Released only after a successful parse: a text that fails to
            // parse stays unreleased, as it always has.
            std::free(text);
        }
        m_ConnectedEntitlementSets.clear();
        for (ptree::value_type const& member : tree) {
            if (member.first.empty()) {
                continue; // an array element, and arrays are never read
            }
            // The group names are looked for in the whole document, so each
            // member gets the same list.
            TString names = FindFromStart(tree, "Entitlement", "EntitlementNames");
            for (std::string const& group : SplitGroupNames(names)) {
                ConnectedEntitlementSet set = ReadGroup(member.second, group);
                if (!set.empty()) {
                    m_ConnectedEntitlementSets.insert(set); // equal sets collapse
                }
            }
        }
    } catch (...) {
        // Sets completed before the failure stay.
        PM_LOG(kLogPathPermissionManager, kLevelWarning, kEventProblem)
        ("UserMgmt: Error reading Connected roles from config.");
    }
}

bool PermissionManager::CheckAndSetConnectedRoleFlag(RoleDef* role, int roleId, bool appendSuffix) {
    std::unique_ptr<RoleDef> lookedUp;
    if (role == nullptr) {
        lookedUp.reset(GetRoleDef(roleId));
        role = lookedUp.get();
        if (role == nullptr) {
            return false; // no role to write the verdict into
        }
    }
    // Visible entitlements only: an invisible one never counts.
    std::unique_ptr<std::vector<EntitlementDef>> listed(
        GetThePermissionManager().GetSortedEntitlements(role->GetId()));
    std::vector<EntitlementDef> const none;
    std::vector<EntitlementDef> const& entitlements = listed != nullptr ? *listed : none;
    FetchConnectedEntitlementIDList();

    // One counter for all sets, never reset between them: hits of an earlier
    // set count towards a later one, so a set of two after a set of two with
    // one hit is met by a single hit of its own. Role lists have always
    // flagged roles this way, and the flag is kept as it was.
    std::size_t hits = 0;
    bool connected = false;
    for (ConnectedEntitlementSet const& set : m_ConnectedEntitlementSets) {
        for (ConnectedEntitlementSet::value_type const& pair : set) {
            int id = std::atoi(pair.first.c_str());
            for (EntitlementDef const& entitlement : entitlements) {
                if (entitlement.GetId() == id) {
                    // Numerically, not bit by bit.
                    if (entitlement.GetAction() >= std::atoi(pair.second.c_str())) {
                        ++hits;
                    }
                    break;
                }
            }
        }
        if (!set.empty() && hits == set.size()) {
            connected = true;
            break;
        }
    }
    role->SetIsConnectedRole(connected);
    if (connected) {
        role->SetUserRoleNameForConnectedRole(TString());
        if (appendSuffix) {
            role->GetDescription().Append(m_ConnectedRoleSuffix);
        }
    }
    return connected;
}

bool PermissionManager::GetIfFullAccessIsAllowed(RoleDef* role, int roleId) {
    std::unique_ptr<RoleDef> lookedUp;
    if (role == nullptr) {
        lookedUp.reset(GetRoleDef(roleId));
        role = lookedUp.get();
    }
    if (role != nullptr && role->GetIsFullAccess()) {
        return true;
    }
    std::unique_ptr<std::vector<EntitlementDef>> entitlements(GetEntitlements(roleId, -1, false));
    if (entitlements == nullptr) {
        return false;
    }
    for (EntitlementDef& entitlement : *entitlements) {
        if (entitlement.GetIfFullAccess()) {
            if (role != nullptr) {
                role->SetIsFullAccess(true);
            }
            return true;
        }
    }
    return false;
}

} // namespace PM
