// The access decision: its exact order of checks and the row tests.
#include "support/ManagerFixture.h"
#include "support/PermissionManagerTestAccess.h"

#include <PM/PermissionManager.h>

#include <gtest/gtest.h>

namespace {

using PM::PermissionManager;
using PM::PermissionManagerTestAccess;

class AccessDecisionTest : public PMTest::ManagerFixture {
protected:
    PermissionManager& Manager() { return PermissionManager::GetThePermissionManager(); }
    // A user with a table of these rows in the current context.
    void EstablishRows(std::map<int, long> const& rows) {
        PermissionManagerTestAccess(Manager()).PushContext("Tallyframe", rows);
        Manager().SetEstablishedUser(7);
    }
};

TEST_F(AccessDecisionTest, NoUserAllowsEverythingEvenWithoutATable) {
    EXPECT_EQ(nullptr, PermissionManagerTestAccess(Manager()).GetCurrentActionCache());
    EXPECT_TRUE(Manager().IsAccessAllowed(5, 2));
    EXPECT_TRUE(Manager().IsAccessAllowed(-1, 0));
    EXPECT_TRUE(Manager().IsFullAccess(-1));
    EXPECT_TRUE(Manager().IsFullAccess(5));
}

TEST_F(AccessDecisionTest, AnyNegativeUserMeansNoUser) {
    EstablishRows({{10, 0}});
    Manager().SetEstablishedUser(-3);
    EXPECT_TRUE(Manager().IsAccessAllowed(10, 1));
    EXPECT_TRUE(Manager().IsFullAccess(10));
}

TEST_F(AccessDecisionTest, RowsAnswerByMask) {
    EstablishRows({{10, 17}, {11, 64}, {12, 63}, {13, 127}, {14, 0}});
    struct Case {
        int id;
        long mask;
        bool allowed;
    } const cases[] = {
        {10, 16, true},  {10, 1, true},    {10, 0, true},   {10, 3, true},  {10, 2, false},
        {11, 0, false},  {11, 64, true},   {11, 63, false}, {12, 0, true},  {12, 32, true},
        {12, 64, false}, {13, 0, true},    {13, 64, true},  {14, 0, false}, {14, 127, false},
        {99, 0, false},  {99, 127, false}, {-1, 0, false},  {-1, 1, false},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(testing::Message() << "id " << c.id << " mask " << c.mask);
        EXPECT_EQ(c.allowed, Manager().IsAccessAllowed(c.id, c.mask));
    }
}

TEST_F(AccessDecisionTest, FullAccessIsExactlySixActions) {
    EstablishRows({{10, 17}, {11, 64}, {12, 63}, {13, 127}});
    struct Case {
        int id;
        bool full;
    } const cases[] = {{10, false}, {11, false}, {12, true}, {13, false}, {99, false}, {-1, false}};
    for (Case const& c : cases) {
        SCOPED_TRACE(testing::Message() << "id " << c.id);
        EXPECT_EQ(c.full, Manager().IsFullAccess(c.id));
    }
}

TEST_F(AccessDecisionTest, AnswersFollowTheCurrentContextNotTheUser) {
    EstablishRows({{10, 63}});
    PermissionManagerTestAccess(Manager()).PushContext("com.example.app", {{10, 1}});
    EXPECT_TRUE(Manager().IsAccessAllowed(10, 1));
    EXPECT_FALSE(Manager().IsAccessAllowed(10, 2));
    EXPECT_FALSE(Manager().IsFullAccess(10));
    EXPECT_EQ(7, Manager().GetEstablishedUser());
}

} // namespace
