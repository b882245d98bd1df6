// pmctl matrix: one row per visible entitlement and one column per role, as a
// page a person reads, as CSV for a spreadsheet and as JSON for scripts.
#include "support/PmctlTesting.h"

#include <cstdlib>

namespace {

std::size_t Count(std::string const& text, std::string const& what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++count;
    }
    return count;
}

std::string Replaced(std::string text, std::string const& what, std::string const& with) {
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size())) {
        text.replace(at, what.size(), with);
    }
    return text;
}

// The shipped file with two bank accounts, one below the other, and one
// whose name would end a script element; pages written at a fixed time.
class MatrixCommandTest : public PMTest::CommandTest {
protected:
    void SetUp() override {
        CommandTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        ::setenv("SOURCE_DATE_EPOCH", "1764041693", 1);
        RunAll(
            {"bank add F Checking", "bank add F Checking:Payroll", "bank add F \"</script><b>x\""});
    }
    void TearDown() override {
        ::unsetenv("SOURCE_DATE_EPOCH");
        CommandTest::TearDown();
    }
};

TEST_P(MatrixCommandTest, StandardOutputHoldsOneDocumentAndWhatWasWrittenIsSaidBeside) {
    // In the lines, @ stands for a scratch path; an expected output "=X" is
    // the text of the file X that an earlier line wrote.
    struct Case {
        char const* line;
        int code;
        char const* out;
        char const* err;
    } const cases[] = {
        {"matrix F", 2, "", "pmctl: matrix needs --html OUT, --csv OUT or --json\n"},
        {"matrix F --html - --csv -", 2, "",
         "pmctl: -: the page and the CSV need files of their own\n"},
        {"matrix F --json --csv -", 2, "",
         "pmctl: -: with --json, standard output holds the JSON; write the page or the CSV to a "
         "file\n"},
        {"matrix F --html @.html --csv @.csv", 0,
         "wrote @.html: 230 entitlements, 8 roles\nwrote @.csv: 230 entitlements, 8 roles\n", ""},
        {"matrix F --csv -", 0, "=@.csv", "wrote to standard output: 230 entitlements, 8 roles\n"},
        {"matrix F --html - --csv @.2.csv", 0, "=@.html",
         "wrote to standard output: 230 entitlements, 8 roles\n"
         "wrote @.2.csv: 230 entitlements, 8 roles\n"},
        {"matrix F --json --csv @.3.csv", 0, "{", "wrote @.3.csv: 230 entitlements, 8 roles\n"},
    };
    std::string const scratch = Scratch("matrix");
    for (Case const& c : cases) {
        SCOPED_TRACE(c.line);
        PMTest::Result result = Pmctl(Replaced(c.line, "@", scratch));
        EXPECT_EQ(c.code, result.code);
        std::string out = Replaced(c.out, "@", scratch);
        if (out[0] == '=') {
            EXPECT_EQ(PMTest::ReadBytes(out.substr(1)), result.out);
        } else if (out == "{") {
            EXPECT_EQ(0u, result.out.find("{\n  \"file\": "));
        } else {
            EXPECT_EQ(out, result.out);
        }
        EXPECT_EQ(Replaced(c.err, "@", scratch), result.err);
    }
    EXPECT_EQ(PMTest::ReadBytes(scratch + ".csv"), PMTest::ReadBytes(scratch + ".2.csv"));
}

TEST_P(MatrixCommandTest, EachCsvRowCarriesItsHeadingAndFullName) {
    std::string const csv = Pmctl("matrix F --csv -").out;
    for (char const* line : {
             "id,heading,entitlement,depth,Admin,Bookkeeper,External Accountant,Payroll Clerk,"
             "Payroll Manager,Purchasing,Sales,View Only\n",
             "\n100012,Bank Accounts,Bank Accounts,0,full,full,full,none,none,none,none,view\n",
             "\n300000,Bank Accounts,Bank Registers:Checking,1,full,full,full,none,none,none,none,"
             "view\n",
             "\n300001,Bank Accounts,Bank Registers:Checking:Payroll,2,full,full,full,none,none,"
             "none,none,view\n",
             "\n73,Company,Audit Log,1,full,none,\"view,print\",none,none,none,none,view\n",
         }) {
        EXPECT_EQ(1u, Count(csv, line)) << line;
    }
    EXPECT_EQ(231u, Count(csv, "\n"));
}

