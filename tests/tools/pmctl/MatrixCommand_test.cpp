// pmctl matrix: one row per visible entitlement and one column per role, as a
// page a person reads and as CSV for a spreadsheet.
#include "support/PmctlTesting.h"

namespace {

std::size_t Count(std::string const& text, std::string const& what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++count;
    }
    return count;
}

class MatrixCommandTest : public PMTest::CommandTest {};

TEST_F(MatrixCommandTest, ThePageHoldsEveryVisibleEntitlementAndEveryRole) {
    std::string html = Scratch("roles.html");
    std::string csv = Scratch("roles.csv");
    PMTest::Result matrix = Pmctl("matrix F --html " + html + " --csv " + csv);
    ASSERT_EQ(0, matrix.code) << matrix.err;
    std::size_t const rows = Json("roles show F Admin")["entitlements"].size();
    EXPECT_EQ("wrote " + html + ": " + std::to_string(rows) + " entitlements, 8 roles\nwrote " +
                  csv + ": " + std::to_string(rows) + " entitlements, 8 roles\n",
              matrix.out);
    std::string page = PMTest::ReadBytes(html);
    EXPECT_EQ(0u, page.find("<!DOCTYPE html>\n<html"));
    EXPECT_EQ(rows, Count(page, "<tr class=\"ent "));
    EXPECT_EQ(8u, Count(page, "<th class=\"role\">"));
    EXPECT_EQ(8 * rows, Count(page, "<td class="));
    EXPECT_LE(rows, Count(page, "<td class=\"full\"")); // Admin holds everything
    std::string table = PMTest::ReadBytes(csv);
    EXPECT_EQ(0u, table.find("id,entitlement,depth,Admin,Bookkeeper,External Accountant,"
                             "Payroll Clerk,Payroll Manager,Purchasing,Sales,View Only\n"));
    EXPECT_EQ(rows + 1, Count(table, "\n"));
}

} // namespace
