// What bank import shows on standard error: each pass drawn when asked for,
// and a line that sums the import up at the end, drawn or not.
#include "support/PmctlTesting.h"

#include "Progress.h"

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>

namespace {

using namespace Pmctl;

class ImportProgressTest : public PMTest::CommandTest {
protected:
    // The time in a summary, which varies, as "T".
    static std::string Timeless(std::string const& text) {
        return std::regex_replace(text, std::regex(" in [0-9]+\\.[0-9] s"), " in T s");
    }
};

std::string Bar(std::size_t done, std::size_t total) {
    std::size_t filled = done * 40 / total;
    return "\r  adding the accounts         [" + std::string(filled, '#') +
           std::string(40 - filled, '.') + "] " + std::to_string(done) + "/" +
           std::to_string(total);
}

TEST_F(ImportProgressTest, EveryPassIsDrawnAndTheImportSummedUp) {
    std::string const list = Scratch("accounts.txt");
    std::ofstream(list) << "Checking\nChecking:Sweep\nPetty Cash\n";
    std::string const passes = "  checking the list\n" + Bar(0, 3) + Bar(1, 3) + Bar(2, 3) +
                               Bar(3, 3) +
                               "\n  giving each role its rights\n  reloading the rights\n"
                               "  writing the file\n";
    std::string const none = Scratch("none.txt");
    struct Case {
        std::string line;
        int code;
        std::string err;
    };
    Case const cases[] = {
        {"bank import F --progress " + none, kExitBadInput,
         "  checking the list\npmctl: " + none + ": cannot read the file\n"},
        {"bank import F --dry-run " + list, kExitOk,
         "imported 3 accounts in T s (dry run: nothing was written)\n"},
        {"bank import F --progress " + list, kExitOk, passes + "imported 3 accounts in T s\n"},
        // Without --progress, a fault is the only line.
        {"bank import F " + list, kExitBadInput,
         "pmctl: " + list + ":1: there is a bank account \"Checking\" already\n"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.line);
        PMTest::Result result = Pmctl(c.line);
        EXPECT_EQ(c.code, result.code);
        EXPECT_EQ(c.err, Timeless(result.err));
    }
}

TEST_F(ImportProgressTest, ABarIsRedrawnOnlyWhenWhatItShowsChanges) {
    std::ostringstream err;
    Progress progress(err, true);
    progress.Phase("adding the accounts", 20000);
    for (std::size_t done = 1; done <= 20000; ++done) {
        progress.Step(done);
    }
    progress.Summarize("imported 20,000 accounts");
    progress.Finish();
    std::string const drawn = err.str();
    EXPECT_EQ(1001, std::count(drawn.begin(), drawn.end(), '\r')) << "a redraw each thousandth";
    EXPECT_EQ("] 20,000/20,000\nimported 20,000 accounts in T s\n",
              Timeless(drawn.substr(drawn.rfind(']'))));
    EXPECT_EQ("999", Grouped(999));
    EXPECT_EQ("1,000,000", Grouped(1000000));
}

} // namespace
