// Entitlement table of the company file: one record per entitlement, keyed by
// EntitlementId. Id 0 is the version record.
#pragma once

#include <DBMgr/DMTransaction.h>
#include <Records/RecordText.h>
#include <Util/Status.h>

#include <string>

// Same conventions as DMUSRRole; Update of a missing key gives kRecordNotFound.
class DMUSREntitlement {
public:
    DMUSREntitlement();
    virtual ~DMUSREntitlement();

    Util::Status Load(long entitlementId, DBMgr::DMTransaction* txn);
    Util::Status Add(DBMgr::DMTransaction* txn);
    Util::Status Update(DBMgr::DMTransaction* txn);
    Util::Status Delete(DBMgr::DMTransaction* txn);
    Util::Status DeleteAll(DBMgr::DMTransaction* txn);
    Util::Status GetCount(long* count, DBMgr::DMTransaction* txn);

    void SetEntitlementId(long id) { m_EntitlementId = id; }
    void SetCategoryType(long category) { m_CategoryType = category; }
    void SetAttributesId(long attrs) { m_AttributesId = attrs; }
    void SetIsEnabled(short enabled) { m_IsEnabled = enabled; }
    void SetIsVisible(short visible) { m_IsVisible = visible; }
    Util::Status SetName(char const* name);

    long GetEntitlementId() const { return m_EntitlementId; }
    long GetCategoryType() const { return m_CategoryType; }
    long GetAttributesId() const { return m_AttributesId; }
    short GetIsEnabled() const { return m_IsEnabled; }
    short GetIsVisible() const { return m_IsVisible; }
    long GetName(char* buffer) const;

private:
    long m_EntitlementId;
    long m_CategoryType;
    long m_AttributesId;
    short m_IsEnabled;
    short m_IsVisible;
    std::string m_Name;
};
