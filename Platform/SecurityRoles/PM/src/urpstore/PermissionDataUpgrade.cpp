// The version check and the upgrade of stored permission data: the version
// record (entitlement 0, named "<name>-<version>-<count>") against the
// catalogue's, and the merge of the catalogue's list into the stored one.
#include <Defcat/Defcat.h>
#include <PM/Constants.h>
#include <PM/ResultCodes.h>
#include <PM/URPStoreBase.h>
#include <Records/DMUSREntitlement.h>
#include <Util/StringCompare.h>

#include "Diagnostics.h"
#include "urpstore/Tokenize.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace PM {

namespace {

char const kVersionDelimiters[] = "-";

bool SameAsCatalogue(EntitlementDef const& catalogue, EntitlementDef const& stored) {
    // A change of case alone in the name is no change; the action plays no part.
    return Util::CompareStrings(catalogue.GetName(), stored.GetName(), Util::kCaseInsensitive) ==
               Util::kStringEqual &&
           catalogue.IsEnabled() == stored.IsEnabled() &&
           catalogue.IsVisible() == stored.IsVisible() &&
           catalogue.GetCategory() == stored.GetCategory() &&
           catalogue.GetAttrs() == stored.GetAttrs();
}

// After the version record was added or updated.
void LogVersionUpdate(URPStoreBase& store, EntitlementDef const& written) {
    if (written.GetId() == kEntitlementVersionId) {
        PM_LOG(kLogPathURPStore, kLevelProgress, kEventProgress)
        ("Update Permission Data to Version %i",
         store.URPSGetVersionFromEntitlementName(written.GetName()));
    }
}

} // namespace

std::ptrdiff_t Tokenize(TString const& text, char const* delimiters, std::vector<TString>& tokens) {
    tokens.clear();
    char const* cursor = text.c_str();
    while (*cursor != '\0') {
        cursor += std::strspn(cursor, delimiters);
        std::size_t length = std::strcspn(cursor, delimiters);
        if (length > 0) {
            tokens.push_back(TString(cursor, length));
        }
        cursor += length;
    }
    return static_cast<std::ptrdiff_t>(tokens.size());
}

int URPStoreBase::URPSGetVersionFromEntitlementName(TString name) {
    std::vector<TString> fields;
    if (Tokenize(name, kVersionDelimiters, fields) != 3) {
        return -1;
    }
    return std::atoi(fields[1]);
}

int URPStoreBase::URPSGetURPVersionFromCompanyFile(int* urpVersion) {
    if (urpVersion == nullptr) {
        PM_RAISE("urpVersion != NULL");
        return PM_ERROR; // nowhere to put the version
    }
    DMUSREntitlement table;
    long count = 0;
    if (table.GetCount(&count, nullptr).Failed()) {
        return PM_ERROR;
    }
    if (count == 0) {
        return PM_ERR_EMPTYSTORE;
    }
    m_EntitlementCursor.CurrentId = kEntitlementVersionId;
    EntitlementObject record;
    int result = URPSGetEntitlement(record);
    if (result == PM_OK) {
        *urpVersion = URPSGetVersionFromEntitlementName(record.m_Name);
        return PM_OK;
    }
    return result == PM_ERR_NOENT ? PM_ERR_NOVERSION : result;
}

int URPStoreBase::URPSGetEntitlementCountFromCompanyFile(int* urpEntCount) {
    if (urpEntCount == nullptr) {
        PM_RAISE("urpEntCount != NULL");
        return PM_ERROR;
    }
    DMUSREntitlement table;
    long count = 0;
    if (table.GetCount(&count, nullptr).Failed()) {
        return PM_ERROR;
    }
    if (count == 0) {
        return PM_ERR_EMPTYSTORE;
    }
    m_EntitlementCursor.CurrentId = kEntitlementVersionId;
    EntitlementObject record;
    int result = URPSGetEntitlement(record);
    if (result == PM_ERR_NOENT) {
        // Rows without a version record: a file from before versioning.
        *urpEntCount = kLegacyEntitlementCount;
        return PM_ERR_NOVERSION;
    }
    if (result != PM_OK) {
        return result;
    }
    std::vector<TString> fields;
    *urpEntCount =
        Tokenize(record.m_Name, kVersionDelimiters, fields) == 3 ? std::atoi(fields[2]) : -1;
    return PM_OK;
}

