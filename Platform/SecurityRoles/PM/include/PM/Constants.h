// Fixed ids and limits of the permission model.
#pragma once

namespace PM {

const int kRoleIdLow = 0; // role ids are non-negative; role 0 is the administrator role
const int kUserIdLow = 0; // user ids are non-negative

const int kEntitlementVersionId = 0;          // the version record of the entitlement table
const int kEntitlementRootId = 100000;        // root of the entitlement tree
const int kFirstCategoryEntId = 100001;       // lowest id that is expanded into children
const int BankAccountsEntitlementId = 100012; // parent of the dynamic entitlements
const int kFirstDynamicEntitlementId = 300000;

const int kMaxRoleNameLength = 29; // characters, terminator not counted
const char kFullNameSeparator = ':';
const int kMaxFullNameDepth = 7;
const int kLegacyEntitlementCount = 173; // assumed for rows without a version record

} // namespace PM
