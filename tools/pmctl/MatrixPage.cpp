// The matrix as one self-contained page: the header, legend and column
// heads are HTML; the rows are compact data in the page that its script
// draws, only those that are open or match the filter, so that a file with
// thousands of bank accounts opens on one screen of headings.
#include "Matrix.h"

#include "CommandSupport.h"

#include <PM/ActionMask.h>

#include <map>

namespace Pmctl {

namespace {

std::string Escape(std::string const& text) {
    std::string escaped;
    for (char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

// 5227 as "5,227".
std::string Grouped(std::size_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3; at -= 3) {
        digits.insert(at - 3, ",");
    }
    return digits;
}

char const kStyle[] = R"(
body { font: 13px/1.35 system-ui, sans-serif; margin: 0 1.5em 1.5em; color: #222; }
h1 { font-size: 1.3em; margin: .8em 0 .2em; }
p { margin: .2em 0; color: #555; }
code { color: #222; }
.legend span { display: inline-block; padding: 0 5px; }
.tools { margin: .6em 0; display: flex; flex-wrap: wrap; gap: .4em 1em; align-items: center; }
#filter { width: 22em; padding: 3px 6px; font: inherit; }
#shown { color: #555; }
table { border-collapse: collapse; }
th, td { border: 1px solid #ddd; padding: 2px 8px; white-space: nowrap; }
thead th { position: sticky; top: 0; z-index: 1; background: #f4f4f4; vertical-align: bottom; }
thead th + th { white-space: normal; min-width: 5em; max-width: 8em; }
thead .u { font-weight: normal; font-size: 11px; color: #666; white-space: normal; }
tbody th { position: sticky; left: 0; background: #fff; text-align: left; font-weight: normal; }
tr.h th { font-weight: bold; background: #fafafa; }
tr.c th { color: #888; }
tr.g th { font-style: italic; padding-left: 26px; }
tr.m th { padding-left: 44px; color: #555; }
tr.m button { width: auto; color: #06c; text-decoration: underline; cursor: pointer; }
tbody button { border: 0; background: none; padding: 0; width: 1.3em; font: inherit; }
button.x { border: 0; background: none; padding: 0 0 0 4px; color: #999; cursor: pointer; }
td { text-align: center; font-family: ui-monospace, monospace; }
.n { background: #f8e1e1; color: #a33; }
.s { background: #fff3c4; color: #7a5b00; }
.f { background: #d6efd6; color: #1e6b1e; }
)";

// Rows are [depth, account (0/1), name, mask set]; a mask set is one mask per
// role. Each heading (depth 0) keeps the items and the bank accounts below it;
// an open group of accounts shows 500 at a time, which the browser lays out
// in a blink, and the filter finds any one of them.
char const kScript[] = R"(
(function () {
  var data = JSON.parse(document.getElementById('data').textContent);
  var rows = data.rows, letters = 'VCMDPBX', full = 63, custom = 64, step = 500;
  var body = document.getElementById('rows'), box = document.getElementById('filter');
  var shown = document.getElementById('shown'), hider = document.getElementById('hidden');
  function num(n) { return n.toLocaleString('en-US'); }
  function esc(s) {
    return s.replace(/[&<>"]/g, function (c) { return '&#' + c.charCodeAt(0) + ';'; });
  }
  function cell(m) {
    if (!m) return '<td class="n">\u2013</td>';
    if ((m & full) == full) return '<td class="f">full' + (m & custom ? ' X' : '') + '</td>';
    var t = [];
    for (var b = 0; b < letters.length; b++) if (m & (1 << b)) t.push(letters[b]);
    return '<td class="s">' + t.join(' ') + '</td>';
  }
  var cells = data.masks.map(function (set) { return set.map(cell).join(''); });
  var blank = new Array(data.roles + 1).join('<td></td>');
  var heads = [], parent = [], stack = [], low = [];
  rows.forEach(function (r, i) {
    stack.length = r[0];
    parent[i] = r[0] ? stack[r[0] - 1] : -1;
    stack.push(i);
    if (!r[0]) heads.push({row: i, items: [], accounts: [], open: false, group: false, limit: step});
    else heads[heads.length - 1][r[1] ? 'accounts' : 'items'].push(i);
  });
  function match(i, q) {
    return (low[i] || (low[i] = rows[i][2].toLowerCase())).indexOf(q) >= 0;
  }
  function toggle(open) {
    return '<button aria-expanded="' + open + '">' + (open ? '\u25be' : '\u25b8') + '</button>';
  }
  function row(i, cls, pad) {
    return '<tr class="' + cls + '"><th style="padding-left:' + pad + 'px">' +
      esc(rows[i][2]) + '</th>' + cells[rows[i][3]] + '</tr>';
  }
  function draw() {
    var q = box.value.trim().toLowerCase(), out = [], matched = 0;
    heads.forEach(function (h, k) {
      var items = h.items, accounts = h.accounts, self = true, open = h.open, group = h.group;
      if (q) {
        var keep = {};
        items.forEach(function (i) {
          if (match(i, q)) for (var p = i; p != h.row; p = parent[p]) keep[p] = 1;
        });
        items = items.filter(function (i) { return keep[i]; });
        accounts = accounts.filter(function (i) { return match(i, q); });
        self = match(h.row, q);
        matched += (self ? 1 : 0) + accounts.length +
          items.filter(function (i) { return match(i, q); }).length;
        if (!self && !items.length && !accounts.length) return;
        open = group = true;
      }
      var r = rows[h.row], size = h.items.length + h.accounts.length;
      out.push('<tr class="h' + (self ? '' : ' c') + '" data-h="' + k + '"><th>' +
        (q ? '' : toggle(open)) + esc(r[2]) + (size ? ' <small>' + num(size) + '</small>' : '')
        + '</th>' + cells[r[3]] + '</tr>');
      if (!open) return;
      items.forEach(function (i) { out.push(row(i, 'i', 8 + 18 * rows[i][0])); });
      if (!accounts.length) return;
      out.push('<tr class="g" data-g="' + k + '"><th>' + (q ? '' : toggle(group)) +
        'Bank accounts <small>' + num(accounts.length) + '</small></th>' + blank +
        '</tr>');
      if (!group) return;
      accounts.slice(0, h.limit).forEach(function (i) {
        out.push(row(i, 'a', 26 + 18 * rows[i][0]));
      });
      var rest = accounts.length - h.limit;
      if (rest > 0) out.push('<tr class="m" data-m="' + k + '"><th><button>show ' +
        num(Math.min(rest, step)) + ' more</button> of ' + num(rest) + ' not shown</th>' +
        blank + '</tr>');
    });
    body.innerHTML = out.join('');
    var all = num(rows.length);
    shown.textContent = q ? num(matched) + ' of ' + all + ' match' :
      heads.length + ' headings, ' + all + ' entitlements';
  }
  body.addEventListener('click', function (e) {
    var tr = e.target.closest('tr');
    if (!tr) return;
    if (tr.dataset.m) heads[tr.dataset.m].limit += step;
    else if (box.value.trim()) return;
    else if (tr.dataset.h) heads[tr.dataset.h].open = !heads[tr.dataset.h].open;
    else if (tr.dataset.g) heads[tr.dataset.g].group = !heads[tr.dataset.g].group;
    else return;
    draw();
  });
  function openAll(open) {
    heads.forEach(function (h) { h.open = open; h.group = h.group && open; });
    draw();
  }
  document.getElementById('open').onclick = function () { openAll(true); };
  document.getElementById('close').onclick = function () { openAll(false); };
  var boxes = document.querySelectorAll('input[data-c]');
  function columns() {
    var css = '';
    boxes.forEach(function (b) {
      if (!b.checked) css += '#m tr>:nth-child(' + (+b.dataset.c + 2) + '){display:none}';
    });
    hider.textContent = css;
  }
  boxes.forEach(function (b) { b.onchange = columns; });
  document.querySelectorAll('button.x').forEach(function (x) {
    x.onclick = function () { boxes[x.dataset.c].checked = false; columns(); };
  });
  function fromFragment() {
    var m = /^#filter=(.*)$/.exec(location.hash);
    try { box.value = m ? decodeURIComponent(m[1]) : ''; } catch (e) { box.value = m[1]; }
    draw();
  }
  var timer;
  box.oninput = function () {
    clearTimeout(timer);
    timer = setTimeout(function () {
      history.replaceState(null, '', '#filter=' + encodeURIComponent(box.value));
      draw();
    }, 150);
  };
  addEventListener('hashchange', fromFragment);
  fromFragment();
})();
)";

// The rows as the script reads them, each distinct set of masks once: bank
// accounts take their parent's masks, so thousands of rows share a few sets.
std::string PageData(Matrix const& matrix) {
    Json rows = Json::array();
    Json sets = Json::array();
    std::map<std::vector<long>, std::size_t> setOf;
    for (MatrixRow const& row : matrix.rows) {
        auto [found, added] = setOf.emplace(row.masks, sets.size());
        if (added) {
            sets.push_back(row.masks);
        }
        rows.push_back(Json::array({row.entitlement.depth, row.entitlement.account ? 1 : 0,
                                    row.entitlement.fullName, found->second}));
    }
    Json data = {{"roles", matrix.roles.size()}, {"masks", sets}, {"rows", rows}};
    // '<' appears only inside strings, where \u003c stands for it, and then
    // nothing in the data can end the script element.
    std::string text;
    for (char c : data.dump(-1, ' ', false, Json::error_handler_t::replace)) {
        text += c == '<' ? std::string("\\u003c") : std::string(1, c);
    }
    return text;
}

void WriteRoleHead(std::ostream& html, MatrixRole const& role, std::size_t column) {
    std::size_t const shown = 6;
    std::string users, all;
    for (std::size_t i = 0; i < role.users.size(); ++i) {
        all += (i == 0 ? "" : ", ") + role.users[i];
        users = i < shown ? all : users;
    }
    if (role.users.size() > shown) {
        users += " and " + std::to_string(role.users.size() - shown) + " more";
        html << "<th title=\"" << Escape(all) << "\">";
    } else {
        html << "<th>";
    }
    html << Escape(role.name) << "<button class=\"x\" data-c=\"" << column
         << "\" aria-label=\"hide this column\">&#215;</button><div class=\"u\">"
         << (users.empty() ? "no users" : Escape(users)) << "</div></th>";
}

} // namespace

void WriteMatrixPage(std::ostream& html, Matrix const& matrix) {
    std::size_t accounts = 0, headings = 0;
    for (MatrixRow const& row : matrix.rows) {
        accounts += row.entitlement.account ? 1 : 0;
        headings += row.entitlement.depth == 0 ? 1 : 0;
    }
    html << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         << "<title>Roles and rights in " << Escape(matrix.file) << "</title>\n<style>" << kStyle
         << "</style>\n<style id=\"hidden\"></style>\n</head>\n<body>\n"
         << "<h1>Roles and rights</h1>\n<p>File <code>" << Escape(matrix.file)
         << "</code>, catalogue version " << matrix.catalogueVersion << ", written "
         << matrix.writtenAt << ": " << Grouped(matrix.rows.size()) << " entitlements ("
         << Grouped(accounts) << " bank accounts) under " << headings << " headings, "
         << matrix.roles.size() << " roles.</p>\n"
         << "<p class=\"legend\"><span class=\"f\">full</span> the six standard actions, "
            "V C M D P B; <span class=\"f\">full X</span> those and custom; "
            "<span class=\"s\">V P</span> some; <span class=\"n\">&#8211;</span> none. "
            "V view, C create, M modify, D delete, P print, B view balances, "
            "X custom (not part of full).</p>\n"
         << "<div class=\"tools\"><input id=\"filter\" type=\"search\" "
            "placeholder=\"Filter by name\" aria-label=\"Filter by name\">"
            "<button id=\"open\">Open all headings</button><button id=\"close\">Close all"
            "</button><span id=\"shown\"></span></div>\n<div class=\"tools\">Columns:";
    for (std::size_t i = 0; i < matrix.roles.size(); ++i) {
        html << " <label><input type=\"checkbox\" data-c=\"" << i << "\" checked>"
             << Escape(matrix.roles[i].name) << "</label>";
    }
    html << "</div>\n<noscript><p>This page draws its rows with a script; pmctl matrix --csv "
            "writes the same table without one.</p></noscript>\n"
         << "<table id=\"m\">\n<thead><tr><th>Entitlement</th>";
    for (std::size_t i = 0; i < matrix.roles.size(); ++i) {
        WriteRoleHead(html, matrix.roles[i], i);
    }
    html << "</tr></thead>\n<tbody id=\"rows\"></tbody>\n</table>\n"
         << "<script id=\"data\" type=\"application/json\">" << PageData(matrix) << "</script>\n"
         << "<script>" << kScript << "</script>\n</body>\n</html>\n";
}

} // namespace Pmctl
