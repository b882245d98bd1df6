#include <Util/StringCompare.h>

#include <gtest/gtest.h>

namespace {

TEST(StringCompareTest, NameOrder) {
    struct Case {
        char const* a;
        char const* b;
        int insensitive;
        int sensitive;
    };
    const Case cases[] = {
        {"abc", "ABD", -1, 1},    {"ABC", "abc", 0, -1},
        {"a", "ab", -1, -1},      {"ab", "a", 1, 1},
        {"", "a", -1, -1},        {"", "", 0, 0},
        {nullptr, "", 0, 0},      {"x", nullptr, 1, 1},
        {"Zeta", "alpha", 1, -1}, {"_", "A", -1, 1},
        {"\xC3\xA9", "z", 1, 1},  {"a\xC3", "a\x7F", 1, 1},
        {"\xC9", "\xE9", -1, -1}, {"Role 2", "role 10", 1, -1},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(testing::Message() << '"' << (c.a ? c.a : "(null)") << "\" vs \""
                                        << (c.b ? c.b : "(null)") << '"');
        EXPECT_EQ(Util::CompareStrings(c.a, c.b, Util::kCaseInsensitive), c.insensitive);
        EXPECT_EQ(Util::CompareStrings(c.a, c.b, Util::kCaseSensitive), c.sensitive);
    }
}

TEST(StringCompareTest, ReverseFindCharacter) {
    char const* const text = "Bank:Savings:sub";
    EXPECT_EQ(Util::ReverseFindCharacter(text, ':', Util::kCaseSensitive), text + 12);
    EXPECT_EQ(Util::ReverseFindCharacter(text, 'B', Util::kCaseSensitive), text);
    EXPECT_EQ(Util::ReverseFindCharacter(text, 'S', Util::kCaseSensitive), text + 5);
    EXPECT_EQ(Util::ReverseFindCharacter(text, 'S', Util::kCaseInsensitive), text + 13);
    EXPECT_EQ(Util::ReverseFindCharacter(text, 'b', Util::kCaseInsensitive), text + 15);
    EXPECT_EQ(Util::ReverseFindCharacter(text, '/', Util::kCaseSensitive), nullptr);
    EXPECT_EQ(Util::ReverseFindCharacter("", ':', Util::kCaseSensitive), nullptr);
    EXPECT_EQ(Util::ReverseFindCharacter(nullptr, ':', Util::kCaseSensitive), nullptr);
}

} // namespace
