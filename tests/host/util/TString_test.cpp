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

// Copies and assignments share one block; a change to a shared block copies
// it first, even when it has room to spare.
TEST(TStringTest, SharingAndCopyOnWrite) {
    TString original("Bank");
    TString copy(original);
    TString third(copy);
    EXPECT_EQ(copy.c_str(), original.c_str());
    copy.Append(":Savings");
    EXPECT_STREQ(copy, "Bank:Savings");
    EXPECT_EQ(copy.GetLength(), 12u);
    EXPECT_STREQ(original, "Bank");
    EXPECT_EQ(original.GetShareCount(), 2u);
    copy = original;
    copy = copy;
    EXPECT_EQ(original.GetShareCount(), 3u);
    third = "third";
    copy = TString();
    EXPECT_EQ(original.GetShareCount(), 1u);
    EXPECT_STREQ(third + ":" + TString("x") + copy, "third:x");

    TString roomy("ab");
    roomy += "c";
    TString const before(roomy);
    roomy += "d";
    EXPECT_STREQ(before, "abc");
    EXPECT_STREQ(roomy, "abcd");
    EXPECT_NE(before.c_str(), roomy.c_str());
}

TEST(TStringTest, AppendFromOwnTextAndGrowth) {
    TString s("ab");
    s.Append(s);
    s.Append(s.c_str() + 1);
    EXPECT_STREQ(s, "ababbab");
    s = s.c_str() + 2;
    EXPECT_STREQ(s, "abbab");
    TString grown;
    for (int i = 0; i < 200; ++i) {
        grown += "xyz";
    }
    EXPECT_EQ(grown.GetLength(), 600u);
    EXPECT_STREQ(grown.Right(4), "zxyz");
}

TEST(TStringTest, MidAndRightStayInsideTheString) {
    struct Case {
        std::size_t start, count;
        char const* mid;
    };
    constexpr Case kMid[] = {{0, 5, "Hello"},
                             {1, 3, "ell"},
                             {3, 10, "lo"},
                             {4, 0, ""},
                             {5, 1, ""},
                             {9, 2, ""},
                             {0, static_cast<std::size_t>(-1), "Hello"}};
    TString const hello("Hello");
    for (Case const& c : kMid) {
        SCOPED_TRACE(testing::Message() << "Mid(" << c.start << ", " << c.count << ")");
        TString const mid = hello.Mid(c.start, c.count);
        EXPECT_STREQ(mid, c.mid);
        EXPECT_EQ(mid.GetLength(), std::strlen(c.mid));
    }
    char const* const kRight[] = {"", "o", "lo", "Hello", "", ""};
    std::size_t const kRightN[] = {0, 1, 2, 5, 6, 9};
    for (std::size_t i = 0; i < 6; ++i) {
        SCOPED_TRACE(testing::Message() << "Right(" << kRightN[i] << ")");
        EXPECT_STREQ(hello.Right(kRightN[i]), kRight[i]);
    }
    EXPECT_STREQ(hello, "Hello");
}

} // namespace
