// The difference between the company file's tables before and after a
// change, as the details of its history record.
#include "ChangeDiff.h"

#include "BankAccounts.h"

#include <PM/Constants.h>

#include <algorithm>
#include <sstream>
#include <utility>

namespace Pmctl {

namespace {

using Host::AssignmentRow;
using Host::CompanyTables;
using Host::EntitlementRow;
using Host::MaskRow;
using Host::RoleRow;
using Host::UserRow;

int KeyOf(RoleRow const& row) {
    return row.id;
}
int KeyOf(EntitlementRow const& row) {
    return row.id;
}
int KeyOf(UserRow const& row) {
    return row.id;
}
std::pair<int, int> KeyOf(MaskRow const& row) {
    return {row.role, row.entitlement};
}
std::pair<int, int> KeyOf(AssignmentRow const& row) {
    return {row.userKey, row.role};
}

// Walks two lists of rows in key order side by side: on(before, after) for
// each key, with null for the side that lacks it.
template <class Row, class On>
void Merge(std::vector<Row> const& before, std::vector<Row> const& after, On on) {
    auto b = before.begin();
    auto a = after.begin();
    while (b != before.end() || a != after.end()) {
        if (a == after.end() || (b != before.end() && KeyOf(*b) < KeyOf(*a))) {
            on(&*b++, static_cast<Row const*>(nullptr));
        } else if (b == before.end() || KeyOf(*a) < KeyOf(*b)) {
            on(static_cast<Row const*>(nullptr), &*a++);
        } else {
            on(&*b++, &*a++);
        }
    }
}

// The row of rows (in key order) with the key; null when there is none.
template <class Row, class Key> Row const* Find(std::vector<Row> const& rows, Key const& key) {
    auto found = std::lower_bound(rows.begin(), rows.end(), key,
                                  [](Row const& row, Key const& k) { return KeyOf(row) < k; });
    return found != rows.end() && KeyOf(*found) == key ? &*found : nullptr;
}

bool IsAccount(int entitlementId) {
    return entitlementId >= PM::kFirstDynamicEntitlementId;
}

// A bank account lives until it is removed, which blanks it out but keeps
// its row; an entitlement of the catalogue as long as its row.
bool Live(EntitlementRow const* row) {
    return row != nullptr && (!IsAccount(row->id) || row->enabled != 0);
}

// As commands take it: a bank account's full name is its path of accounts
// below "Bank Registers".
std::string FullName(CompanyTables const& tables, EntitlementRow const& row) {
    if (!IsAccount(row.id)) {
        return row.name;
    }
    std::string path = row.name;
    EntitlementRow const* parent = Find(tables.entitlements, row.parent);
    // The depth bound stops a cycle that a damaged file might hold.
    for (int depth = 0; parent != nullptr && IsAccount(parent->id) && depth < 1000; ++depth) {
        path = parent->name + ":" + path;
        parent = Find(tables.entitlements, parent->parent);
    }
    return BankFullName(path);
}

// The permission data version in a version record's name
// ("PermissionData-27-216"), or the name when it has none.
Json VersionOf(std::string const& name) {
    std::istringstream in(name);
    std::vector<std::string> fields;
    for (std::string field; std::getline(in, field, '-');) {
        fields.push_back(field);
    }
    int version = 0;
    return fields.size() == 3 && ParseInt(fields[1], &version) ? Json(version) : Json(name);
}

// Adds item to details[section][list], making both as needed.
void Note(Json& details, char const* section, char const* list, Json item) {
    details[section][list].push_back(std::move(item));
}

class Describer {
public:
    Describer(CompanyTables const& before, CompanyTables const& after)
        : m_Before(before), m_After(after) {}

    Json Describe() {
        Entitlements();
        Users();
        Roles();
        Assignments();
        Masks();
        Json ordered = Json::object();
        for (char const* section :
             {"version", "users", "roles", "accounts", "entitlements", "assignments", "masks"}) {
            if (m_Details.contains(section)) {
                ordered[section] = std::move(m_Details[section]);
            }
        }
        return ordered;
    }

private:
    void Entitlements() {
        Merge(m_Before.entitlements, m_After.entitlements,
              [&](EntitlementRow const* was, EntitlementRow const* now) {
                  int const id = was != nullptr ? was->id : now->id;
                  if (id == PM::kEntitlementVersionId) {
                      if (was == nullptr || now == nullptr || was->name != now->name) {
                          m_Details["version"] = {{"from", was ? VersionOf(was->name) : Json()},
                                                  {"to", now ? VersionOf(now->name) : Json()}};
                      }
                      return;
                  }
                  char const* section = IsAccount(id) ? "accounts" : "entitlements";
                  if (!Live(was) && Live(now)) {
                      Note(m_Details, section, "added", Named(id, FullName(m_After, *now)));
                  } else if (Live(was) && !Live(now)) {
                      Note(m_Details, section, "removed", Named(id, FullName(m_Before, *was)));
                  } else if (Live(was) && (was->name != now->name || was->parent != now->parent) &&
                             IsAccount(id)) {
                      Note(m_Details, section, "renamed",
                           {{"id", id},
                            {"from", FullName(m_Before, *was)},
                            {"to", FullName(m_After, *now)}});
                  } else if (Live(was) &&
                             (was->name != now->name || was->parent != now->parent ||
                              was->attributes != now->attributes || was->visible != now->visible ||
                              was->enabled != now->enabled)) {
                      Note(m_Details, section, "changed", Named(id, FullName(m_After, *now)));
                  }
              });
    }

