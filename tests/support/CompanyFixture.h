// A real company file for manager tests: in memory, made from the shipped
// catalogue by the factory defaults, with an administrator who holds role 0
// and the company-file user manager installed.
#pragma once

#include "support/PermissionManagerTestAccess.h"

#include <PM/PermissionManager.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace PMTest {

// The path of a shipped catalogue file ("catalogue.json", "catalogue-previous.json").
std::string CatalogueFile(char const* name);

class CompanyFixture : public ::testing::Test {
protected:
    // Loads catalogueName, opens an empty in-memory company file, adds the
    // user "admin" (an administrator), creates the manager and runs
    // SetDefaultRoles, which ends with Init and gives "admin" role 0.
    void SetUpCompany(char const* catalogueName = "catalogue.json");
    // The same with a catalogue given as JSON text (a tiny tree for a test).
    void SetUpCompanyFromText(std::string const& catalogueJson);
    void SetUp() override { SetUpCompany(); }
    void TearDown() override;

    PM::PermissionManager& Manager() { return PM::PermissionManager::GetThePermissionManager(); }
    // Made afresh on each call: a new company replaces the singleton.
    PM::PermissionManagerTestAccess Access() { return PM::PermissionManagerTestAccess(Manager()); }
    // Adds a user to the company file; returns the host user id.
    int AddUser(char const* name, bool isAdmin = false);
    // The id of the role with this name in the role cache; fails the test
    // when there is none.
    int RoleId(char const* name);
    // The id of the entitlement with this (full) name; fails the test when
    // there is none.
    int EntitlementId(char const* name);
    // The stored masks of the roles on the ids, role by role, joined by ","
    // ("-" where a role has no mask row).
    std::string Masks(std::vector<int> const& roles, std::vector<int> const& ids);
    // Writes the mask of every role in roles on every id; fails the test when
    // a write fails.
    void SetMasks(std::vector<int> const& roles, std::vector<int> const& ids,
                  std::vector<long> const& masks);

    int adminUser = -1;

private:
    // The part after the catalogue load: file, users, manager, defaults.
    void OpenCompany();
};

} // namespace PMTest
