// Role table of the company file: one record per role, keyed by RoleId.
#pragma once

#include <DBMgr/DMTransaction.h>
#include <Records/RecordText.h>
#include <Util/Status.h>

#include <string>

// Operations return a failed Status on error. Load of a missing key succeeds
// with Util::kRecordNotFound and leaves the fields as they were. Every
// operation commits by itself when txn is null.
class DMUSRRole {
public:
    DMUSRRole();
    virtual ~DMUSRRole();

    Util::Status Load(long roleId, DBMgr::DMTransaction* txn);
    Util::Status Add(DBMgr::DMTransaction* txn);
    Util::Status Delete(DBMgr::DMTransaction* txn); // by RoleId; missing gives kRecordNotFound
    Util::Status DeleteAll(DBMgr::DMTransaction* txn);
    Util::Status GetCount(long* count, DBMgr::DMTransaction* txn);

    void SetRoleId(long roleId) { m_RoleId = roleId; }
    void SetCategoryType(long category) { m_CategoryType = category; }
    void SetIsVisible(short visible) { m_IsVisible = visible; }
    // Fails for a text that does not fit kRecordTextBufferSize.
    Util::Status SetName(char const* name);
    Util::Status SetDescription(char const* description);

    long GetRoleId() const { return m_RoleId; }
    long GetCategoryType() const { return m_CategoryType; }
    short GetIsVisible() const { return m_IsVisible; }
    // Copy the text into buffer (kRecordTextBufferSize bytes); 0 on success.
    long GetName(char* buffer) const;
    long GetDescription(char* buffer) const;

private:
    long m_RoleId;
    long m_CategoryType;
    short m_IsVisible;
    std::string m_Name;
    std::string m_Description;
};
