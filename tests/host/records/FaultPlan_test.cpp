#include "RecordsTesting.h"

#include <host/records/FaultPlan.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Host::FaultPlan;
using namespace RecordsTest;

// What ShouldInject answers to each call: '-' nothing, 'F' fail, 'N' not found.
std::string Answers(FaultPlan& plan, std::vector<char const*> const& calls) {
    std::string answers;
    for (char const* operation : calls) {
        FaultPlan::Fault fault = FaultPlan::kFail;
        bool inject = plan.ShouldInject(operation, &fault);
        answers += !inject ? '-' : fault == FaultPlan::kFail ? 'F' : 'N';
    }
    return answers;
}

TEST(FaultPlanTest, FiresAtTheNthCallOfItsOperation) {
    char const* const L = "DMUSRRole::Load";
    char const* const A = "DMUSRRole::Add";
    struct Case {
        char const* name;
        std::vector<char const*> before; // calls made before arming
        char const* operation;
        long nth;
        FaultPlan::Fault fault;
        bool persistent;
        std::vector<char const*> calls;
        char const* answers;
    } const cases[] = {
        {"third load, once", {}, L, 3, FaultPlan::kFail, false, {L, L, A, L, L}, "---F-"},
        {"counted from arming", {L, L}, L, 1, FaultPlan::kNotFound, false, {A, L, L}, "-N-"},
        {"persistent", {}, L, 2, FaultPlan::kNotFound, true, {L, A, L, L}, "--NN"},
        {"any operation", {L}, "*", 2, FaultPlan::kFail, false, {A, L, A}, "-F-"},
        {"any, persistent", {}, "*", 1, FaultPlan::kFail, true, {A, L}, "FF"},
        {"nth below 1 is the next", {}, A, 0, FaultPlan::kFail, false, {A, A}, "F-"},
        {"not reached", {}, A, 3, FaultPlan::kFail, false, {A, L, A}, "---"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        FaultPlan plan;
        Answers(plan, c.before);
        plan.Arm(c.operation, c.nth, c.fault, c.persistent);
        EXPECT_FALSE(plan.Fired());
        EXPECT_EQ(Answers(plan, c.calls), c.answers);
        bool const fired = std::string(c.answers).find_first_of("FN") != std::string::npos;
        EXPECT_EQ(plan.Fired(), fired);
        plan.Disarm();
        EXPECT_EQ(Answers(plan, c.calls), std::string(c.calls.size(), '-'));
        EXPECT_EQ(plan.Fired(), fired);
    }
}

// A fault armed on "*" names the operation it hit and which call of it: the
// first, when it persists; arming again forgets them. Calls are counted per
// operation and in all; resetting the counts keeps an armed fault where it was.
TEST(FaultPlanTest, NamesWhereItFiredAndCountsCalls) {
    char const* const L = "DMUSRRole::Load";
    char const* const A = "DMUSRRole::Add";
    FaultPlan plan;
    plan.Arm("*", 2, FaultPlan::kFail, true);
    EXPECT_EQ(Answers(plan, {L, A, "DMUSRRole::Delete"}), "-FF");
    EXPECT_EQ(plan.FiredOperation() + " " + std::to_string(plan.FiredCall()), "DMUSRRole::Add 1");
    EXPECT_EQ(std::to_string(plan.Calls(L)) + std::to_string(plan.Calls(A)) +
                  std::to_string(plan.Calls("DMUSRRole::Update")) + std::to_string(plan.Calls("*")),
              "1103");
    plan.Arm("*", 2);
    EXPECT_EQ(plan.FiredOperation(), "");
    EXPECT_EQ(Answers(plan, {A, A}), "-F");
    EXPECT_EQ(plan.FiredOperation() + " " + std::to_string(plan.FiredCall()), "DMUSRRole::Add 3");

    plan.Arm(L, 2);
    Answers(plan, {L});
    plan.ResetCounts();
    EXPECT_EQ(plan.Calls(L) + plan.Calls("*"), 0);
    EXPECT_EQ(Answers(plan, {L, L}), "F-");
}

// Every record operation asks under its own name before it does anything, and
// an injected fault leaves the company file untouched.
TEST(FaultPlanTest, EveryRecordOperationAsksFirst) {
    FaultPlan& plan = FaultPlan::Get();
    ASSERT_TRUE(Host::OpenInMemoryCompanyFile().ok);
    AddSample();
    for (RecordOperation const& operation : AllRecordOperations()) {
        SCOPED_TRACE(operation.name);
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
        EXPECT_EQ(Dump(), kSampleDump);
    }

    // Without a company file every operation fails, unless the plan answers first.
    Host::CloseCompanyFile();
    for (RecordOperation const& operation : AllRecordOperations()) {
        SCOPED_TRACE(operation.name);
        EXPECT_EQ(StatusText(operation.call()), "failed " + std::to_string(SQLITE_MISUSE));
    }
    Host::ScopedFault fault("*", 1, FaultPlan::kNotFound);
    EXPECT_EQ(StatusText(DMUSRRoleAction().Load(1, 10, nullptr)), "ok 6042");
}

} // namespace
