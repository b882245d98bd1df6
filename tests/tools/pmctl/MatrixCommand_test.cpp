// pmctl matrix: the page is well-formed HTML with one row per visible
// entitlement and one column per role.
#include "PmctlTesting.h"

#include <regex>
#include <set>

namespace {

// The first fault in the nesting of the page's tags, or "" when every tag
// that opens is closed in order (void elements excepted).
std::string NestingFault(std::string const& html) {
    static std::set<std::string> const kVoid = {"meta", "br", "hr", "img", "link", "input"};
    std::regex const tag(R"(<(/?)([A-Za-z][A-Za-z0-9]*)[^>]*>)");
    std::vector<std::string> open;
    for (std::sregex_iterator it(html.begin(), html.end(), tag), end; it != end; ++it) {
        std::string name = (*it)[2];
        if (kVoid.count(name) != 0) {
            continue;
        }
        if ((*it)[1].length() == 0) {
            open.push_back(name);
        } else if (open.empty() || open.back() != name) {
            return "</" + name + "> closes " + (open.empty() ? "nothing" : "<" + open.back() + ">");
        } else {
            open.pop_back();
        }
    }
    return open.empty() ? "" : "<" + open.back() + "> is never closed";
}

std::size_t Count(std::string const& text, std::string const& what) {
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++count;
    }
    return count;
}

TEST(NestingFaultTest, FindsTheFirstBadTag) {
    EXPECT_EQ("", NestingFault("<html><meta charset=x><p>a<b>b</b></p></html>"));
    EXPECT_EQ("</p> closes <b>", NestingFault("<p><b>x</p></b>"));
    EXPECT_EQ("<td> is never closed", NestingFault("<table><td>x"));
}

class MatrixCommandTest : public PmctlTesting::CommandTest {};

TEST_F(MatrixCommandTest, ThePageHoldsEveryVisibleEntitlementAndEveryRole) {
    std::string html = Scratch("roles.html");
    std::string csv = Scratch("roles.csv");
    PmctlTesting::Result matrix =
        Run([&](auto& f, Pmctl::Io io) { return Pmctl::MatrixCommand(f, html, csv, false, io); });
    ASSERT_EQ(0, matrix.code) << matrix.err;
    std::size_t const rows = Json([](auto& f, Pmctl::Io io) {
                                 return Pmctl::RolesShowCommand(f, "Admin", io);
                             })["entitlements"]
                                 .size();
    EXPECT_EQ("wrote " + html + ": " + std::to_string(rows) + " entitlements, 8 roles\nwrote " +
                  csv + ": " + std::to_string(rows) + " entitlements, 8 roles\n",
              matrix.out);

    std::string page = PmctlTesting::ReadBytes(html);
    EXPECT_EQ(0u, page.find("<!DOCTYPE html>\n<html"));
    EXPECT_EQ("", NestingFault(page));
    EXPECT_EQ(rows, Count(page, "<tr class=\"ent "));
    EXPECT_EQ(8u, Count(page, "<th class=\"role\">"));
    EXPECT_EQ(8 * rows, Count(page, "<td class="));
    // Admin holds everything: at least one full cell per row.
    EXPECT_LE(rows, Count(page, "<td class=\"full\""));
    EXPECT_EQ(std::string::npos, page.find("http")); // nothing fetched from elsewhere

    std::string table = PmctlTesting::ReadBytes(csv);
    EXPECT_EQ(0u, table.find("id,entitlement,depth,Admin,Bookkeeper,External Accountant,"
                             "Payroll Clerk,Payroll Manager,Purchasing,Sales,View Only\n"));
    EXPECT_EQ(rows + 1, Count(table, "\n"));
}

} // namespace
