// Every manager test starts and ends without a singleton, so no state leaks
// from one test into the next.
#pragma once

#include <PM/PermissionManager.h>

#include <gtest/gtest.h>

namespace PMTest {

class ManagerFixture : public ::testing::Test {
protected:
    void SetUp() override { PM_UninitComponent(); }
    void TearDown() override { PM_UninitComponent(); }
};

} // namespace PMTest
