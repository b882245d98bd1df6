#include <Util/TString.h>

#include <gtest/gtest.h>

#include <cstring>

namespace {

TEST(TStringTest, EmptyStringsShareOneNeverNullBlock) {
    TString const byDefault;
    TString const fromNull(static_cast<char const*>(nullptr));
    TString const fromEmpty("");
    TString const pastEnd = TString("abc").Mid(3, 1);
    TString const tooLong = TString("abc").Right(4);
    for (TString const* s : {&byDefault, &fromNull, &fromEmpty, &pastEnd, &tooLong}) {
        ASSERT_NE(s->c_str(), nullptr);
        EXPECT_STREQ(s->c_str(), "");
        EXPECT_TRUE(s->IsEmpty());
        EXPECT_EQ(s->GetShareCount(), 0u);
        EXPECT_EQ(s->c_str(), byDefault.c_str());
    }
}

TEST(TStringTest, CopySharesAndAppendUnshares) {
    TString original("Bank");
    TString copy(original);
    EXPECT_EQ(original.GetShareCount(), 2u);
    EXPECT_EQ(copy.c_str(), original.c_str());

    copy.Append(":Savings");
    EXPECT_STREQ(copy, "Bank:Savings");
    EXPECT_EQ(copy.GetLength(), 12u);
    EXPECT_STREQ(original, "Bank");
    EXPECT_EQ(original.GetShareCount(), 1u);

    // A block with spare room is still copied while shared.
    TString roomy("ab");
    roomy += "c";
    TString const before(roomy);
    roomy += "d";
    EXPECT_STREQ(before, "abc");
    EXPECT_STREQ(roomy, "abcd");
    EXPECT_NE(before.c_str(), roomy.c_str());
}

TEST(TStringTest, AssignmentMovesShares) {
    TString a("first");
    TString b("second");
    TString c(b);
    a = b;
    EXPECT_STREQ(a, "second");
    EXPECT_EQ(b.GetShareCount(), 3u);
    a = a;
    EXPECT_EQ(b.GetShareCount(), 3u);
    c = "third";
    EXPECT_STREQ(c, "third");
    EXPECT_EQ(b.GetShareCount(), 2u);
    a = TString();
    EXPECT_EQ(b.GetShareCount(), 1u);
    EXPECT_STREQ(a, "");
}

TEST(TStringTest, AppendFromOwnTextAndGrowth) {
    TString s("ab");
    s.Append(s);
    EXPECT_STREQ(s, "abab");
    s.Append(s.c_str() + 1);
    EXPECT_STREQ(s, "ababbab");
    s = s.c_str() + 2;
    EXPECT_STREQ(s, "abbab");

    TString grown;
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        grown += "xyz";
        expected += "xyz";
    }
    EXPECT_STREQ(grown, expected.c_str());
    EXPECT_EQ(grown.GetLength(), expected.size());
}

TEST(TStringTest, Concatenation) {
    TString const left("Bank Registers");
    EXPECT_STREQ(left + ":" + TString("Checking"), "Bank Registers:Checking");
    EXPECT_STREQ(left, "Bank Registers");
    EXPECT_STREQ(TString() + "x", "x");
}

TEST(TStringTest, MidAndRightStayInsideTheString) {
    struct Case {
        std::size_t start, count;
        char const* mid;
    };
    constexpr Case kMid[] = {
        {0, 5, "Hello"}, {0, 2, "He"}, {1, 3, "ell"},
        {3, 10, "lo"},   {4, 1, "o"},  {4, 0, ""},
        {5, 1, ""},      {9, 2, ""},   {0, static_cast<std::size_t>(-1), "Hello"}};
    TString const hello("Hello");
    for (Case const& c : kMid) {
        SCOPED_TRACE(testing::Message() << "Mid(" << c.start << ", " << c.count << ")");
        TString const mid = hello.Mid(c.start, c.count);
        EXPECT_STREQ(mid, c.mid);
        EXPECT_EQ(mid.GetLength(), std::strlen(c.mid));
    }
    char const* const kRight[] = {"", "o", "lo", "llo", "ello", "Hello", "", ""};
    for (std::size_t n = 0; n < 8; ++n) {
        SCOPED_TRACE(testing::Message() << "Right(" << n << ")");
        EXPECT_STREQ(hello.Right(n), kRight[n]);
    }
    EXPECT_STREQ(hello, "Hello");
}

} // namespace
