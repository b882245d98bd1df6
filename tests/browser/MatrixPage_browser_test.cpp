// The matrix page of a file with 5,000 bank accounts, opened in headless
// Chromium after its script ran: the first screen shows the headings with the
// accounts collapsed, the filter narrows the rows, the toggles open a heading
// and its accounts (500 at a time), and a role column can be hidden.
#include "support/PmctlTesting.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace {

std::string Output(std::string const& command) {
    std::string text;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char buffer[4096];
        for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
            text.append(buffer, got);
        }
        ::pclose(pipe);
    }
    return text;
}

// What the probe wrote into its <pre id="result">.
std::string Report(std::string const& dom) {
    std::string const open = "<pre id=\"result\">";
    std::size_t begin = dom.find(open);
    std::size_t end = dom.find("</pre>", begin);
    if (begin == std::string::npos || end == std::string::npos) {
        return "no report in:\n" + dom.substr(0, 2000);
    }
    std::string text = dom.substr(begin + open.size(), end - begin - open.size());
    for (std::size_t at = text.find("&amp;"); at != std::string::npos;
         at = text.find("&amp;", at)) {
        text.replace(at, 5, "&"); // the one entity that the names here need
    }
    return text;
}

// Loads the page twice in frames of one screen (1280 by 900) and says what
// each shows: the rows within the first screen, the rows the filter leaves,
// then what the toggles and a column's hide button do.
char const kProbe[] = R"(<!DOCTYPE html><meta charset="utf-8">
<iframe id="first" src="matrix.html" width="1280" height="900"></iframe>
<iframe id="filtered" src="matrix.html#filter=CLIENT%200018" width="1280" height="900"></iframe>
<pre id="result"></pre>
<script>
function rows(frame, firstScreen) {
  var out = [];
  frame.contentDocument.querySelectorAll('#rows tr').forEach(function (tr) {
    var box = tr.getBoundingClientRect();
    if (!firstScreen || (box.height > 0 && box.top < frame.clientHeight))
      out.push(tr.className + '|' + tr.querySelector('th').textContent);
  });
  return out.join('\n');
}
addEventListener('load', function () {
  var first = document.getElementById('first'), d = first.contentDocument;
  var r = ['first screen:', rows(first, true),
           'accounts drawn: ' + d.querySelectorAll('#rows tr.a').length,
           'filtered:', rows(document.getElementById('filtered'), false)];
  d.querySelector('tr[data-h="1"] button').click();
  d.querySelector('tr[data-g="1"] button').click();
  var accounts = d.querySelectorAll('#rows tr.a');
  r.push('opened: ' + d.querySelectorAll('#rows tr.i').length + ' items, ' + accounts.length +
         ' accounts, the first ' + accounts[0].textContent.split('full')[0]);
  d.querySelector('tr.m button').click();
  r.push('then ' + d.querySelectorAll('#rows tr.a').length + ' accounts and ' +
         d.querySelector('tr.m').textContent);
  d.querySelector('button.x[data-c="0"]').click();
  r.push('columns shown: ' + Array.prototype.filter.call(d.querySelectorAll('thead th'),
         function (th) { return th.offsetWidth > 0; }).length);
  document.getElementById('result').textContent = r.join('\n');
});
</script>
)";

class MatrixPageBrowserTest : public PMTest::CommandTest {};

TEST_F(MatrixPageBrowserTest, OpensOnItsHeadingsWithTheAccountsCollapsedAndTheFilterNarrows) {
    if (std::system("command -v chromium >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "no chromium on PATH (scripts/install-deps.sh installs it)";
    }
    // 5,000 accounts: Client 0001 to 4500, and below every ninth a Trust.
    std::string const list = Scratch("accounts.txt");
    {
        std::ofstream out(list);
        for (int i = 1; i <= 4500; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "Client %04d", i);
            out << name << "\n" << (i % 9 == 0 ? std::string(name) + ":Trust\n" : "");
        }
    }
    ASSERT_EQ(0, Pmctl("bank import F " + list).code);
    ASSERT_EQ(0, Pmctl("matrix F --html " + Scratch("matrix.html")).code);
    std::ofstream(Scratch("probe.html")) << kProbe;
    std::string const dom = Output(
        "timeout 240 chromium --headless --no-sandbox --disable-gpu --allow-file-access-from-files "
        "--user-data-dir='" +
        Scratch("profile") + "' --window-size=1280,900 --dump-dom 'file://" +
        Scratch("probe.html") + "' 2>/dev/null");
    EXPECT_EQ("first screen:\n"
              "h|\u25b8Accounting 24\n"
              "h|\u25b8Bank Accounts 5,011\n"
              "h|\u25b8Company 20\n"
              "h|\u25b8Connected Apps 3\n"
              "h|\u25b8Credit Cards 6\n"
              "h|\u25b8Customers & Receivables 15\n"
              "h|\u25b8Employees & Payroll 21\n"
              "h|\u25b8Inventory 16\n"
              "h|\u25b8Lists 13\n"
              "h|\u25b8Purchasing 8\n"
              "h|\u25b8Reports 22\n"
              "h|\u25b8Sales 16\n"
              "h|\u25b8Sales Tax 10\n"
              "h|\u25b8Time & Projects 15\n"
              "h|\u25b8Vendors & Payables 12\n"
              "accounts drawn: 0\n"
              "filtered:\n"
              "h c|Bank Accounts 5,011\n"
              "g|Bank accounts 2\n"
              "a|Bank Registers:Client 0018\n"
              "a|Bank Registers:Client 0018:Trust\n"
              "opened: 11 items, 500 accounts, the first Bank Registers:Client 0001\n"
              "then 1000 accounts and show 500 more of 4,000 not shown\n"
              "columns shown: 8",
              Report(dom));
}

} // namespace
