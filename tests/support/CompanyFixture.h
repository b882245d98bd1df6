// A company in memory for manager tests, started as a host starts one
// (Host::Company): a catalogue, its factory defaults, and the administrator
// "admin", who holds role 0.
#pragma once

#include "support/PermissionManagerTestAccess.h"
#include "support/TextJoin.h"

#include <host/company/Company.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace PMTest {

class CompanyFixture : public ::testing::Test {
protected:
    // A new company in place of the last one: from the shipped catalogue, or
    // from catalogueJson when that is given.
    void SetUpCompany(std::string const& catalogueJson = "");
    void SetUp() override { SetUpCompany(); }
    void TearDown() override { company.reset(); }

    PM::PermissionManager& Manager() { return PM::PermissionManager::GetThePermissionManager(); }
    // Made afresh on each call: a new company replaces the singleton.
    PM::PermissionManagerTestAccess Access() { return PM::PermissionManagerTestAccess(Manager()); }
    // Adds a user who holds roles; returns the host user id.
    int AddUser(char const* name, std::vector<int> const& roles = {});
    // The id of the role or the entitlement (by full name) so named; fails
    // the test when there is none.
    int RoleId(char const* name);
    int EntitlementId(char const* name);
    // The stored masks of the roles on the ids, role by role, joined by ","
    // ("-" where a role has no mask row).
    std::string Masks(std::vector<int> const& roles, std::vector<int> const& ids);
    // Writes masks[i] for every role on ids[i].
    void SetMasks(std::vector<int> const& roles, std::vector<int> const& ids,
                  std::vector<long> const& masks);

    std::unique_ptr<Host::Company> company;
    int adminUser = -1;
};

} // namespace PMTest
