// Writing the record of a change into the company file's history.
#include "ChangeHistory.h"

#include "ChangeDiff.h"

#include <host/catalogue/Catalogue.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <pwd.h>
#include <unistd.h>

namespace Pmctl {

std::string OsUserName() {
    struct passwd* entry = ::getpwuid(::geteuid());
    if (entry != nullptr && entry->pw_name != nullptr && entry->pw_name[0] != '\0') {
        return entry->pw_name;
    }
    char const* user = std::getenv("USER");
    return user != nullptr && user[0] != '\0' ? user : "uid " + std::to_string(::geteuid());
}

std::string UtcNow() {
    std::time_t now = std::time(nullptr);
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

namespace {

// Stamps details as a record and, with write, adds it to the history.
bool Record(FileArgs const& args, Json details, bool write, Json* record, std::string* error) {
    Host::ChangeRecord row;
    row.changedAt = UtcNow();
    row.osUser = OsUserName();
    row.command = args.command;
    // Stored names may hold any bytes: what is not UTF-8 is kept as U+FFFD.
    row.details = details.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (write && !Host::AppendChangeRecord(&row, error)) {
        *error = "the change could not be added to the company's history: " + *error;
        return false;
    }
    *record = Json::object();
    if (write) {
        (*record)["id"] = row.id;
    }
    (*record)["changedAt"] = row.changedAt;
    (*record)["osUser"] = row.osUser;
    (*record)["command"] = row.command;
    (*record)["details"] = std::move(details);
    return true;
}

bool TablesNow(Host::CompanyTables* tables, std::string* error) {
    if (!Host::ReadCompanyTables(tables, error)) {
        *error = "what the change did could not be read back: " + *error;
        return false;
    }
    return true;
}

} // namespace

bool RecordChange(Session& session, FileArgs const& args, bool write, Json* record,
                  std::string* error) {
    Host::CompanyTables const* before = session.TablesBefore(error);
    if (before == nullptr) {
        *error = "the company as the change found it could not be read: " + *error;
        return false;
    }
    Host::CompanyTables after;
    if (!TablesNow(&after, error)) {
        return false;
    }
    // A command that changed nothing (a role given to its holder) leaves no
    // record.
    Json details = DescribeChange(*before, after);
    bool const changed = !details.empty();
    return Record(args, std::move(details), write && changed, record, error);
}

bool RecordCreation(FileArgs const& args, bool write, Json* record, std::string* error) {
    Host::CompanyTables after;
    if (!TablesNow(&after, error)) {
        return false;
    }
    Host::CatalogueInfo info = Host::GetCatalogueInfo();
    Json described = DescribeChange(Host::CompanyTables(), after);
    Json details = {{"created",
                     {{"catalogue", info.sourceName},
                      {"version", info.permissionDataVersion},
                      {"entitlements", after.entitlements.size()},
                      {"roles", after.roles.size()}}}};
    for (char const* section : {"users", "assignments"}) {
        if (described.contains(section)) {
            details[section] = described[section];
        }
    }
    return Record(args, details, write, record, error);
}

Json RecordJson(Host::ChangeRecord const& record) {
    Json details = Json::parse(record.details, nullptr, false);
    return {{"id", record.id},
            {"changedAt", record.changedAt},
            {"osUser", record.osUser},
            {"command", record.command},
            {"details", details.is_discarded() ? Json(record.details) : details}};
}

namespace {

std::string Compact(Json const& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void Pretty(Json const& json, std::string const& indent, std::string* out) {
    bool const flat =
        json.is_array() && json.size() <= 4 &&
        std::all_of(json.begin(), json.end(), [](Json const& item) { return item.is_primitive(); });
    if (flat && !json.empty()) {
        // One blank after each comma, as a reader writes it.
        for (std::size_t i = 0; i < json.size(); ++i) {
            *out += (i == 0 ? "[" : ", ") + Compact(json[i]);
        }
        *out += "]";
        return;
    }
    if (json.is_primitive() || json.empty()) {
        *out += Compact(json);
        return;
    }
    std::string const inner = indent + "  ";
    *out += json.is_object() ? "{\n" : "[\n";
    std::size_t n = 0;
    for (auto item = json.begin(); item != json.end(); ++item, ++n) {
        *out += inner + (json.is_object() ? Compact(Json(item.key())) + ": " : "");
        Pretty(item.value(), inner, out);
        *out += n + 1 < json.size() ? ",\n" : "\n";
    }
    *out += indent + (json.is_object() ? "}" : "]");
}

} // namespace

void PrintRecordJson(Json const& json, Io io) {
    std::string text;
    Pretty(json, "", &text);
    io.out << text << "\n";
}

void PrintChange(std::string const& printed, Json const& record, bool json, bool bodyPrintsJson,
                 Io io) {
    Json report = json && bodyPrintsJson ? Json::parse(printed, nullptr, false) : Json();
    if (!json || (bodyPrintsJson && !report.is_object())) {
        io.out << printed;
    } else if (bodyPrintsJson) {
        report["change"] = record;
        PrintRecordJson(report, io);
    } else {
        io.err << printed;
        PrintRecordJson(record, io);
    }
}

} // namespace Pmctl