TEST_P(MatrixCommandTest, JsonNamesTheRolesWithTheirUsersAndEachRowsMasks) {
    nlohmann::json const json = Json("matrix F");
    EXPECT_EQ(m_File, json["file"]);
    EXPECT_EQ(27, json["catalogueVersion"]);
    EXPECT_EQ(R"([{"id":0,"name":"Admin","users":["admin"]},)"
              R"({"id":1,"name":"Bookkeeper","users":[]},)"
              R"({"id":2,"name":"External Accountant","users":[]},)"
              R"({"id":7,"name":"Payroll Clerk","users":["dave"]},)"
              R"({"id":3,"name":"Payroll Manager","users":[]},)"
              R"({"id":5,"name":"Purchasing","users":["dave"]},)"
              R"({"id":4,"name":"Sales","users":["carol"]},)"
              R"({"id":6,"name":"View Only","users":[]}])",
              json["roles"].dump());
    ASSERT_EQ(230u, json["rows"].size());
    EXPECT_EQ(R"({"account":true,"depth":2,"fullName":"Bank Registers:Checking:Payroll",)"
              R"("heading":"Bank Accounts","id":300001,"masks":[63,63,63,0,0,0,0,1]})",
              json["rows"][34].dump());
}

TEST_P(MatrixCommandTest, ThePageSaysWhatItShowsAndCarriesTheRowsAsData) {
    for (int i = 0; i < 7; ++i) {
        std::string user = "clerk" + std::to_string(i);
        ASSERT_EQ(0, Pmctl("users add F " + user).code);
        ASSERT_EQ(0, Pmctl("assign F " + user + " Bookkeeper").code);
    }
    std::string const page = Pmctl("matrix F --html -").out;
    std::string const file = Replaced(m_File, "&", "&amp;"); // a URI's parameters
    for (std::string const& text : {
             "<title>Roles and rights in " + file + "</title>\n",
             "<p>File <code>" + file +
                 "</code>, catalogue version 27, written 2025-11-25 03:34:53 UTC: 230 "
                 "entitlements (3 bank accounts) under 15 headings, 8 roles.</p>\n",
             std::string("<p class=\"legend\"><span class=\"f\">full</span> the six standard "
                         "actions, V C M D P B; <span class=\"f\">full X</span> those and custom; "
                         "<span class=\"s\">V P</span> some; <span class=\"n\">&#8211;</span> "
                         "none. V view, C create, M modify, D delete, P print, B view balances, X "
                         "custom (not part of full).</p>\n"),
             std::string("<th>Sales<button class=\"x\" data-c=\"6\" aria-label=\"hide this "
                         "column\">&#215;</button><div class=\"u\">carol</div></th>"),
             std::string("<th title=\"clerk0, clerk1, clerk2, clerk3, clerk4, clerk5, "
                         "clerk6\">Bookkeeper<button class=\"x\" data-c=\"1\" aria-label=\"hide "
                         "this column\">&#215;</button><div class=\"u\">clerk0, clerk1, clerk2, "
                         "clerk3, clerk4, clerk5 and 1 more</div></th>"),
             // Rows as data: [depth, account, full name, mask set]; accounts
             // share their parent's set, so the page lists each set once.
             std::string("{\"roles\":8,\"masks\":[[63,63,63,0,0,0,0,1],"),
             std::string("[1,1,\"Bank Registers:\\u003c/script>\\u003cb>x\",0],"),
             std::string("[2,1,\"Bank Registers:Checking:Payroll\",0],"),
         }) {
        EXPECT_EQ(1u, Count(page, text)) << text;
    }
    EXPECT_EQ(2u, Count(page, "</script>")); // the data's and the script's own
    EXPECT_EQ(0u, Count(page, "http"));      // nothing from the network
}

INSTANTIATE_ON_BOTH_ENGINES(MatrixCommandTest);

} // namespace
