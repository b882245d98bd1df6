// Role table of the company file: one record per role, keyed by RoleId.
#pragma once

#include <DBMgr/DMTransaction.h>
#include <Records/RecordText.h>
#include <Util/Status.h>

#include <string>

// Conventions of the record classes (DMUSR*), which the library relies on:
// - A record object is a buffer of fields. A new one holds 0 in every number
//   and empty texts; setters change only the object, and the operations move
//   fields between the object and the table.
// - An operation returns a failed Status on error and then has written
//   nothing to the table. txn is always null (DBMgr/DMTransaction.h).
// - "Not found" is no failure: Load, Update and the keyed Delete of a key that
//   is not stored succeed with Util::kRecordNotFound, write nothing and leave
//   the fields as they were.
// - After a failed Load the library reads no field.
class DMUSRRole {
public:
    DMUSRRole();
    virtual ~DMUSRRole();

    // Fills every field from the role with id roleId.
    Util::Status Load(long roleId, DBMgr::DMTransaction* txn);
    // Stores the fields as a new role; fails when RoleId is stored.
    Util::Status Add(DBMgr::DMTransaction* txn);
    // Deletes the role with RoleId; kRecordNotFound when there is none. Its
    // masks and assignments in the other tables stay.
    Util::Status Delete(DBMgr::DMTransaction* txn);
    // Deletes every role; succeeds also on an empty table.
    Util::Status DeleteAll(DBMgr::DMTransaction* txn);
    // Stores the number of roles in *count (not null); on failure *count is
    // left as it was.
    Util::Status GetCount(long* count, DBMgr::DMTransaction* txn);

    void SetRoleId(long roleId) { m_RoleId = roleId; }
    void SetCategoryType(long category) { m_CategoryType = category; }
    void SetIsVisible(short visible) { m_IsVisible = visible; }
    // Copy text into the field. Fail, leaving the field as it was, for a null
    // text or one that does not fit kRecordTextBufferSize with its terminator.
    Util::Status SetName(char const* name);
    Util::Status SetDescription(char const* description);

    long GetRoleId() const { return m_RoleId; }
    long GetCategoryType() const { return m_CategoryType; }
    short GetIsVisible() const { return m_IsVisible; }
    // Copy the text with its terminator into buffer (kRecordTextBufferSize
    // bytes); 0 on success, anything else on failure. A loaded text always
    // fits: a Load whose text would not fails.
    long GetName(char* buffer) const;
    long GetDescription(char* buffer) const;

private:
    long m_RoleId;
    long m_CategoryType;
    short m_IsVisible;
    std::string m_Name;
    std::string m_Description;
};
