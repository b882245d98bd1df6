// Result codes of the library's int operations. The values are part of the
// interface: callers compare against them and store them.
#pragma once

constexpr int PM_OK = 0;
constexpr int PM_ERROR = -1;             // general failure; also the end of a scan
constexpr int PM_ERR_ADMINROLE = -2;     // the role "Admin" cannot be edited
constexpr int PM_ERR_PROTECTEDROLE = -3; // negative role id, or the role "Admin"
constexpr int PM_ERR_NORECORD = -4;      // the role or the record does not exist
constexpr int PM_ERR_NOENT = -5;         // no such entry; the id of a record a find missed
constexpr int PM_ERR_BADROLENAME = -6;   // role name empty or longer than 29 characters
constexpr int PM_ERR_EMPTYSTORE = -7;    // the entitlement table holds no rows
constexpr int PM_ERR_NOVERSION = -8;     // the entitlement table has rows but no version row
