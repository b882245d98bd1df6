// The access decision, read from the current context's table while a user is
// established; everything is allowed while none is.
#include "support/PermissionManagerTestAccess.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// Per id: IsAccessAllowed for the masks 0, 1, 2, 16, 32 and 64 ("y"/"n"), then
// "F" when IsFullAccess.
std::string Answers(PM::PermissionManager& manager) {
    std::string out;
    for (int id : {10, 11, 12, 13, 14, 99, -1}) {
        out += " " + std::to_string(id) + ":";
        for (long mask : {0, 1, 2, 16, 32, 64}) {
            out += manager.IsAccessAllowed(id, mask) ? "y" : "n";
        }
        out += manager.IsFullAccess(id) ? "F" : "-";
    }
    return out;
}

TEST(AccessDecisionTest, TheCurrentTableAnswersOnlyWhileAUserIsEstablished) {
    std::string const allowed =
        " 10:yyyyyyF 11:yyyyyyF 12:yyyyyyF 13:yyyyyyF 14:yyyyyyF 99:yyyyyyF -1:yyyyyyF";
    PM::PermissionManager manager;
    PM::PermissionManagerTestAccess access(manager);
    EXPECT_EQ(allowed, Answers(manager)); // no user, and no table is needed
    access.PushContext("Tallyframe", {{10, 17}, {11, 64}, {12, 63}, {13, 127}, {14, 0}});
    manager.SetEstablishedUser(-3); // any negative id means no user
    EXPECT_EQ(allowed, Answers(manager));
    manager.SetEstablishedUser(7);
    // Mask 0 asks for any of the six actions, so Custom alone (64) is not
    // enough; full access is 63 exactly, not 127.
    EXPECT_EQ(" 10:yynynn- 11:nnnnny- 12:yyyyynF 13:yyyyyy- 14:nnnnnn- 99:nnnnnn- -1:nnnnnn-",
              Answers(manager));
    access.PushContext("com.example.app", {{10, 1}}); // an application's table answers
    EXPECT_EQ(" 10:yynnnn- 11:nnnnnn- 12:nnnnnn- 13:nnnnnn- 14:nnnnnn- 99:nnnnnn- -1:nnnnnn-",
              Answers(manager));
}

} // namespace
