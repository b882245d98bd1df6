// pmctl matrix: every role against every visible entitlement, gathered once
// and written as a page a person reads (MatrixPage.cpp), as CSV for a
// spreadsheet and as JSON for scripts.
#include "Matrix.h"

#include "Actions.h"
#include "CommandSupport.h"

#include <PM/PermissionManager.h>

#include <host/users/CompanyUsers.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <sstream>

namespace Pmctl {

char const kMatrixLetters[] = "VCMDPBX";

namespace {

// Now, or the time SOURCE_DATE_EPOCH names (seconds since 1970).
std::string WrittenAt() {
    std::time_t now = std::time(nullptr);
    char const* fixed = std::getenv("SOURCE_DATE_EPOCH");
    char* end = nullptr;
    if (fixed != nullptr && *fixed != '\0') {
        long long seconds = std::strtoll(fixed, &end, 10);
        now = *end == '\0' && seconds >= 0 ? static_cast<std::time_t>(seconds) : now;
    }
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &utc);
    return text;
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

void WriteCsv(std::ostream& csv, Matrix const& matrix) {
    csv << "id,heading,entitlement,depth";
    for (MatrixRole const& role : matrix.roles) {
        csv << "," << CsvField(role.name);
    }
    csv << "\n";
    for (MatrixRow const& row : matrix.rows) {
        csv << row.entitlement.id << "," << CsvField(row.heading) << ","
            << CsvField(row.entitlement.fullName) << "," << row.entitlement.depth;
        for (long mask : row.masks) {
            csv << "," << CsvField(DescribeGrant(mask));
        }
        csv << "\n";
    }
}

Json MatrixJson(Matrix const& matrix) {
    Json json;
    json["file"] = matrix.file;
    json["catalogueVersion"] = matrix.catalogueVersion;
    json["actions"] = Json::array();
    for (std::size_t i = 0; i < ActionNames().size(); ++i) {
        json["actions"].push_back({{"letter", std::string(1, kMatrixLetters[i])},
                                   {"name", ActionNames()[i].name},
                                   {"mask", ActionNames()[i].mask}});
    }
    json["roles"] = Json::array();
    for (MatrixRole const& role : matrix.roles) {
        json["roles"].push_back({{"id", role.id}, {"name", role.name}, {"users", role.users}});
    }
    json["rows"] = Json::array();
    for (MatrixRow const& row : matrix.rows) {
        json["rows"].push_back({{"id", row.entitlement.id},
                                {"fullName", row.entitlement.fullName},
                                {"heading", row.heading},
                                {"depth", row.entitlement.depth},
                                {"account", row.entitlement.account},
                                {"masks", row.masks}});
    }
    return json;
}

} // namespace

bool GatherMatrix(Session& session, bool all, Matrix* matrix, std::string* error) {
    PM::PermissionManager& manager = session.Manager();
    std::vector<TreeRow> tree;
    std::unique_ptr<std::vector<PM::RoleDef>> roles(manager.GetAvailableRoles(
        PM::kListIncludeAdmin, all ? PM::kListIncludeInvisible : PM::kListExcludeInvisible));
    if (roles == nullptr || !RoleTree(session, -1, &tree)) {
        *error = "cannot list the roles and entitlements";
        return false;
    }
    matrix->file = Shown(session.Path());
    matrix->catalogueVersion = session.CatalogueVersion();
    matrix->writtenAt = WrittenAt();
    matrix->roles.clear();
    matrix->rows.clear();
    std::string heading;
    for (TreeRow const& row : tree) {
        heading = row.depth == 0 ? row.fullName : heading;
        matrix->rows.push_back({row, heading, {}});
    }
    std::vector<Host::CompanyUser> const users = Host::ListCompanyUsers();
    for (PM::RoleDef const& role : *roles) {
        std::vector<TreeRow> own;
        if (!RoleTree(session, role.GetId(), &own)) {
            *error = "cannot list the entitlements of " + std::string(role.GetName());
            return false;
        }
        std::map<int, long> masks;
        for (TreeRow const& row : own) {
            masks[row.id] = row.mask;
        }
        for (MatrixRow& row : matrix->rows) {
            std::map<int, long>::const_iterator found = masks.find(row.entitlement.id);
            row.masks.push_back(found == masks.end() ? 0 : found->second);
        }
        MatrixRole column{role.GetId(), std::string(role.GetName()), {}};
        std::unique_ptr<std::vector<int>> holders(manager.GetUsersUsingRole(role.GetId()));
        for (Host::CompanyUser const& user : users) {
            if (holders != nullptr &&
                std::find(holders->begin(), holders->end(), user.userId) != holders->end()) {
                column.users.push_back(user.name);
            }
        }
        matrix->roles.push_back(column);
    }
    return true;
}

int MatrixCommand(FileArgs const& args, std::string const& htmlPath, std::string const& csvPath,
                  bool all, Io io) {
    if (htmlPath.empty() && csvPath.empty() && !args.json) {
        io.err << "pmctl: matrix needs --html OUT, --csv OUT or --json\n";
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
    bool const toStandardOutput = htmlPath == kStandardOutput || csvPath == kStandardOutput;
    if (args.json && toStandardOutput) {
        io.err << "pmctl: -: with --json, standard output holds the JSON; write the page or the "
                  "CSV to a file\n";
        return kExitBadInput;
    }
    // Standard output holds one document alone; what was written is said on
    // standard error then.
    std::ostream& said = args.json || toStandardOutput ? io.err : io.out;
    return RunRead(args, io, [&](Session& session) {
        Matrix matrix;
        std::string error;
        if (!GatherMatrix(session, all, &matrix, &error)) {
            Complain(io, args.file) << error << "\n";
            return kExitFailed;
        }
        for (auto const& [path, isHtml] : {std::pair(htmlPath, true), std::pair(csvPath, false)}) {
            if (path.empty()) {
                continue;
            }
            std::ostringstream text;
            if (isHtml) {
                WriteMatrixPage(text, matrix);
            } else {
                WriteCsv(text, matrix);
            }
            if (!WriteWhole(path, text.str(), io)) {
                return kExitFailed;
            }
            said << "wrote " << (path == kStandardOutput ? "to standard output" : path) << ": "
                 << matrix.rows.size() << " entitlements, " << matrix.roles.size() << " roles\n";
        }
        if (args.json) {
            PrintJson(MatrixJson(matrix), io);
        }
        return kExitOk;
    });
}

} // namespace Pmctl
