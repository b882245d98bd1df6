// What pmctl says to a command line that names no command, --version, and
// where --log sends the library's log lines.
#include "support/PmctlTesting.h"

#include "Session.h"

#include <filesystem>

namespace {

using namespace Pmctl;

class CommandRunTest : public PMTest::CommandTest {};

std::string const kHint = "(pmctl --help lists the commands)\n";

TEST_F(CommandRunTest, AMistypedCommandGetsTheClosestOne) {
    struct Case {
        char const* line;
        std::string err;
    };
    Case const cases[] = {
        {"users lst F", "pmctl: unknown command \"users lst\" (did you mean \"users list\"?)\n"},
        {"roles shw F Sales",
         "pmctl: unknown command \"roles shw\" (did you mean \"roles show\"?)\n"},
        {"ussers list F", "pmctl: unknown command \"ussers\" (did you mean \"users\"?)\n"},
        {"chek F carol Invoices view",
         "pmctl: unknown command \"chek\" (did you mean \"check\"?)\n"},
        {"Roles list F", "pmctl: unknown command \"Roles\" (did you mean \"roles\"?)\n"},
        {"bank frobnicate F", "pmctl: unknown command \"bank frobnicate\"\n"},
        // An option's value is not a command; a flag takes none.
        {"--log F users lst F",
         "pmctl: unknown command \"users lst\" (did you mean \"users list\"?)\n"},
        {"--log=x --version2 usrs", "pmctl: unknown command \"usrs\" (did you mean \"users\"?)\n"},
        {"bank", "pmctl: \"bank\" needs one of its commands: list, add, rename, remove, import\n"},
        {"", "pmctl: no command given\n"},
        // Once the words name a command, what is wrong is said by the parser.
        {"users list", "pmctl: FILE is required\n"},
        {"users list F lst", "pmctl: The following argument was not expected: lst\n"},
        {"info F --dry-run", "pmctl: The following argument was not expected: --dry-run\n"},
        {"roles list F --grant x", "pmctl: The following arguments were not expected: x --grant\n"},
        {"assign F carol", "pmctl: ROLE is required\n"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.line);
        PMTest::Result result = Pmctl(c.line);
        EXPECT_EQ(kExitBadInput, result.code);
        EXPECT_EQ("", result.out);
        EXPECT_EQ(c.err + kHint, result.err);
    }
}

TEST_F(CommandRunTest, VersionNamesPmctlsAndTheShippedCatalogues) {
    for (char const* line : {"--version", "users --version"}) {
        PMTest::Result result = Pmctl(line);
        EXPECT_EQ(kExitOk, result.code) << line;
        EXPECT_EQ("pmctl " PM_PROJECT_VERSION "\ncatalogue version 27 (" + DefaultCataloguePath() +
                      ")\n",
                  result.out)
            << line;
        EXPECT_EQ("", result.err);
    }
}

TEST_F(CommandRunTest, LogDashWritesTheLibrarysLinesToStandardOutput) {
    PMTest::Result result = Pmctl("--log - check F carol Invoices view");
    EXPECT_EQ(kExitOk, result.code);
    EXPECT_EQ(0u, result.out.find("level 0 event 6 Platform\\SecurityRoles\\PM\\src\\"));
    EXPECT_NE(std::string::npos, result.out.find("\nallowed: carol may view Invoices"));
    EXPECT_EQ("", result.err);
    EXPECT_FALSE(std::filesystem::exists("-"));
}

} // namespace
