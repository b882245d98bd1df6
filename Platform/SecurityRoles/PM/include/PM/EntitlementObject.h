// An entitlement as the store delivers it and the entitlement cache holds it.
#pragma once

#include <PM/Export.h>
#include <Util/TString.h>

#include <cstdint>

namespace PM {

// Plain fields, filled by the store and read by EntitlementDef. The default
// state is deliberately not EntitlementDef's: every number 0, both flags false.
// The store never fills m_Action; it is a role's grant only in a role's view.
class PM_API EntitlementObject {
public:
    TString m_Name;
    std::int32_t m_Id = 0;
    std::int32_t m_Category = 0; // the parent entitlement's id
    std::int32_t m_Action = 0;
    std::int32_t m_Attrs = 0;
    bool m_Enabled = false;
    bool m_Visible = false;
};

} // namespace PM
