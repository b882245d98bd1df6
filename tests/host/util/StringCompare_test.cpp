#include <Util/StringCompare.h>

#include <gtest/gtest.h>

namespace {

// Byte order, with A-Z folded to lower case when asked; null is empty.
TEST(StringCompareTest, NameOrder) {
    struct Case {
        char const* a;
        char const* b;
        int insensitive;
        int sensitive;
    };
    const Case cases[] = {
        {"abc", "ABD", -1, 1}, {"ABC", "abc", 0, -1},   {"a", "ab", -1, -1},
        {"", "", 0, 0},        {nullptr, "", 0, 0},     {"x", nullptr, 1, 1},
        {"_", "A", -1, 1},     {"Zeta", "zeta", 0, -1}, {"\xC9", "\xE9", -1, -1},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << (c.a ? c.a : "(null)") << " vs " << (c.b ? c.b : "(null)"));
        EXPECT_EQ(Util::CompareStrings(c.a, c.b, Util::kCaseInsensitive), c.insensitive);
        EXPECT_EQ(Util::CompareStrings(c.a, c.b, Util::kCaseSensitive), c.sensitive);
    }
}

} // namespace
