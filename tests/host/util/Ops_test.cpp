#include <host/util/OpsHooks.h>
#include <support/LogProbe.h>
#include <support/VerifyProbe.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using Util::Ops;

// Every log record as "level/event path:line function: text" lines.
std::string Rendered(PMTest::LogProbe const& log) {
    std::string result;
    for (Host::LogRecord const& r : log.Records()) {
        result += std::to_string(r.level) + "/" + std::to_string(r.eventType) + " " + r.sourcePath +
                  ":" + std::to_string(r.line) + " " + r.function + ": " + r.text + "\n";
    }
    return result;
}

class OpsTest : public testing::Test {
protected:
    void TearDown() override {
        Host::SetVerifyHandler({});
        Host::SetLogSink({});
    }

    PMTest::LogProbe m_Log;
};

// An installed handler gets the whole report and decides; an empty one brings
// back the default, which logs the failure and refuses.
TEST_F(OpsTest, VerifyGoesToTheHandlerOrLogsAndRefuses) {
    {
        PMTest::VerifyProbe probe;
        EXPECT_TRUE(Util::GetOps().Verify(true, "ok", "f.cpp", 1, "F", "void F()"));
        EXPECT_FALSE(
            Util::GetOps().Verify(false, "p != NULL", "src/a.cpp", 42, "Load", "int Load(int)"));
        probe.SetAccept(true);
        EXPECT_TRUE(Util::GetOps().Verify(false, "n > 0", "b.cpp", 7, "Count", "long Count()"));
        ASSERT_EQ(probe.Reports().size(), 2u);
        Host::VerifyReport const& r = probe.Reports()[0];
        EXPECT_EQ(r.expression + "|" + r.file + "|" + std::to_string(r.line) + "|" + r.function +
                      "|" + r.signature,
                  "p != NULL|src/a.cpp|42|Load|int Load(int)");
        EXPECT_TRUE(m_Log.Records().empty());
    }
    typedef bool (*Plain)(Host::VerifyReport const&);
    Host::VerifyHandler const initial = Host::SetVerifyHandler([](auto const&) { return true; });
    ASSERT_NE(initial.target<Plain>(), nullptr);
    EXPECT_EQ(*initial.target<Plain>(), &Host::DefaultVerifyHandler);
    Host::VerifyHandler const accepting = Host::SetVerifyHandler({});
    EXPECT_TRUE(accepting(Host::VerifyReport{}));
    EXPECT_FALSE(Util::GetOps().Verify(false, "x != NULL", "file.cpp", 12, "Func", "int Func()"));
    EXPECT_EQ(Rendered(m_Log),
              "6/5 file.cpp:12 Func: Verify failed: \"x != NULL\" at file.cpp:12 in Func (int "
              "Func())\n");
}

TEST_F(OpsTest, MessageFunctorFormatsIntoTheSink) {
    char const* const path = "Platform\\SecurityRoles\\PM\\src\\urpstore";
    Ops::MessageFunctor(Util::GetOps(), Ops::kLevelError, Ops::kEventProblem, path, 310,
                        "URPSGetFirstRole",
                        "int URPStore::URPSGetFirstRole()")("%s has %d", "Clerk", 3);
    std::string const longText(5000, 'w');
    Ops::MessageFunctor(Util::GetOps(), Ops::kLevelProgress, Ops::kEventProgress, path, 9, "F",
                        "void F()")("[%s]", longText.c_str());
    EXPECT_EQ(Rendered(m_Log),
              "5/5 Platform\\SecurityRoles\\PM\\src\\urpstore:310 URPSGetFirstRole: Clerk has 3\n"
              "0/6 Platform\\SecurityRoles\\PM\\src\\urpstore:9 F: [" +
                  longText + "]\n");
}

TEST_F(OpsTest, DefaultSinkWritesWarningsAndWorseToStderr) {
    Host::SetLogSink({});
    testing::internal::CaptureStderr();
    Ops::MessageFunctor(Util::GetOps(), Ops::kLevelNotice, Ops::kEventGeneral, "p", 1, "F",
                        "s")("dropped");
    Ops::MessageFunctor(Util::GetOps(), Ops::kLevelWarning, Ops::kEventProblem, "p", 2, "G",
                        "s")("two\nlines");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "PM level 3 event 5 p:2 G: two lines\n");
}

} // namespace
