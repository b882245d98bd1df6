#include "CompanyFileTesting.h"
#include "RecordOperations.h"

#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Host::FaultPlan;

std::string StatusText(Util::Status const& status) {
    return (status.Succeeded() ? "ok " : "failed ") + std::to_string(status.GetStatusCode());
}

// What ShouldInject answered for each call: '-' nothing, 'F' fail, 'N' not found.
std::string Answers(FaultPlan& plan, std::vector<char const*> const& calls) {
    std::string answers;
    for (char const* operation : calls) {
        FaultPlan::Fault fault = FaultPlan::kFail;
        answers += !plan.ShouldInject(operation, &fault) ? '-'
                   : fault == FaultPlan::kFail           ? 'F'
                                                         : 'N';
    }
    return answers;
}

TEST(FaultPlanTest, FiresAtTheNthCallOfItsOperation) {
    char const* const kLoad = "DMUSRRole::Load";
    char const* const kAdd = "DMUSRRole::Add";
    struct Case {
        char const* name;
        std::vector<char const*> before; // calls made before arming
        char const* operation;
        long nth;
        FaultPlan::Fault fault;
        bool persistent;
        std::vector<char const*> calls;
        char const* answers;
        bool fired;
    } const cases[] = {
        {"third load, once",
         {},
         kLoad,
         3,
         FaultPlan::kFail,
         false,
         {kLoad, kLoad, kAdd, kLoad, kLoad},
         "---F-",
         true},
        {"counted from arming",
         {kLoad, kLoad},
         kLoad,
         1,
         FaultPlan::kNotFound,
         false,
         {kAdd, kLoad, kLoad},
         "-N-",
         true},
        {"persistent from the second",
         {},
         kLoad,
         2,
         FaultPlan::kNotFound,
         true,
         {kLoad, kAdd, kLoad, kLoad},
         "--NN",
         true},
        {"any operation",
         {kLoad},
         "*",
         2,
         FaultPlan::kFail,
         false,
         {kAdd, kLoad, kAdd},
         "-F-",
         true},
        {"any operation, persistent",
         {},
         "*",
         1,
         FaultPlan::kFail,
         true,
         {kAdd, kLoad},
         "FF",
         true},
        {"nth below 1 is the next call",
         {},
         kAdd,
         0,
         FaultPlan::kFail,
         false,
         {kAdd, kAdd},
         "F-",
         true},
        {"not reached", {}, kAdd, 3, FaultPlan::kFail, false, {kAdd, kLoad, kAdd}, "---", false},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        FaultPlan plan;
        Answers(plan, c.before);
        plan.Arm(c.operation, c.nth, c.fault, c.persistent);
        EXPECT_FALSE(plan.Fired());
        EXPECT_EQ(Answers(plan, c.calls), c.answers);
        EXPECT_EQ(plan.Fired(), c.fired);
        plan.Disarm();
        EXPECT_EQ(Answers(plan, c.calls), std::string(c.calls.size(), '-'));
        EXPECT_EQ(plan.Fired(), c.fired);
    }
}

TEST(FaultPlanTest, CountsCallsPerOperationAndInAll) {
    FaultPlan plan;
    Answers(plan, {"DMUSRRole::Load", "DMUSRRole::Add", "DMUSRRole::Load"});
    EXPECT_EQ(plan.Calls("DMUSRRole::Load"), 2);
    EXPECT_EQ(plan.Calls("DMUSRRole::Add"), 1);
    EXPECT_EQ(plan.Calls("DMUSRRole::Delete"), 0);
    EXPECT_EQ(plan.Calls("*"), 3);

    // Resetting the counts keeps an armed fault at the same call.
    plan.Arm("DMUSRRole::Load", 2);
    Answers(plan, {"DMUSRRole::Load"});
    plan.ResetCounts();
    EXPECT_EQ(plan.Calls("DMUSRRole::Load"), 0);
    EXPECT_EQ(plan.Calls("*"), 0);
    EXPECT_EQ(Answers(plan, {"DMUSRRole::Load", "DMUSRRole::Load"}), "F-");
    EXPECT_EQ(plan.Calls("DMUSRRole::Load"), 2);
}

class FaultPlanRecordsTest : public ::testing::Test {
protected:
    void SetUp() override {
        FaultPlan::Get().Disarm();
        FaultPlan::Get().ResetCounts();
        ASSERT_TRUE(Host::OpenInMemoryCompanyFile().ok);
        RecordsTest::AddSample();
    }
    void TearDown() override {
        FaultPlan::Get().Disarm();
        Host::CloseCompanyFile();
    }
};

// Every record operation asks under its own name, and an injected fault
// leaves the company file untouched.
TEST_F(FaultPlanRecordsTest, EveryOperationAsksAndAnInjectedFaultTouchesNothing) {
    for (RecordsTest::RecordOperation const& operation : RecordsTest::AllRecordOperations()) {
        SCOPED_TRACE(operation.name);
        FaultPlan& plan = FaultPlan::Get();
        plan.ResetCounts();
        {
            Host::ScopedFault fault(operation.name, 1);
            EXPECT_EQ(StatusText(operation.call()), "failed -1");
            EXPECT_TRUE(plan.Fired());
        }
        {
            Host::ScopedFault fault(operation.name, 1, FaultPlan::kNotFound);
            EXPECT_EQ(StatusText(operation.call()), "ok 6042");
        }
        EXPECT_EQ(plan.Calls(operation.name), 2);
        EXPECT_EQ(plan.Calls("*"), 2);
        EXPECT_EQ(RecordsTest::Dump(), RecordsTest::kSampleDump);
    }
}

TEST_F(FaultPlanRecordsTest, APersistentFaultLastsUntilItsScopeEnds) {
    DMUSRRoleAction mask;
    {
        Host::ScopedFault fault("DMUSRRoleAction::Load", 2, FaultPlan::kNotFound, true);
        std::string answers;
        for (int i = 0; i < 3; ++i) {
            answers += StatusText(mask.Load(1, 10, nullptr)) + ";";
        }
        EXPECT_EQ(answers, "ok 0;ok 6042;ok 6042;");
    }
    EXPECT_EQ(StatusText(mask.Load(1, 10, nullptr)), "ok 0");

    // The plan is asked before the company file is looked for.
    Host::CloseCompanyFile();
    Host::ScopedFault fault("*", 1, FaultPlan::kNotFound);
    EXPECT_EQ(StatusText(mask.Load(1, 10, nullptr)), "ok 6042");
    EXPECT_EQ(FaultPlan::Get().Calls("DMUSRRoleAction::Load"), 5);
}

} // namespace
