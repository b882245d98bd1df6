// pmctl matrix: every role against every visible entitlement, as a page a
// person reads at a glance and as CSV for a spreadsheet.
#include "Actions.h"
#include "CommandSupport.h"
#include "EntitlementTree.h"

#include <PM/ActionMask.h>
#include <PM/PermissionManager.h>

#include <map>
#include <sstream>

namespace Pmctl {

namespace {

struct Column {
    int id;
    std::string name;
    std::map<int, long> masks;
};

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

// The letters of a cell: V C M D P B, X for custom.
std::string Letters(long mask) {
    static char const letters[] = "VCMDPBX";
    std::string text;
    for (std::size_t i = 0; i < ActionNames().size(); ++i) {
        if ((mask & ActionNames()[i].mask) != 0) {
            text += std::string(text.empty() ? "" : " ") + letters[i];
        }
    }
    return text;
}

char const kStyle[] = R"(
body { font: 13px/1.4 system-ui, sans-serif; margin: 1.5em; color: #222; }
h1 { font-size: 1.3em; margin: 0 0 .2em; }
p { margin: .2em 0 .8em; color: #555; }
table { border-collapse: collapse; }
th, td { border: 1px solid #ddd; padding: 2px 8px; white-space: nowrap; }
thead th { position: sticky; top: 0; background: #f4f4f4; }
tbody th { text-align: left; font-weight: normal; }
tr.depth-0 th { font-weight: bold; background: #fafafa; }
td { text-align: center; font-family: ui-monospace, monospace; }
.none { background: #f8e1e1; color: #a33; }
.some { background: #fff3c4; color: #7a5b00; }
.full { background: #d6efd6; color: #1e6b1e; }
.legend span { display: inline-block; padding: 0 6px; margin-right: 4px; }
)";

void WriteHtml(std::ostream& html, std::string const& title, std::vector<TreeRow> const& rows,
               std::vector<Column> const& columns) {
    html << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>"
         << Escape(title) << "</title>\n<style>" << kStyle << "</style>\n</head>\n<body>\n<h1>"
         << Escape(title) << "</h1>\n<p class=\"legend\"><span class=\"full\">full</span>all six "
         << "actions <span class=\"some\">V C</span>some <span class=\"none\">&#8211;</span>none. "
         << "V view, C create, M modify, D delete, P print, B view balances, X custom.</p>\n"
         << "<table>\n<thead>\n<tr><th>Entitlement</th>";
    for (Column const& column : columns) {
        html << "<th class=\"role\">" << Escape(column.name) << "</th>";
    }
    html << "</tr>\n</thead>\n<tbody>\n";
    for (TreeRow const& row : rows) {
        html << "<tr class=\"ent depth-" << row.depth
             << "\"><th style=\"padding-left:" << 8 + 18 * row.depth << "px\">" << Escape(row.name)
             << "</th>";
        for (Column const& column : columns) {
            std::map<int, long>::const_iterator found = column.masks.find(row.id);
            long mask = found == column.masks.end() ? 0 : found->second;
            bool full = (mask & PM::kActionFull) == PM::kActionFull;
            html << "<td class=\""
                 << (mask == 0 ? "none"
                     : full    ? "full"
                               : "some")
                 << "\" title=\"" << Escape(column.name + ": " + DescribeMask(mask)) << "\">"
                 << (mask == 0 ? "&#8211;"
                     : full    ? std::string("full")
                               : Letters(mask))
                 << "</td>";
        }
        html << "</tr>\n";
    }
    html << "</tbody>\n</table>\n</body>\n</html>\n";
}

// A cell as a spreadsheet reads it back: a text that starts like a formula
// (=, +, -, @) gets a leading apostrophe, so that a name such as
// "=HYPERLINK(...)" stays text; quotes where the text needs them.
std::string CsvField(std::string text) {
    if (!text.empty() && std::string("=+-@").find(text[0]) != std::string::npos) {
        text.insert(0, 1, '\'');
    }
    if (text.find_first_of(",\"\n\r") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (char c : text) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + "\"";
}

void WriteCsv(std::ostream& csv, std::vector<TreeRow> const& rows,
              std::vector<Column> const& columns) {
    csv << "id,entitlement,depth";
    for (Column const& column : columns) {
        csv << "," << CsvField(column.name);
    }
    csv << "\n";
    for (TreeRow const& row : rows) {
        csv << row.id << "," << CsvField(row.name) << "," << row.depth;
        for (Column const& column : columns) {
            std::map<int, long>::const_iterator found = column.masks.find(row.id);
            csv << "," << CsvField(DescribeGrant(found == column.masks.end() ? 0 : found->second));
        }
        csv << "\n";
    }
}

} // namespace

int MatrixCommand(FileArgs const& args, std::string const& htmlPath, std::string const& csvPath,
                  bool all, Io io) {
    if (htmlPath.empty() && csvPath.empty()) {
        io.err << "pmctl: matrix needs --html OUT or --csv OUT\n";
        return kExitBadInput;
    }
    for (std::string const& path : {htmlPath, csvPath}) {
        if (!path.empty() && !CheckOutputPath(args, path, io)) {
            return kExitBadInput;
        }
    }
    if (!htmlPath.empty() && htmlPath == csvPath) {
        io.err << "pmctl: " << htmlPath << ": the page and the CSV need files of their own\n";
        return kExitBadInput;
    }
    return RunRead(args, io, [&](Session& session) {
        PM::PermissionManager& manager = session.Manager();
        std::vector<TreeRow> rows;
        std::unique_ptr<std::vector<PM::RoleDef>> roles(manager.GetAvailableRoles(
            PM::kListIncludeAdmin, all ? PM::kListIncludeInvisible : PM::kListExcludeInvisible));
        if (roles == nullptr || !RoleTree(session, -1, &rows)) {
            Complain(io, args.file) << "cannot list the roles and entitlements\n";
            return kExitFailed;
        }
        std::vector<Column> columns;
        for (PM::RoleDef const& role : *roles) {
            std::vector<TreeRow> tree;
            if (!RoleTree(session, role.GetId(), &tree)) {
                Complain(io, args.file)
                    << "cannot list the entitlements of " << role.GetName() << "\n";
                return kExitFailed;
            }
            Column column{role.GetId(), std::string(role.GetName()), {}};
            for (TreeRow const& row : tree) {
                column.masks[row.id] = row.mask;
            }
            columns.push_back(column);
        }
        std::string title = "Roles and rights in " + args.file;
        for (auto const& [path, isHtml] : {std::pair(htmlPath, true), std::pair(csvPath, false)}) {
            if (path.empty()) {
                continue;
            }
            std::ostringstream text;
            if (isHtml) {
                WriteHtml(text, title, rows, columns);
            } else {
                WriteCsv(text, rows, columns);
            }
            if (!WriteWhole(path, text.str(), io)) {
                return kExitFailed;
            }
            io.out << "wrote " << path << ": " << rows.size() << " entitlements, " << columns.size()
                   << " roles\n";
        }
        return kExitOk;
    });
}

} // namespace Pmctl
