// The one-way path from the definition catalogue into the store: the list of
// entitlements, the default roles of the current product flavor and their
// masks. Every write goes through the store's virtual operations.
#include <Defcat/Defcat.h>
#include <PM/ActionMask.h>
#include <PM/Constants.h>
#include <PM/ResultCodes.h>
#include <PM/URPStoreBase.h>
#include <Records/DMUSREntitlement.h>
#include <Util/StringCompare.h>

#include "Diagnostics.h"

#include <cstdlib>
#include <memory>
#include <new>

namespace PM {

namespace {

char const kBaseRoleId[] = "BASE_ROLE";

// The data of parameter index, or "" when the feature has fewer parameters
// (a validated catalogue always supplies them).
TString ParameterData(DefcatObjectPtrList<Defcat::Parameter> const& parameters, std::size_t index) {
    return index < parameters.size() ? parameters[index]->GetData() : TString();
}

// The action bit a catalogue user action stands for; 5, 6, 7 and values
// above 8 set none, and no type maps to Custom.
long MaskForUserAction(Defcat::UserActionType type) {
    switch (type) {
    case Defcat::kUserActionView:
        return kActionView;
    case Defcat::kUserActionViewBalance:
        return kActionViewBal;
    case Defcat::kUserActionPrint:
        return kActionPrint;
    case Defcat::kUserActionCreate:
        return kActionCreate;
    case Defcat::kUserActionModify:
        return kActionModify;
    case Defcat::kUserActionDelete:
        return kActionDelete;
    default:
        return 0;
    }
}

} // namespace

std::vector<EntitlementDef>* URPStoreBase::URPSGetEntitlementListFromADR() {
    std::unique_ptr<std::vector<EntitlementDef>> pEntlist(new (std::nothrow)
                                                              std::vector<EntitlementDef>());
    if (pEntlist == nullptr) {
        PM_RAISE("pEntlist.get() != NULL");
        return nullptr;
    }
    auto_init_ptr<Defcat::Role> pBaseRole = Defcat::Role::FindByID(kBaseRoleId);
    if (pBaseRole.get() == nullptr) {
        // Null even when the handler lets us go on: there is no list to read,
        // and an empty one would tell the upgrade's merge to delete every
        // stored entitlement.
        PM_RAISE("pBaseRole != NULL");
        return nullptr;
    }
    // The root role's first grant lists every entitlement of the product, in
    // catalogue order, which the upgrade's merge needs ascending by id.
    DefcatObjectPtrList<Defcat::Entitlement> grants;
    pBaseRole->GetEntitlements(&grants, false);
    if (grants.empty()) {
        return nullptr; // no list either, for the same reason
    }
    DefcatObjectPtrList<Defcat::Feature> features;
    grants[0]->GetFeatures(&features, false);
    for (std::size_t i = 0; i < features.size(); ++i) {
        auto_init_ptr<Defcat::Feature> feature = features[i];
        TString name = feature->GetName();
        int id = std::atoi(feature->GetID());
        DefcatObjectPtrList<Defcat::Parameter> parameters;
        feature->GetParameters(&parameters, false);
        long attrs = std::atol(ParameterData(parameters, 1));

        EntitlementDef def;
        def.SetId(id);
        def.SetCategory(std::atoi(ParameterData(parameters, 0)));
        def.SetAttrs(attrs);
        def.SetVisible((attrs & 1) != 0); // bit 0 of the catalogue's word means visible
        def.SetEnabled(feature->GetEnabled());
        if (id == kEntitlementVersionId) {
            // The version record: name, permission data version and number of
            // entitlements, joined by hyphens.
            name += "-";
            name += ParameterData(parameters, 2);
            name += "-";
            name += ParameterData(parameters, 3);
        }
        def.SetName(name);
        pEntlist->push_back(def);
    }
    return pEntlist.release();
}

std::vector<EntitlementDef>* URPStoreBase::URPSGetEntitlementListFromTable() {
    std::unique_ptr<std::vector<EntitlementDef>> pEntlist(new (std::nothrow)
                                                              std::vector<EntitlementDef>());
    if (pEntlist == nullptr) {
        PM_RAISE("pEntlist.get() != NULL");
        return nullptr;
    }
    EntitlementObject record;
    int result = URPSGetFirstEntitlement(record);
    if (result == PM_ERR_EMPTYSTORE) {
        return pEntlist.release();
    }
    if (result != PM_OK) {
        return nullptr;
    }
    pEntlist->push_back(EntitlementDef(record));
    // The scan's end and a failure look alike; either ends the list.
    while (URPSGetNextEntitlement(record) == PM_OK) {
        // Dynamic entitlements are the system's own and never take part in a
        // comparison with the catalogue.
        if (record.m_Id >= kFirstDynamicEntitlementId) {
            continue;
        }
        std::unique_ptr<EntitlementDef> edobject(new (std::nothrow) EntitlementDef(record));
        if (edobject == nullptr) {
            if (!PM_RAISE("edobject != NULL")) {
                return nullptr;
            }
            continue;
        }
        pEntlist->push_back(*edobject);
    }
    return pEntlist.release();
}

int URPStoreBase::URPSSetDefaultEntitlements() {
    m_EntitlementCursor.CurrentId = 0;
    m_EntitlementCursor.Read = 0;
    DMUSREntitlement table;
    long count = 0;
    Util::Status status = table.GetCount(&count, nullptr);
    if (status.Failed() || count > 0) {
        return PM_ERROR; // fills an empty table and refuses any other
    }
    std::unique_ptr<std::vector<EntitlementDef>> pADREntitlementList(
        URPSGetEntitlementListFromADR());
    if (pADREntitlementList == nullptr) {
        PM_RAISE("pADREntitlementList.get() != NULL");
        return PM_ERROR;
    }
    if (pADREntitlementList->empty()) {
        return PM_ERROR;
    }
    for (EntitlementDef& def : *pADREntitlementList) {
        int result = URPSAddEntitlementToDB(def);
        if (result != PM_OK) {
            return result; // what was added stays
        }
    }
    return PM_OK;
}

int URPStoreBase::URPSSetDefaultRoles() {
    auto_init_ptr<Defcat::ProductFlavor> flavor = Defcat::ProductFlavor::GetCurrent();
    if (flavor.get() == nullptr) {
        return PM_ERROR;
    }
    auto_init_ptr<Defcat::DefaultRoleList> defaults = flavor->GetDefaultRoleList();
    DefcatObjectPtrList<Defcat::Role> roles;
    if (defaults.get() != nullptr) {
        defaults->GetRoles(&roles, true);
    }
    if (roles.empty()) {
        return PM_ERROR;
    }
    // Ids count from 0 in the flavor's order, so the first default role is
    // the administrator role.
    int nextRoleId = 0;
    for (std::size_t i = 0; i < roles.size(); ++i) {
        auto_init_ptr<Defcat::Role> role = roles[i];
        if (Util::CompareStrings(role->GetID(), kBaseRoleId, Util::kCaseInsensitive) ==
            Util::kStringEqual) {
            continue; // a definition only; it consumes no id
        }
        RoleDef def;
        def.SetId(nextRoleId);
        def.SetName(role->GetName());
        def.SetDescription(role->GetDescription());
        def.SetCategory(0);
        def.SetVisible(role->GetVisible());
        int result = URPSAddRoleToDB(def);
        if (result != PM_OK) {
            return result;
        }
        result = URPSSetDefaultEntitlementsForRole(role, nextRoleId);
        if (result != PM_OK) {
            return result;
        }
        ++nextRoleId;
    }
    return PM_OK;
}

int URPStoreBase::URPSSetSingleDefaultRole(const TString& roleCatalogueId, int roleId) {
    auto_init_ptr<Defcat::Role> pRole = Defcat::Role::FindByID(roleCatalogueId);
    if (pRole.get() == nullptr) {
        PM_RAISE("pRole != NULL");
        return PM_ERROR; // no role to write
    }
    RoleDef def;
    def.SetId(roleId);
    def.SetName(pRole->GetName());
    def.SetDescription(pRole->GetDescription());
    def.SetCategory(0);
    // This path takes visibility from the private flag, the flavor path from
    // the visible flag; the two are kept on their own flags on purpose.
    def.SetVisible(!pRole->GetPrivate());
    int result = URPSAddRoleToDB(def);
    if (result != PM_OK) {
        return result;
    }
    return URPSSetDefaultEntitlementsForRole(pRole, roleId);
}

int URPStoreBase::URPSSetDefaultEntitlementsForRole(auto_init_ptr<Defcat::Role> role, int roleId) {
    if (role.get() == nullptr) {
        return PM_ERROR;
    }
    DefcatObjectPtrList<Defcat::Entitlement> entitlements;
    role->GetEntitlements(&entitlements, false);
    if (entitlements.size() == 0) {
        PM_RAISE("entitlements.size() > 0"); // reported only: no grants, nothing to write
    }
    for (std::size_t i = 0; i < entitlements.size(); ++i) {
        // The mask starts anew for each grant: a feature gets the mask of the
        // grant it stands in. A grant without actions still writes mask 0.
        long mask = 0;
        DefcatObjectPtrList<Defcat::UserAction> actions;
        entitlements[i]->GetUserActions(&actions, false);
        for (std::size_t a = 0; a < actions.size(); ++a) {
            mask |= MaskForUserAction(actions[a]->GetType());
        }
        DefcatObjectPtrList<Defcat::Feature> features;
        entitlements[i]->GetFeatures(&features, false);
        if (features.size() == 0) {
            PM_RAISE("features.size() > 0"); // reported only
        }
        for (std::size_t f = 0; f < features.size(); ++f) {
            int result =
                URPSAddRoleActionAssociation(roleId, std::atoi(features[f]->GetID()), mask);
            if (result != PM_OK) {
                return result; // what was written stays
            }
        }
    }
    return PM_OK;
}

} // namespace PM
