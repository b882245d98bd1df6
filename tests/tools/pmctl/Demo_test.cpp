// The guided tour (pmctl demo): it answers as the library answers, leaves a
// company file that verifies, and its changes are in the history in the
// words it shows.
#include "support/PmctlTesting.h"

namespace {

class DemoTest : public PMTest::CommandTest {};

TEST_F(DemoTest, TheTourAnswersAsTheLibraryAndLeavesItsChangesInTheHistory) {
    std::string const file = Scratch("tour.pmco");
    PMTest::Result const tour = Pmctl("demo F", file);
    ASSERT_EQ(0, tour.code) << tour.err;
    for (std::string const line : {
             // Before anyone logs in, yes; then each user's roles decide.
             "  may ...                   (no user)  admin  carol  dave  erin  \n"
             "  create  Invoices          yes        yes    yes    -     -     \n",
             "  modify  Pay Employees     yes        yes    -      yes   -     \n",
             // The integrated application under its own role.
             "  may ...                   OrvaneConnect  erin  \n"
             "  create  Invoices          yes            -     \n"
             "  delete  Invoices          -              -     \n",
             "    denied: erin may not delete Invoices\n    (exit 1)\n",
         }) {
        EXPECT_NE(std::string::npos, tour.out.find(line)) << line << tour.out;
    }
    EXPECT_EQ(0, Pmctl("verify F", file).code);
    std::string commands;
    for (auto const& record : Json("log F --json", file)) {
        commands += record["command"].get<std::string>() + "\n";
    }
    EXPECT_EQ("demo\n"
              "assign erin \"View Only\"\n"
              "unassign dave Purchasing\n"
              "roles copy Sales \"Sales East\"\n"
              "roles edit \"Sales East\" --grant \"Bills=view,create\"\n"
              "assign carol \"Sales East\"\n"
              "bank add Checking\n"
              "bank add Checking:Payroll\n",
              commands);
}

} // namespace