int URPStoreBase::URPSGetURPVersionFromADR(int* urpVersion) {
    if (urpVersion == nullptr) {
        PM_RAISE("urpVersion != NULL");
        return PM_ERROR;
    }
    auto_init_ptr<Defcat::Feature> pPermissionVersion = Defcat::Feature::FindByID("0");
    if (pPermissionVersion.get() == nullptr) {
        PM_RAISE("pPermissionVersion != NULL");
        return PM_ERROR; // no version to read
    }
    DefcatObjectPtrList<Defcat::Parameter> parameters;
    pPermissionVersion->GetParameters(&parameters, false);
    *urpVersion = parameters.size() > 2 ? std::atoi(parameters[2]->GetData()) : 0;
    return PM_OK;
}

int URPStoreBase::URPSCheckURPVersionDoUpdateIfNeeded() {
    int storedVersion = 0;
    int result = URPSGetURPVersionFromCompanyFile(&storedVersion);
    if (result == PM_ERR_EMPTYSTORE) {
        return PM_OK; // nothing to upgrade; defaults come from SetDefaultRoles
    }
    if (result == PM_ERR_NOVERSION) {
        return URPSUpdatePermissionData();
    }
    if (result != PM_OK) {
        return result;
    }
    int catalogueVersion = 0;
    result = URPSGetURPVersionFromADR(&catalogueVersion);
    if (result != PM_OK) {
        return result;
    }
    // Inequality, not order: a file written by a later version is merged
    // back to the running catalogue just the same.
    if (storedVersion == catalogueVersion) {
        return PM_OK;
    }
    result = URPSUpdatePermissionData();
    if (result != PM_OK) {
        return result;
    }
    return URPSCountrySpecificUpdate();
}

int URPStoreBase::URPSUpdatePermissionData() {
    std::unique_ptr<std::vector<EntitlementDef>> pADREntitlementList(
        URPSGetEntitlementListFromADR());
    if (pADREntitlementList == nullptr) {
        PM_RAISE("pADREntitlementList.get() != NULL");
        return PM_ERROR;
    }
    std::unique_ptr<std::vector<EntitlementDef>> pDBEntitlementList(
        URPSGetEntitlementListFromTable());
    if (pDBEntitlementList == nullptr) {
        PM_RAISE("pDBEntitlementList.get() != NULL");
        return PM_ERROR;
    }
    // A merge of two lists ascending by id. No transaction spans it: the
    // version record (id 0) is rewritten first, so a merge that fails later
    // leaves a file that states the new version, and nothing retries.
    // Only the store calls set the result: a merge with nothing to do is
    // PM_ERROR.
    int result = PM_ERROR;
    std::vector<EntitlementDef>& catalogue = *pADREntitlementList;
    std::vector<EntitlementDef>& stored = *pDBEntitlementList;
    std::size_t c = 0;
    std::size_t s = 0;
    while (c < catalogue.size() || s < stored.size()) {
        EntitlementDef* pADRent = c < catalogue.size() ? &catalogue[c] : nullptr;
        EntitlementDef* pDBent = s < stored.size() ? &stored[s] : nullptr;
        if (pDBent == nullptr || (pADRent != nullptr && pADRent->GetId() < pDBent->GetId())) {
            // New in the catalogue: every role gets it, with nothing granted
            // but to the administrator role and the fixed exceptions.
            result = URPSAddEntitlementToDB(*pADRent);
            if (result != PM_OK) {
                return result;
            }
            result = URPSAddRoleActionAssociationByEntitlement(pADRent->GetId(), 0);
            if (result != PM_OK) {
                return result;
            }
            LogVersionUpdate(*this, *pADRent);
            ++c;
        } else if (pADRent == nullptr || pADRent->GetId() > pDBent->GetId()) {
            // Gone from the catalogue: the record and its masks in all roles.
            result = URPSDeleteEntitlementToDB(*pDBent);
            if (result != PM_OK) {
                return result;
            }
            result = URPSDeleteRoleActionAssociationsByEntitlement(pDBent->GetId());
            if (result != PM_OK) {
                return result;
            }
            ++s;
        } else {
            if (!SameAsCatalogue(*pADRent, *pDBent)) {
                result = URPSUpdateEntitlementToDB(*pADRent); // the masks stay
                if (result != PM_OK) {
                    return result;
                }
                LogVersionUpdate(*this, *pADRent);
            }
            ++c;
            ++s;
        }
    }
    return result;
}

} // namespace PM