    void Users() {
        Merge(m_Before.users, m_After.users, [&](UserRow const* was, UserRow const* now) {
            if (was == nullptr) {
                Note(m_Details, "users", "added",
                     {{"id", now->id}, {"name", now->name}, {"admin", now->admin}});
            } else if (now == nullptr) {
                Note(m_Details, "users", "removed", Named(was->id, was->name));
            } else if (was->name != now->name || was->admin != now->admin ||
                       was->recordKey != now->recordKey) {
                Note(m_Details, "users", "changed",
                     {{"id", now->id}, {"name", now->name}, {"admin", now->admin}});
            }
        });
    }

    void Roles() {
        Merge(m_Before.roles, m_After.roles, [&](RoleRow const* was, RoleRow const* now) {
            if (was == nullptr) {
                Json created = Named(now->id, now->name);
                if (!now->description.empty()) {
                    created["description"] = now->description;
                }
                Note(m_Details, "roles", "created", created);
                return;
            }
            if (now == nullptr) {
                Note(m_Details, "roles", "deleted", Named(was->id, was->name));
                return;
            }
            if (was->name != now->name) {
                Note(m_Details, "roles", "renamed",
                     {{"id", now->id}, {"from", was->name}, {"to", now->name}});
            }
            if (was->description != now->description || was->visible != now->visible ||
                was->category != now->category) {
                Json changed = Named(now->id, now->name);
                if (was->description != now->description) {
                    changed["description"] = {was->description, now->description};
                }
                if (was->visible != now->visible) {
                    changed["visible"] = {was->visible != 0, now->visible != 0};
                }
                Note(m_Details, "roles", "changed", changed);
            }
        });
    }

    void Assignments() {
        Merge(m_Before.assignments, m_After.assignments,
              [&](AssignmentRow const* was, AssignmentRow const* now) {
                  if (was == nullptr || now == nullptr) {
                      AssignmentRow const& row = was != nullptr ? *was : *now;
                      Note(m_Details, "assignments", was == nullptr ? "added" : "removed",
                           {{"user", UserName(row.userKey)}, {"role", RoleName(row.role)}});
                  }
              });
    }

    void Masks() {
        Json masks = Json::array();
        Merge(m_Before.masks, m_After.masks, [&](MaskRow const* was, MaskRow const* now) {
            MaskRow const& row = was != nullptr ? *was : *now;
            long const before = was != nullptr ? was->mask : 0;
            long const after = now != nullptr ? now->mask : 0;
            if (before == after || Find(m_After.roles, row.role) == nullptr) {
                return;
            }
            EntitlementRow const* then = Find(m_Before.entitlements, row.entitlement);
            EntitlementRow const* entitlement = Find(m_After.entitlements, row.entitlement);
            if (IsAccount(row.entitlement)) {
                if (!Live(entitlement)) {
                    return; // removed with its account
                }
                if (!Live(then)) {
                    MaskRow const* parent =
                        Find(m_After.masks, std::make_pair(row.role, entitlement->parent));
                    if (after == (parent != nullptr ? parent->mask : 0)) {
                        return; // as on the parent, like every account added
                    }
                }
            }
            std::string name = entitlement != nullptr ? FullName(m_After, *entitlement)
                               : then != nullptr      ? FullName(m_Before, *then)
                                                 : "entitlement " + std::to_string(row.entitlement);
            masks.push_back({RoleName(row.role), name, before, after});
        });
        if (!masks.empty()) {
            m_Details["masks"] = masks;
        }
    }

    static Json Named(int id, std::string const& name) { return {{"id", id}, {"name", name}}; }

    std::string RoleName(int roleId) const {
        RoleRow const* role = Find(m_After.roles, roleId);
        role = role != nullptr ? role : Find(m_Before.roles, roleId);
        return role != nullptr ? role->name : "role " + std::to_string(roleId);
    }

    std::string UserName(int recordKey) const {
        for (std::vector<UserRow> const* users : {&m_After.users, &m_Before.users}) {
            for (UserRow const& user : *users) {
                if (user.recordKey == recordKey) {
                    return user.name;
                }
            }
        }
        return "record key " + std::to_string(recordKey);
    }

    CompanyTables const& m_Before;
    CompanyTables const& m_After;
    Json m_Details = Json::object();
};

} // namespace

Json DescribeChange(Host::CompanyTables const& before, Host::CompanyTables const& after) {
    return Describer(before, after).Describe();
}

} // namespace Pmctl
