// Grants of roles edit: parsing, reading JSON, and spreading them over the
// role's entitlement tree.
#include "RoleGrants.h"

#include "CommandSupport.h"
#include "EntitlementTree.h"

#include <host/json/StrictJson.h>

#include <PM/Constants.h>
#include <PM/PermissionManager.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>

namespace Pmctl {

char const kEveryEntitlement[] = "*";

namespace {

namespace StrictJson = Host::StrictJson;

// The mask that value at where stands for: an array of action words, a string
// of words or a mask from 0 to 127.
long ReadMask(StrictJson::Value const& value, std::string const& where) {
    if (value.is_number_integer() && value.get<long>() >= 0 && value.get<long>() <= 127) {
        return value.get<long>();
    }
    if (value.is_number()) {
        StrictJson::Fail(where, "mask " + value.dump() +
                                    " is not an action (masks are whole numbers from 0 to 127)");
    }
    std::string words;
    if (value.is_string()) {
        words = StrictJson::TextOf(value, where);
    } else if (value.is_array()) {
        for (std::size_t i = 0; i < value.size(); ++i) {
            words +=
                (i == 0 ? "" : ",") + StrictJson::TextOf(value[i], StrictJson::Element(where, i));
        }
        words = value.empty() ? "none" : words;
    }
    long mask = 0;
    std::string error;
    if (!ParseActions(words, &mask, &error)) {
        StrictJson::Fail(where, error);
    }
    return mask;
}

// One row of the {"entitlements": [...]} form.
Grant ReadRow(StrictJson::Object const& row) {
    Grant grant{"", -1, 0};
    StrictJson::Value const* fullName = row.Find("fullName");
    StrictJson::Value const* id = row.Find("id");
    StrictJson::Value const* name = row.Find("name");
    if (fullName != nullptr && fullName->is_string()) {
        grant.named = fullName->get<std::string>();
    } else if (id != nullptr && id->is_number_integer() && id->get<long>() >= 0 &&
               id->get<long>() <= INT32_MAX) {
        grant.id = static_cast<int>(id->get<long>());
    } else if (name != nullptr && name->is_string()) {
        grant.named = name->get<std::string>();
    } else {
        StrictJson::Fail(row.Path(), "expected a \"fullName\", an \"id\" or a \"name\"");
    }
    char const* key = row.Find("actions") != nullptr ? "actions" : "mask";
    StrictJson::Value const* value = row.Find(key);
    grant.mask = value != nullptr ? ReadMask(*value, row.Path(key))
                                  : ReadMask(StrictJson::Value(), row.Path());
    return grant;
}

// The live entitlement that grant names; its id in *id, the name to show in
// *fullName (the tree's, when it is in the tree).
bool Find(Session& session, Grant const& grant, std::map<int, std::size_t> const& rowOf,
          std::vector<TreeRow> const& tree, int* id, std::string* fullName, Io io) {
    PM::EntitlementDef def;
    if (grant.named.empty()) {
        def = session.Manager().FindEntitlementDefById(grant.id);
        if (def.GetId() == PM_ERR_NOENT || (def.IsDynamicEntitlement() && !def.IsEnabled())) {
            Complain(io, session.Path()) << "no entitlement with the id " << grant.id << "\n";
            return false;
        }
    } else if (!FindEntitlement(session, grant.named, &def, io)) {
        return false;
    }
    if (def.GetId() == PM::kEntitlementVersionId) {
        Complain(io, session.Path()) << (grant.named.empty() ? "the id " + std::to_string(grant.id)
                                                             : "\"" + grant.named + "\"")
                                     << " is the version record, not an entitlement\n";
        return false;
    }
    *id = def.GetId();
    std::map<int, std::size_t>::const_iterator row = rowOf.find(def.GetId());
    *fullName = row == rowOf.end() ? std::string(def.GetName()) : tree[row->second].fullName;
    return true;
}

} // namespace

bool ParseGrant(std::string const& file, std::string const& text, Grant* grant, Io io) {
    std::size_t equals = text.rfind('=');
    std::string error;
    *grant = Grant{text.substr(0, equals == std::string::npos ? 0 : equals), -1, 0};
    if (equals == std::string::npos || grant->named.empty()) {
        Complain(io, file) << "a grant is ENTITLEMENT=ACTIONS, not \"" << text << "\"\n";
        return false;
    }
    if (!ParseActions(text.substr(equals + 1), &grant->mask, &error)) {
        Complain(io, file) << "in \"" << text << "\": " << error << "\n";
        return false;
    }
    return true;
}

bool ReadJsonGrants(std::string const& path, std::vector<Grant>* grants, Io io) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        io.err << "pmctl: " << path << ": cannot read the file\n";
        return false;
    }
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    try {
        StrictJson::Value const json = StrictJson::Parse(text);
        StrictJson::Object const root(json, "$");
        StrictJson::Value const* rows = root.Find("entitlements");
        if (rows == nullptr) {
            for (auto const& item : json.items()) {
                grants->push_back(
                    {item.key(), -1, ReadMask(item.value(), StrictJson::Member("$", item.key()))});
            }
            return true;
        }
        StrictJson::ArrayOf(*rows, root.Path("entitlements"));
        for (std::size_t i = 0; i < rows->size(); ++i) {
            grants->push_back(ReadRow(
                StrictJson::Object((*rows)[i], StrictJson::Element(root.Path("entitlements"), i))));
        }
        return true;
    } catch (StrictJson::Fault const& fault) {
        io.err << "pmctl: " << fault.Message(path) << "\n";
        return false;
    }
}

