// Helpers the manager's parts share for lists of entitlements.
#pragma once

#include <PM/EntitlementDef.h>
#include <PM/EntitlementObject.h>

#include <vector>

namespace PM {

// A new list with one EntitlementDef per row of source, same order, names as
// stored, mixed false; null when source is null or the allocation fails.
std::vector<EntitlementDef>* CopyEntitlementObjectList(std::vector<EntitlementObject>* source);

} // namespace PM
