// The definition catalogue as the library sees it: the product's roles, its
// features (entitlements of the system), the integrated applications and the
// product flavors. The host's catalogue provider builds and owns every object;
// the library reaches them through FindByID / GetCurrent and list operations,
// never constructs or deletes one, and keeps no handle past the operation it
// works in. Handles stay valid while the host keeps the catalogue loaded.
//
// Look-ups answer a null handle when there is no such object (a null id
// included), also when no catalogue is loaded; they never fail otherwise. List operations take a
// list that is not null and a flag: false empties the list before filling it, true appends to what
// the list holds. Lists are filled in catalogue order. Getters return copies of the catalogue's
// texts.
#pragma once

#include <Defcat/AutoInitPtr.h>
#include <Defcat/DefcatObjectPtrList.h>
#include <Util/TString.h>

#include <vector>

namespace Defcat {

// Common base of the catalogue's objects.
class Object {
public:
    explicit Object(TString const& id);
    virtual ~Object();
    // The object's catalogue id; a feature's is its entitlement id in decimal.
    virtual TString GetID() const;

private:
    TString m_Id;
};

// Values and the mask bits they stand for: 0 View (1), 1 ViewBal (32),
// 2 Print (16), 3 Create (2), 4 Modify (4), 8 Delete (8); 5 to 7 set no bit.
enum UserActionType {
    kUserActionView = 0,
    kUserActionViewBalance = 1,
    kUserActionPrint = 2,
    kUserActionCreate = 3,
    kUserActionModify = 4,
    kUserActionUnmapped5 = 5,
    kUserActionUnmapped6 = 6,
    kUserActionUnmapped7 = 7,
    kUserActionDelete = 8,
};

// One data string of a feature.
class Parameter : public Object {
public:
    Parameter(TString const& id, TString const& data);
    TString GetData() const; // the data string, possibly empty

private:
    TString m_Data;
};

class UserAction : public Object {
public:
    UserAction(TString const& id, UserActionType type);
    UserActionType GetType() const; // any value; the library maps unknown ones to no bit

private:
    UserActionType m_Type;
};

// An entitlement of the system: id (decimal text), name, enabled flag and its
// parameters in order (0: parent id, 1: attrs word; for "0" also 2: version,
// 3: number of entitlements).
class Feature : public Object {
public:
    Feature(TString const& id, TString const& name, bool enabled,
            std::vector<Parameter*> const& parameters);
    // The feature whose id is the text id, or null.
    static auto_init_ptr<Feature> FindByID(char const* id);
    TString GetName() const;
    bool GetEnabled() const;
    // The parameters in the catalogue's order; a feature may have fewer than
    // the library reads, and the library then takes empty data.
    void GetParameters(DefcatObjectPtrList<Parameter>* list, bool append) const;

private:
    TString m_Name;
    bool m_Enabled;
    std::vector<Parameter*> m_Parameters;
};

// One grant inside a role: the user actions apply to each of the features.
class Entitlement : public Object {
public:
    Entitlement(TString const& id, std::vector<UserAction*> const& actions,
                std::vector<Feature*> const& features);
    // The features the grant covers, and the user actions it grants on each.
    void GetFeatures(DefcatObjectPtrList<Feature>* list, bool append) const;
    void GetUserActions(DefcatObjectPtrList<UserAction>* list, bool append) const;

private:
    std::vector<UserAction*> m_UserActions;
    std::vector<Feature*> m_Features;
};

class Role : public Object {
public:
    Role(TString const& id, TString const& name, TString const& description, bool visible,
         bool isPrivate, std::vector<Entitlement*> const& entitlements);
    // The role whose catalogue id is id, or null. "BASE_ROLE" is the role
    // whose first grant lists every feature of the product.
    static auto_init_ptr<Role> FindByID(char const* id);
    TString GetName() const;
    TString GetDescription() const;
    bool GetVisible() const;
    bool GetPrivate() const;
    // The role's grants, in the catalogue's order.
    void GetEntitlements(DefcatObjectPtrList<Entitlement>* list, bool append) const;

private:
    TString m_Name;
    TString m_Description;
    bool m_Visible;
    bool m_Private;
    std::vector<Entitlement*> m_Entitlements;
};

// An integrated application; GetUseRole is the catalogue id of the role it
// acts under, empty when it has none.
class SDKApplication : public Object {
public:
    SDKApplication(TString const& id, TString const& useRole);
    // The application whose catalogue id is id, or null.
    static auto_init_ptr<SDKApplication> FindByID(char const* id);
    TString GetUseRole() const;

private:
    TString m_UseRole;
};

class DefaultRoleList : public Object {
public:
    DefaultRoleList(TString const& id, std::vector<Role*> const& roles);
    // The default roles in the flavor's order, which decides their role ids.
    void GetRoles(DefcatObjectPtrList<Role>* list, bool append) const;

private:
    std::vector<Role*> m_Roles;
};

class ProductFlavor : public Object {
public:
    ProductFlavor(TString const& id, DefaultRoleList* defaultRoles);
    // The flavor the running product is; null when the catalogue names none.
    static auto_init_ptr<ProductFlavor> GetCurrent();
    // The flavor's default roles; null when it has none.
    virtual auto_init_ptr<DefaultRoleList> GetDefaultRoleList() const;

private:
    DefaultRoleList* m_DefaultRoles;
};

} // namespace Defcat
