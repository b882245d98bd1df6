#include <host/util/OpsHooks.h>
#include <support/LogProbe.h>
#include <support/VerifyProbe.h>

#include <gtest/gtest.h>

#include <string>

namespace {

// An installed handler gets the report and decides; without one a failed
// check is logged and refused. Messages are formatted into the sink.
TEST(OpsTest, VerifyGoesToTheHandlerOrLogsAndRefuses) {
    PMTest::LogProbe log;
    {
        PMTest::VerifyProbe probe(true);
        EXPECT_TRUE(Util::GetOps().Verify(false, "n > 0", "b.cpp", 7, "Count", "long Count()"));
        EXPECT_EQ(probe.Expressions(), std::vector<std::string>{"n > 0"});
    }
    Host::SetVerifyHandler({});
    EXPECT_FALSE(Util::GetOps().Verify(false, "x != NULL", "file.cpp", 12, "Func", "int Func()"));
    Util::Ops::MessageFunctor(Util::GetOps(), Util::Ops::kLevelError, Util::Ops::kEventProblem,
                              "src", 3, "F", "void F()")("%s has %d", "Clerk", 3);
    EXPECT_EQ(log.Lines(), "6/5 Verify failed: \"x != NULL\" at file.cpp:12 in Func (int Func())\n"
                           "5/5 Clerk has 3\n");
}

} // namespace
