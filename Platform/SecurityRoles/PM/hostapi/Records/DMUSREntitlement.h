// Entitlement table of the company file: one record per entitlement, keyed by
// EntitlementId. Id 0 is the version record.
#pragma once

#include <DBMgr/DMTransaction.h>
#include <Records/RecordText.h>
#include <Util/Status.h>

#include <string>

// The conventions of DMUSRRole.h.
class DMUSREntitlement {
public:
    DMUSREntitlement();
    virtual ~DMUSREntitlement();

    // Fills every field from the entitlement with id entitlementId.
    Util::Status Load(long entitlementId, DBMgr::DMTransaction* txn);
    // Stores the fields as a new entitlement; fails when EntitlementId is
    // stored.
    Util::Status Add(DBMgr::DMTransaction* txn);
    // Replaces every stored field of the entitlement with EntitlementId;
    // kRecordNotFound, with nothing added, when there is none.
    Util::Status Update(DBMgr::DMTransaction* txn);
    // Deletes the entitlement with EntitlementId; kRecordNotFound when there
    // is none. Its masks stay.
    Util::Status Delete(DBMgr::DMTransaction* txn);
    // Deletes every entitlement, the version record included; succeeds also
    // on an empty table.
    Util::Status DeleteAll(DBMgr::DMTransaction* txn);
    // Stores the number of entitlements (the version record counts) in *count
    // (not null); on failure *count is left as it was.
    Util::Status GetCount(long* count, DBMgr::DMTransaction* txn);

    void SetEntitlementId(long id) { m_EntitlementId = id; }
    void SetCategoryType(long category) { m_CategoryType = category; }
    void SetAttributesId(long attrs) { m_AttributesId = attrs; }
    void SetIsEnabled(short enabled) { m_IsEnabled = enabled; }
    void SetIsVisible(short visible) { m_IsVisible = visible; }
    // As DMUSRRole::SetName.
    Util::Status SetName(char const* name);

    long GetEntitlementId() const { return m_EntitlementId; }
    long GetCategoryType() const { return m_CategoryType; }
    long GetAttributesId() const { return m_AttributesId; }
    short GetIsEnabled() const { return m_IsEnabled; }
    short GetIsVisible() const { return m_IsVisible; }
    // As DMUSRRole::GetName.
    long GetName(char* buffer) const;

private:
    long m_EntitlementId;
    long m_CategoryType;
    long m_AttributesId;
    short m_IsEnabled;
    short m_IsVisible;
    std::string m_Name;
};
