// The reference host's Defcat objects. They are plain holders: the loader builds
// them and owns them, and the static look-ups answer from the current catalogue.
#include <host/catalogue/CatalogueModel.h>

namespace {

template <class T, class List>
void FillList(std::vector<T*> const& objects, List* list, bool append) {
    if (list == nullptr) {
        return;
    }
    if (!append) {
        list->clear();
    }
    for (T* object : objects) {
        list->push_back(object);
    }
}

template <class T> auto_init_ptr<T> FindIn(std::map<std::string, T*> const& index, char const* id) {
    if (id == nullptr) {
        return auto_init_ptr<T>();
    }
    auto const found = index.find(id);
    return found == index.end() ? auto_init_ptr<T>() : auto_init_ptr<T>(found->second);
}

} // namespace

namespace Defcat {

Object::Object(TString const& id) : m_Id(id) {}

Object::~Object() = default;

TString Object::GetID() const {
    return m_Id;
}

Parameter::Parameter(TString const& id, TString const& data) : Object(id), m_Data(data) {}

TString Parameter::GetData() const {
    return m_Data;
}

UserAction::UserAction(TString const& id, UserActionType type) : Object(id), m_Type(type) {}

UserActionType UserAction::GetType() const {
    return m_Type;
}

Feature::Feature(TString const& id, TString const& name, bool enabled,
                 std::vector<Parameter*> const& parameters)
    : Object(id), m_Name(name), m_Enabled(enabled), m_Parameters(parameters) {}

auto_init_ptr<Feature> Feature::FindByID(char const* id) {
    Host::detail::Catalogue const* catalogue = Host::detail::CurrentCatalogue();
    return catalogue == nullptr ? auto_init_ptr<Feature>() : FindIn(catalogue->features, id);
}

TString Feature::GetName() const {
    return m_Name;
}

bool Feature::GetEnabled() const {
    return m_Enabled;
}

void Feature::GetParameters(DefcatObjectPtrList<Parameter>* list, bool append) const {
    FillList(m_Parameters, list, append);
}

Entitlement::Entitlement(TString const& id, std::vector<UserAction*> const& actions,
                         std::vector<Feature*> const& features)
    : Object(id), m_UserActions(actions), m_Features(features) {}

void Entitlement::GetFeatures(DefcatObjectPtrList<Feature>* list, bool append) const {
    FillList(m_Features, list, append);
}

void Entitlement::GetUserActions(DefcatObjectPtrList<UserAction>* list, bool append) const {
    FillList(m_UserActions, list, append);
}

Role::Role(TString const& id, TString const& name, TString const& description, bool visible,
           bool isPrivate, std::vector<Entitlement*> const& entitlements)
    : Object(id), m_Name(name), m_Description(description), m_Visible(visible),
      m_Private(isPrivate), m_Entitlements(entitlements) {}

auto_init_ptr<Role> Role::FindByID(char const* id) {
    Host::detail::Catalogue const* catalogue = Host::detail::CurrentCatalogue();
    return catalogue == nullptr ? auto_init_ptr<Role>() : FindIn(catalogue->roles, id);
}

TString Role::GetName() const {
    return m_Name;
}

TString Role::GetDescription() const {
    return m_Description;
}

bool Role::GetVisible() const {
    return m_Visible;
}

bool Role::GetPrivate() const {
    return m_Private;
}

void Role::GetEntitlements(DefcatObjectPtrList<Entitlement>* list, bool append) const {
    FillList(m_Entitlements, list, append);
}

SDKApplication::SDKApplication(TString const& id, TString const& useRole)
    : Object(id), m_UseRole(useRole) {}

auto_init_ptr<SDKApplication> SDKApplication::FindByID(char const* id) {
    Host::detail::Catalogue const* catalogue = Host::detail::CurrentCatalogue();
    return catalogue == nullptr ? auto_init_ptr<SDKApplication>()
                                : FindIn(catalogue->applications, id);
}

TString SDKApplication::GetUseRole() const {
    return m_UseRole;
}

DefaultRoleList::DefaultRoleList(TString const& id, std::vector<Role*> const& roles)
    : Object(id), m_Roles(roles) {}

void DefaultRoleList::GetRoles(DefcatObjectPtrList<Role>* list, bool append) const {
    FillList(m_Roles, list, append);
}

ProductFlavor::ProductFlavor(TString const& id, DefaultRoleList* defaultRoles)
    : Object(id), m_DefaultRoles(defaultRoles) {}

auto_init_ptr<ProductFlavor> ProductFlavor::GetCurrent() {
    Host::detail::Catalogue const* catalogue = Host::detail::CurrentCatalogue();
    return catalogue == nullptr ? auto_init_ptr<ProductFlavor>()
                                : auto_init_ptr<ProductFlavor>(catalogue->currentFlavor);
}

auto_init_ptr<DefaultRoleList> ProductFlavor::GetDefaultRoleList() const {
    return auto_init_ptr<DefaultRoleList>(m_DefaultRoles);
}

} // namespace Defcat
