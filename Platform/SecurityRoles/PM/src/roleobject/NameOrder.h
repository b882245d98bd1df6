// The library's one ordering of records: by name, ignoring case, with no
// tie-break. Used as the comparison when entitlement and role lists are sorted.
#pragma once

#include <PM/EntitlementDef.h>
#include <PM/EntitlementObject.h>
#include <PM/RoleDef.h>
#include <PM/RoleObject.h>

#include <Util/StringCompare.h>

#include <algorithm>
#include <vector>

namespace PM {

namespace detail {
// a sorts before b exactly when the comparison answers -1; any other answer,
// equal names included, is "not before".
inline bool NameBefore(char const* a, char const* b) {
    return Util::CompareStrings(a, b, Util::kCaseInsensitive) == Util::kStringLess;
}
} // namespace detail

inline bool IsInNameOrder(EntitlementObject const& a, EntitlementObject const& b) {
    return detail::NameBefore(a.m_Name, b.m_Name);
}

inline bool IsInNameOrder(EntitlementDef const& a, EntitlementDef const& b) {
    return detail::NameBefore(a.GetName(), b.GetName());
}

inline bool IsInNameOrder(RoleObject const& a, RoleObject const& b) {
    return detail::NameBefore(a.GetName(), b.GetName());
}

inline bool IsInNameOrder(RoleDef const& a, RoleDef const& b) {
    return detail::NameBefore(a.GetName(), b.GetName());
}

// Sorts a list by name order. Rows with equal names end in no defined order.
template <class Record> void SortInNameOrder(std::vector<Record>& list) {
    std::sort(list.begin(), list.end(),
              [](Record const& a, Record const& b) { return IsInNameOrder(a, b); });
}

} // namespace PM
