#include <Util/StringCompare.h>

#include <gtest/gtest.h>

#include <tuple>

namespace {

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

} // namespace
