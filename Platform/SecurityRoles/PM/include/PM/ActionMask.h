// The two 32-bit words of the permission model.
//
// Action mask: what a role grants on an entitlement, one bit per action.
// Full access is exactly the six low bits; Custom stands apart from them.
//
// Attrs word: what an entitlement offers. Bit 0 carries the catalogue's
// visible mark and offers nothing.
#pragma once

namespace PM {

const int kActionView = 1;
const int kActionCreate = 2;
const int kActionModify = 4;
const int kActionDelete = 8;
const int kActionPrint = 16;
const int kActionViewBal = 32;
const int kActionCustom = 64;
const int kActionFull = 63;

const long kAttrFullNone = 2;
const long kAttrView = 4;
const long kAttrCreate = 8;
const long kAttrModify = 16;
const long kAttrDelete = 32;
const long kAttrPrint = 64;
const long kAttrViewBal = 128;
const long kAttrList = 256;
const long kAttrBatchPrint = 512;
const long kAttrCustom = 1024;

} // namespace PM