bool ResolveGrants(Session& session, int roleId, std::vector<Grant> const& grants, bool recursive,
                   std::vector<GrantedRow>* rows, Io io) {
    std::vector<TreeRow> tree;
    if (!RoleTree(session, roleId, &tree)) {
        Complain(io, session.Path()) << "cannot list the entitlements of the role\n";
        return false;
    }
    std::map<int, std::size_t> rowOf;
    for (std::size_t i = 0; i < tree.size(); ++i) {
        rowOf[tree[i].id] = i;
    }
    bool every = false;
    long everyMask = 0;
    std::map<int, long> own;                         // entitlement id -> mask, named itself
    std::vector<std::pair<int, std::string>> hidden; // named, not in the tree
    for (Grant const& grant : grants) {
        if (grant.named == kEveryEntitlement) {
            if (every) {
                Complain(io, session.Path()) << "\"*\" is granted twice\n";
                return false;
            }
            every = true;
            everyMask = grant.mask;
            continue;
        }
        int id = -1;
        std::string fullName;
        if (!Find(session, grant, rowOf, tree, &id, &fullName, io)) {
            return false;
        }
        if (!own.emplace(id, grant.mask).second) {
            Complain(io, session.Path()) << fullName << " is granted twice\n";
            return false;
        }
        if (rowOf.count(id) == 0) {
            hidden.emplace_back(id, fullName);
        }
    }
    rows->clear();
    for (TreeRow const& row : tree) {
        std::map<int, long>::const_iterator grant = own.find(row.id);
        bool named = grant != own.end();
        // A parent comes before its children, so the walk up meets only rows
        // already seen; it ends at the root, which is not in the tree.
        for (int above = row.parent; grant == own.end() && recursive && rowOf.count(above) != 0;
             above = tree[rowOf[above]].parent) {
            grant = own.find(above);
        }
        if (grant != own.end() || every) {
            rows->push_back(
                {row.id, row.fullName, grant != own.end() ? grant->second : everyMask, named});
        }
    }
    for (auto const& [id, fullName] : hidden) {
        rows->push_back({id, fullName, own[id], true});
    }
    return true;
}

} // namespace Pmctl
