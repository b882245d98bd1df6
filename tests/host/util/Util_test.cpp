// The host's utilities: the copy-on-write string, the name order, and the
// verify and log operations.
#include <Util/StringCompare.h>
#include <Util/TString.h>
#include <host/util/OpsHooks.h>
#include <support/LogProbe.h>
#include <support/VerifyProbe.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace {

// Copies share one block; a change to a shared block copies it first, even
// when it has room to spare. Empty strings share one block that is never null.
TEST(TStringTest, CopiesShareUntilOneChanges) {
    TString original("Bank");
    TString copy(original);
    EXPECT_EQ(copy.c_str(), original.c_str());
    copy.Append(":Savings");
    copy.Append(copy.c_str() + 4); // its own text
    EXPECT_STREQ(copy, "Bank:Savings:Savings");
    EXPECT_STREQ(original, "Bank");
    TString roomy("ab");
    roomy += "c";
    TString const before(roomy);
    roomy += "d";
    EXPECT_STREQ(before + "|" + roomy, "abc|abcd");
    EXPECT_EQ(TString(static_cast<char const*>(nullptr)).c_str(), TString("abc").Mid(3, 1).c_str());
    EXPECT_STREQ(TString("Hello").Mid(3, 10) + TString("Hello").Right(9) +
                     TString("Hello").Right(2),
                 "lolo");
}

// Byte order, with A-Z folded to lower case when asked; null is empty.
TEST(StringCompareTest, NameOrder) {
    // a, b, their order without and with case.
    std::tuple<char const*, char const*, int, int> const cases[] = {
        {"abc", "ABD", -1, 1}, {"ABC", "abc", 0, -1},   {"a", "ab", -1, -1},
        {"", "", 0, 0},        {nullptr, "", 0, 0},     {"x", nullptr, 1, 1},
        {"_", "A", -1, 1},     {"Zeta", "zeta", 0, -1}, {"\xC9", "\xE9", -1, -1},
    };
    for (auto const& [a, b, insensitive, sensitive] : cases) {
        SCOPED_TRACE(testing::Message() << (a ? a : "(null)") << " vs " << (b ? b : "(null)"));
        EXPECT_EQ(Util::CompareStrings(a, b, Util::kCaseInsensitive), insensitive);
        EXPECT_EQ(Util::CompareStrings(a, b, Util::kCaseSensitive), sensitive);
    }
}

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
