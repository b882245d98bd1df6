// Role deletion and role saving with each record operation failing in turn:
// the result, which of the role's rows are gone, and the role list against a
// fresh Init.
#include "FaultChecks.h"
#include "FaultLoop.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace PMFault;

class RoleEditingFaultTest : public ::testing::Test {
protected:
    void SetUp() override {
        LoadCatalogue(kSmallCatalogue);
        OpenDefaultCompany();
        company.Take();
    }
    // The saved company file with a manager that has run Init.
    void Fresh() {
        company.Restore();
        NewManager();
        ASSERT_EQ(PM_OK, Manager().Init());
    }
    Snapshot company;
};

// Assignments go first, then masks, then the role record, then the role
// list: a failure leaves the earlier deletes done, the later ones not, and
// the role in the list.
TEST_F(RoleEditingFaultTest, DeleteRoleStopsAtTheFailedDelete) {
    int const clerk = 2;
    Fresh();
    std::string const rows = StoreRows();
    ASSERT_NE("", Only(rows, "user_roles: 3|2"));
    auto of = [](std::string const& text) {
        return Only(text, "roles: 2|") + Only(text, "role_actions: 2|") +
               Only(text, "user_roles: 2|2") + Only(text, "user_roles: 3|2");
    };
    std::string const others = Missing(rows, of(rows));

    FaultLoop loop;
    loop.name = "DeleteRole";
    loop.setUp = [&] { Fresh(); };
    loop.operation = [&] { return Manager().DeleteRole(clerk); };
    loop.check = [&](FaultRun const& run) {
        EXPECT_EQ(run.fired ? PM_ERROR : PM_OK, run.result);
        EXPECT_EQ(run.raised, std::vector<std::string>());
        std::string const now = StoreRows();
        EXPECT_EQ(others, Missing(now, of(now)));
        bool const assignments = run.Done("DMUSRUserRole::DeleteByRoleId") == 0;
        bool const masks = run.Done("DMUSRRoleAction::Delete") == 0;
        bool const record = run.Done("DMUSRRole::Delete") == 0;
        EXPECT_EQ(assignments ? Only(rows, "user_roles: 2|2") + Only(rows, "user_roles: 3|2") : "",
                  Only(now, "user_roles: 2|2") + Only(now, "user_roles: 3|2"));
        EXPECT_EQ(masks ? Only(rows, "role_actions: 2|") : "", Only(now, "role_actions: 2|"));
        EXPECT_EQ(record ? Only(rows, "roles: 2|") : "", Only(now, "roles: 2|"));
        EXPECT_TRUE(assignments <= masks && masks <= record) << "deleted out of order";

        std::unique_ptr<PM::RoleDef> cached(Manager().GetRoleDef(clerk));
        EXPECT_EQ(run.result != PM_OK, cached != nullptr);
        AgainstFreshInit both = RenderAgainstFreshInit();
        EXPECT_EQ(both.fresh, both.current);
    };
    EXPECT_EQ(3, RunFaultLoop(loop));
}

} // namespace
