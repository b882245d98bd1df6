// Copying a company between locations: the rows read whole from a snapshot
// of the source, written in one write bracket on the destination, compared
// before the commit and read back after it.
#include "CompanyCopy.h"

#include "CompanyFile.h"
#include "Engine.h"
#include "FilesBeside.h"
#include "postgres/ServerLocation.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>

namespace Host {

namespace {

using detail::Engine;
using detail::SqlLiteral;
using detail::TextRows;

// The tables a copy moves: each with its columns, and the key that orders its
// rows for the checksum. A table the schema gains is one line here, optional
// when a company of an earlier schema version lacks it.
struct CopiedTable {
    char const* name;
    char const* columns; // ", "-separated
    char const* key;
    bool optional = false; // copied when the source has it
};

const CopiedTable kCopiedTables[] = {
    {"roles", "role_id, category_type, is_visible, name, description", "role_id"},
    {"entitlements", "entitlement_id, category_type, attributes_id, is_visible, is_enabled, name",
     "entitlement_id"},
    {"user_roles", "user_key, role_id", "user_key, role_id"},
    {"role_actions", "role_id, entitlement_id, action_type", "role_id, entitlement_id"},
    {"users", "user_id, record_key, name, is_admin", "user_id"},
    {"host_counters", "name, value", "name"},
    {"change_history", "id, changed_at, os_user, command, details", "id", true},
};

// Rows a statement carries to the destination: few enough for any server's
// limits, many enough that a round trip is not what a copy costs.
const std::size_t kRowsPerInsert = 500;

// One table's rows in key order, each field as text, and for each row which
// of its fields are NULL ('1' at the field's place).
struct Rows {
    bool present = true; // whether the company has the table
    TextRows fields;
    std::vector<std::string> nulls;
};

std::vector<std::string> Columns(CopiedTable const& table) {
    std::vector<std::string> columns;
    std::string list = table.columns;
    for (std::size_t start = 0; start <= list.size();) {
        std::size_t end = list.find(", ", start);
        end = end == std::string::npos ? list.size() : end;
        columns.push_back(list.substr(start, end - start));
        start = end + 2;
    }
    return columns;
}

// The table's rows in key order, and a last column that marks the NULLs: a
// query both engines answer alike.
std::string SelectSql(CopiedTable const& table) {
    std::string marks;
    for (std::string const& column : Columns(table)) {
        marks += (marks.empty() ? "" : " || ") + std::string("CASE WHEN ") + column +
                 " IS NULL THEN '1' ELSE '0' END";
    }
    return std::string("SELECT ") + table.columns + ", " + marks + " FROM " + table.name +
           " ORDER BY " + table.key;
}

// The number a one-row, one-column answer holds.
long Number(TextRows const& rows) {
    return rows.empty() || rows[0].empty() ? 0 : std::atol(rows[0][0].c_str());
}

// Whether the open company has the table; asked of the engine's catalogue,
// since on a server a statement on a missing table would end the transaction.
bool Has(Engine& engine, bool server, CopiedTable const& table, std::string* error) {
    if (!table.optional) {
        return true;
    }
    std::string const sql =
        server
            ? std::string("SELECT count(*) FROM pg_class c JOIN pg_namespace n ON n.oid = "
                          "c.relnamespace WHERE n.nspname = current_schema() AND c.relname = '") +
                  table.name + "'"
            : std::string("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = '") +
                  table.name + "'";
    TextRows rows;
    return engine.Execute(sql, &rows, error) && Number(rows) > 0;
}

// Every copied table of the open company (on a server or not); false with
// *error set.
bool ReadTables(Engine& engine, bool server, std::vector<Rows>* tables, std::string* error) {
    tables->clear();
    for (CopiedTable const& table : kCopiedTables) {
        Rows rows;
        error->clear();
        rows.present = Has(engine, server, table, error);
        if (!error->empty()) {
            return false;
        }
        if (rows.present && !engine.Execute(SelectSql(table), &rows.fields, error)) {
            *error = std::string("table ") + table.name + ": " + *error;
            return false;
        }
        for (std::vector<std::string>& row : rows.fields) {
            rows.nulls.push_back(row.back());
            row.pop_back();
        }
        tables->push_back(std::move(rows));
    }
    return true;
}

std::string Checksum(Rows const& rows) {
    std::uint64_t hash = 14695981039346656037ULL;
    auto add = [&hash](unsigned char byte) {
        hash ^= byte;
        hash *= 1099511628211ULL;
    };
    for (std::size_t r = 0; r < rows.fields.size(); ++r) {
        for (std::size_t f = 0; f < rows.fields[r].size(); ++f) {
            if (rows.nulls[r][f] == '1') {
                add(0);
                continue;
            }
            for (char c : rows.fields[r][f]) {
                add(static_cast<unsigned char>(c));
            }
            add(0x1F);
        }
        add(0x1E);
    }
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

// A field as an SQL literal. Numbers are quoted too, so that a text of
// digits stays text.
std::string Literal(std::string const& field, bool null) {
    return null ? std::string("NULL") : SqlLiteral(field);
}

// Inside the destination's write bracket (on a server or not): makes sure
// it holds no company (or, with replace, empties its tables), writes the
// source's rows and compares what it then holds with them. The reason it
// failed, or empty; *occupied when it held rows and replace was not given.
std::string Fill(Engine& engine, bool server, std::vector<Rows> const& source, bool replace,
                 bool* occupied) {
    std::string error;
    // What the destination holds, counted: its rows need not be read.
    std::vector<long> held;
    long rows = 0;
    for (std::size_t t = 0; t < source.size(); ++t) {
        CopiedTable const& table = kCopiedTables[t];
        error.clear();
        bool const present = Has(engine, server, table, &error);
        TextRows count;
        if (!error.empty() ||
            (present &&
             !engine.Execute(std::string("SELECT count(*) FROM ") + table.name, &count, &error))) {
            return "it cannot be read: " + error;
        }
        if (source[t].present && !present) {
            return std::string("it has no table ") + table.name +
                   " for the source's rows: its schema version is older";
        }
        held.push_back(present ? Number(count) : 0);
        rows += held.back();
    }
    if (rows > 0 && !replace) {
        *occupied = true;
        return "it holds a company already (" + std::to_string(rows) + " rows)";
    }
    for (std::size_t t = 0; t < source.size(); ++t) {
        TextRows none;
        if (held[t] > 0 &&
            !engine.Execute(std::string("DELETE FROM ") + kCopiedTables[t].name, &none, &error)) {
            return "what it held cannot be removed: " + error;
        }
        std::string const into = std::string("INSERT INTO ") + kCopiedTables[t].name + " (" +
                                 kCopiedTables[t].columns + ") VALUES ";
        Rows const& from = source[t];
        for (std::size_t first = 0; first < from.fields.size(); first += kRowsPerInsert) {
            std::string sql = into;
            std::size_t const end = std::min(from.fields.size(), first + kRowsPerInsert);
            for (std::size_t r = first; r < end; ++r) {
                sql += r == first ? "(" : ", (";
                for (std::size_t f = 0; f < from.fields[r].size(); ++f) {
                    sql +=
                        (f == 0 ? "" : ", ") + Literal(from.fields[r][f], from.nulls[r][f] == '1');
                }
                sql += ")";
            }
            // A statement outside the transaction would commit by itself.
            if (!engine.InTransaction()) {
                return "the transaction was lost";
            }
            if (!engine.Execute(sql, &none, &error)) {
                return std::string("table ") + kCopiedTables[t].name + " refused a row: " + error;
            }
        }
    }
    std::vector<Rows> written;
    if (!ReadTables(engine, server, &written, &error)) {
        return "what was written cannot be read back: " + error;
    }
    for (std::size_t t = 0; t < source.size(); ++t) {
        if (Checksum(written[t]) != Checksum(source[t]) ||
            written[t].fields.size() != source[t].fields.size()) {
            return std::string("table ") + kCopiedTables[t].name +
                   " does not read back as the source's rows";
        }
    }
    return std::string();
}

// Whether both locations name one company: the same text, or one file.
bool SameLocation(std::string const& a, std::string const& b) {
    struct stat first, second;
    return a == b || (!IsServerLocation(a) && !IsServerLocation(b) &&
                      ::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
                      first.st_dev == second.st_dev && first.st_ino == second.st_ino);
}

// Opens the destination for the copy: *build names the file being built for
// a destination file that does not exist.
CompanyFileResult OpenDestination(std::string const& destination, CompanyCopyOptions const& options,
                                  std::string* build) {
    struct stat info;
    if (IsServerLocation(destination)) {
        // An empty database gets the tables with the copy; one that holds a
        // company is opened.
        CompanyFileResult created = CreateCompanyFile(destination);
        return created.ok ? created : OpenCompanyFile(destination);
    }
    if (::lstat(destination.c_str(), &info) == 0) {
        return OpenCompanyFile(destination);
    }
    RemoveAbandonedFiles(destination);
    *build = HiddenBeside(destination, "copying");
    RemoveWithSidecars(*build);
    if (options.building) {
        options.building(*build);
    }
    return CreateCompanyFile(*build);
}

} // namespace

CompanyCopyResult CopyCompany(std::string const& source, std::string const& destination,
                              CompanyCopyOptions const& options) {
    auto const start = std::chrono::steady_clock::now();
    CompanyCopyResult result;
    auto failed = [&result](std::string const& location, std::string const& reason, bool refused) {
        result.location = MaskedLocation(location);
        result.reason = reason;
        result.refused = refused;
        return result;
    };
    if (IsCompanyFileOpen()) {
        return failed(destination, "the company '" + CurrentCompanyFilePath() + "' is open", false);
    }
    if (SameLocation(source, destination)) {
        return failed(destination, "it is the source itself", true);
    }
    struct stat info;
    if (!options.replace && !IsServerLocation(destination) &&
        ::lstat(destination.c_str(), &info) == 0) {
        result.occupied = true;
        return failed(destination, "the file exists already", true);
    }

    // The source, whole, as one commit left it.
    std::vector<Rows> rows;
    CompanyFileResult opened = OpenCompanyFileSnapshot(source);
    if (!opened.ok) {
        return failed(source, opened.reason, !opened.busy);
    }
    std::string error;
    bool const read = ReadTables(*detail::CurrentEngine(), IsServerLocation(source), &rows, &error);
    CloseCompanyFile();
    if (!read) {
        return failed(source, "it cannot be read: " + error, false);
    }

    std::string build;
    opened = OpenDestination(destination, options, &build);
    auto forgetBuild = [&] {
        if (!build.empty()) {
            RemoveWithSidecars(build);
            if (options.building) {
                options.building(std::string());
            }
        }
    };
    if (!opened.ok) {
        forgetBuild();
        return failed(destination, opened.reason, !opened.busy && build.empty());
    }
    {
        WriteTransaction change;
        int code = change.BeginResult();
        if (code != kBracketOk) {
            error = DescribeWriteFailure(code);
        } else {
            error = Fill(*detail::CurrentEngine(), IsServerLocation(destination), rows,
                         options.replace, &result.occupied);
        }
        code = error.empty() ? change.Commit() : kBracketOk;
        if (code != kBracketOk) {
            error = DescribeWriteFailure(code);
        }
    }
    if (!error.empty()) {
        CloseCompanyFile();
        forgetBuild();
        return failed(destination, "nothing was copied: " + error, result.occupied);
    }
    if (!build.empty()) {
        opened = CloseAndRenameCompanyFile(destination);
        forgetBuild();
        if (!opened.ok) {
            return failed(destination, "nothing was copied: " + opened.reason, false);
        }
    }
    CloseCompanyFile();

    // The destination as another program now finds it.
    std::vector<Rows> copied;
    opened = OpenCompanyFileSnapshot(destination);
    bool const readBack = opened.ok && ReadTables(*detail::CurrentEngine(),
                                                  IsServerLocation(destination), &copied, &error);
    CloseCompanyFile();
    if (!readBack) {
        return failed(destination,
                      "the copy is in place but cannot be read back: " +
                          (opened.ok ? error : opened.reason),
                      false);
    }
    for (std::size_t t = 0; t < rows.size(); ++t) {
        if (!rows[t].present) {
            continue;
        }
        CopiedTableFigures figures;
        figures.table = kCopiedTables[t].name;
        figures.sourceRows = static_cast<long>(rows[t].fields.size());
        figures.sourceChecksum = Checksum(rows[t]);
        figures.destinationRows = static_cast<long>(copied[t].fields.size());
        figures.destinationChecksum = Checksum(copied[t]);
        result.tables.push_back(figures);
        if (!figures.Same() && result.reason.empty()) {
            result.location = MaskedLocation(destination);
            result.reason = "the copy is in place but its table " + figures.table +
                            " differs from the source's";
        }
    }
    result.ok = result.reason.empty();
    result.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}

} // namespace Host
