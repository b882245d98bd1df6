#include <Util/TString.h>

#include <gtest/gtest.h>

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

} // namespace
