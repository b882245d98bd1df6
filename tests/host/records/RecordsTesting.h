// Helpers for the record-layer tests: scratch paths, raw bytes, the open
// company file rendered as one string, a standard sample of records, and every
// record operation by its fault-plan name.
#pragma once

#include <host/records/CompanyFile.h>

#include <Records/DMUSREntitlement.h>
#include <Records/DMUSRRole.h>
#include <Records/DMUSRRoleAction.h>
#include <Records/DMUSRUserRole.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <unistd.h>
#include <utility>
#include <vector>

namespace RecordsTest {

// A path under the test temporary directory, unique to this process; the file
// and the files beside it are removed before use and, after the company file
// is closed, afterwards.
class TempPath {
public:
    explicit TempPath(std::string const& name)
        : m_Path(::testing::TempDir() + "pm_records_" + std::to_string(::getpid()) + "_" + name +
                 ".pmco") {
        Remove();
    }
    ~TempPath() {
        Host::CloseCompanyFile();
        Remove();
    }
    TempPath(TempPath const&) = delete;
    TempPath& operator=(TempPath const&) = delete;
    operator std::string const&() const { return m_Path; }
    std::string const& str() const { return m_Path; }

private:
    void Remove() const {
        for (char const* suffix : {"", "-wal", "-shm", "-journal"}) {
            ::unlink((m_Path + suffix).c_str());
        }
        ::rmdir(m_Path.c_str()); // a test may make a directory of the path
    }
    std::string m_Path;
};

inline bool Exists(std::string const& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

// The file's bytes; empty for anything but a regular file.
inline std::string ReadBytes(std::string const& path) {
    if (!std::filesystem::is_regular_file(path)) {
        return std::string();
    }
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(std::string const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// Runs sql on the file through a connection of its own, outside the host.
inline void ExecOnFile(std::string const& path, char const* sql) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    sqlite3_close(db);
}

inline std::string StatusText(Util::Status const& status) {
    return (status.Succeeded() ? "ok " : "failed ") + std::to_string(status.GetStatusCode());
}

// Every row of the open company file's tables (or of the one named), one
// "table: a|b|c" line each, in key order.
inline std::string Dump(std::string const& only = std::string()) {
    std::ostringstream out;
    for (char const* table : {"roles", "entitlements", "user_roles", "role_actions", "users"}) {
        if (!only.empty() && only != table) {
            continue;
        }
        sqlite3_stmt* statement = nullptr;
        std::string sql = std::string("SELECT * FROM ") + table + " ORDER BY 1, 2";
        sqlite3_prepare_v2(Host::CurrentCompanyFileHandle(), sql.c_str(), -1, &statement, nullptr);
        while (sqlite3_step(statement) == SQLITE_ROW) {
            out << table << ":";
            for (int i = 0; i < sqlite3_column_count(statement); ++i) {
                out << (i > 0 ? "|" : " ") << sqlite3_column_text(statement, i);
            }
            out << "\n";
        }
        sqlite3_finalize(statement);
    }
    return out.str();
}

// A record with one key set.
template <class Record> Record With(void (Record::*set)(long), long value) {
    Record record;
    (record.*set)(value);
    return record;
}

// Adds, through the record classes, two roles, three entitlements (0 is the
// version record), three assignments and three masks.
inline void AddSample() {
    for (auto r : {std::make_tuple(0, 1, 1, "Admin", "All rights"),
                   std::make_tuple(1, 3, 2, "Clerk's desk", "")}) {
        DMUSRRole role = With(&DMUSRRole::SetRoleId, std::get<0>(r));
        role.SetCategoryType(std::get<1>(r));
        role.SetIsVisible(static_cast<short>(std::get<2>(r)));
        role.SetName(std::get<3>(r));
        role.SetDescription(std::get<4>(r));
        ASSERT_TRUE(role.Add(nullptr).Succeeded());
    }
    for (auto e : {std::make_tuple(0, 0, 0, 0, "3"), std::make_tuple(10, 2, 65536, 1, "Checks"),
                   std::make_tuple(100012, 4, -1, 2, "Banking")}) {
        DMUSREntitlement entitlement = With(&DMUSREntitlement::SetEntitlementId, std::get<0>(e));
        entitlement.SetCategoryType(std::get<1>(e));
        entitlement.SetAttributesId(std::get<2>(e));
        entitlement.SetIsVisible(static_cast<short>(std::get<3>(e)));
        entitlement.SetIsEnabled(static_cast<short>(std::get<3>(e) > 0 ? 1 : 0));
        entitlement.SetName(std::get<4>(e));
        ASSERT_TRUE(entitlement.Add(nullptr).Succeeded());
    }
    for (auto a : {std::make_pair(100, 0), std::make_pair(100, 1), std::make_pair(200, 1)}) {
        DMUSRUserRole assignment = With(&DMUSRUserRole::SetUserId, a.first);
        assignment.SetRoleId(a.second);
        ASSERT_TRUE(assignment.Add(nullptr).Succeeded());
    }
    for (auto m :
         {std::make_tuple(0, 10, -1), std::make_tuple(1, 10, 7), std::make_tuple(1, 100012, 17)}) {
        DMUSRRoleAction mask = With(&DMUSRRoleAction::SetRoleId, std::get<0>(m));
        mask.SetEntitlementId(std::get<1>(m));
        mask.SetActionType(std::get<2>(m));
        ASSERT_TRUE(mask.Add(nullptr).Succeeded());
    }
}

// Dump() of a company file that holds the sample and nothing else.
const char kSampleDump[] = "roles: 0|1|1|Admin|All rights\n"
                           "roles: 1|3|2|Clerk's desk|\n"
                           "entitlements: 0|0|0|0|0|3\n"
                           "entitlements: 10|2|65536|1|1|Checks\n"
                           "entitlements: 100012|4|-1|2|1|Banking\n"
                           "user_roles: 100|0\n"
                           "user_roles: 100|1\n"
                           "user_roles: 200|1\n"
                           "role_actions: 0|10|-1\n"
                           "role_actions: 1|10|7\n"
                           "role_actions: 1|100012|17\n";

struct RecordOperation {
    char const* name;
    std::function<Util::Status()> call;
};

// Every record operation that reaches the company file, by its fault-plan
// name. On the sample each one reads a record or changes a table.
inline std::vector<RecordOperation> AllRecordOperations() {
    static long count;
    using E = DMUSREntitlement;
    using R = DMUSRRole;
    using U = DMUSRUserRole;
    using M = DMUSRRoleAction;
    auto mask = [](long roleId) {
        M a = With(&M::SetRoleId, roleId);
        a.SetEntitlementId(10);
        return a;
    };
    return {
        {"DMUSRRole::Load", [] { return R().Load(1, nullptr); }},
        {"DMUSRRole::Add", [] { return With(&R::SetRoleId, 40).Add(nullptr); }},
        {"DMUSRRole::Delete", [] { return With(&R::SetRoleId, 1).Delete(nullptr); }},
        {"DMUSRRole::DeleteAll", [] { return R().DeleteAll(nullptr); }},
        {"DMUSRRole::GetCount", [] { return R().GetCount(&count, nullptr); }},
        {"DMUSREntitlement::Load", [] { return E().Load(10, nullptr); }},
        {"DMUSREntitlement::Add", [] { return With(&E::SetEntitlementId, 40).Add(nullptr); }},
        {"DMUSREntitlement::Update", [] { return With(&E::SetEntitlementId, 10).Update(nullptr); }},
        {"DMUSREntitlement::Delete", [] { return With(&E::SetEntitlementId, 10).Delete(nullptr); }},
        {"DMUSREntitlement::DeleteAll", [] { return E().DeleteAll(nullptr); }},
        {"DMUSREntitlement::GetCount", [] { return E().GetCount(&count, nullptr); }},
        {"DMUSRUserRole::Load", [] { return U().Load(100, 1, nullptr); }},
        {"DMUSRUserRole::Add", [] { return With(&U::SetUserId, 40).Add(nullptr); }},
        {"DMUSRUserRole::DeleteByRoleId", [] { return U().DeleteByRoleId(1, nullptr); }},
        {"DMUSRUserRole::DeleteByUserId", [] { return U().DeleteByUserId(100, nullptr); }},
        {"DMUSRUserRole::DeleteAll", [] { return U().DeleteAll(nullptr); }},
        {"DMUSRUserRole::GetUserRoleCountByUserId",
         [] { return U().GetUserRoleCountByUserId(&count, 100, nullptr); }},
        {"DMUSRUserRole::GetUserRoleCountByRoleId",
         [] { return U().GetUserRoleCountByRoleId(&count, 1, nullptr); }},
        {"DMUSRRoleAction::Load", [] { return M().Load(1, 10, nullptr); }},
        {"DMUSRRoleAction::Add", [=] { return mask(40).Add(nullptr); }},
        {"DMUSRRoleAction::Update", [=] { return mask(1).Update(nullptr); }},
        {"DMUSRRoleAction::Delete", [] { return M().Delete(1, nullptr); }},
        {"DMUSRRoleAction::DeleteByEntitlementId",
         [] { return M().DeleteByEntitlementId(10, nullptr); }},
        {"DMUSRRoleAction::DeleteAll", [] { return M().DeleteAll(nullptr); }},
        {"DMUSRRoleAction::GetRoleActionCountByRoleId",
         [] { return M().GetRoleActionCountByRoleId(&count, 1, nullptr); }},
    };
}

} // namespace RecordsTest
