// pmctl log: the company file's change history, oldest first, each change
// with a summary of what it did.
#include "Actions.h"
#include "ChangeHistory.h"
#include "CommandSupport.h"

#include <cstdio>
#include <functional>

namespace Pmctl {

namespace {

// Of a list longer than this, one line fewer is shown, then how many more.
const std::size_t kShownOfAKind = 4;

int Digits(std::string const& text, std::size_t at, std::size_t count) {
    int value = 0;
    for (std::size_t i = at; i < at + count; ++i) {
        if (i >= text.size() || text[i] < '0' || text[i] > '9') {
            return -1;
        }
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

int DaysIn(int year, int month) {
    static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kDays[month - 1];
}

// Whether the text is "YYYY-MM-DD" or a time in UTC, "YYYY-MM-DDTHH:MM:SSZ"
// (the 'T' may be a blank, the 'Z' left out); *stamp gets it as the history
// writes times, a date as its first second.
bool ParseSince(std::string const& text, std::string* stamp) {
    bool const dateOnly = text.size() == 10;
    bool const zoned = text.size() == 20 && text[19] == 'Z';
    if (!dateOnly && !zoned && text.size() != 19) {
        return false;
    }
    int year = Digits(text, 0, 4), month = Digits(text, 5, 2), day = Digits(text, 8, 2);
    if (year < 0 || text[4] != '-' || text[7] != '-' || month < 1 || month > 12 || day < 1 ||
        day > DaysIn(year, month)) {
        return false;
    }
    int hour = 0, minute = 0, second = 0;
    if (!dateOnly) {
        hour = Digits(text, 11, 2);
        minute = Digits(text, 14, 2);
        second = Digits(text, 17, 2);
        if ((text[10] != 'T' && text[10] != ' ') || text[13] != ':' || text[16] != ':' ||
            hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
            return false;
        }
    }
    char normal[32];
    std::snprintf(normal, sizeof normal, "%04d-%02d-%02dT%02d:%02d:%02dZ", year, month, day, hour,
                  minute, second);
    *stamp = normal;
    return true;
}

std::string Id(Json const& item) {
    return " (id " + item.value("id", Json()).dump() + ")";
}

std::string Text(Json const& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// The lines of a summary, each kind of thing at most kShownOfAKind lines.
class Summary {
public:
    // One line per item of details[section][list], or of details[section]
    // when list is null.
    void Each(Json const& details, char const* section, char const* list, char const* plural,
              std::function<std::string(Json const&)> const& line) {
        if (!details.contains(section)) {
            return;
        }
        Json const& items =
            list == nullptr ? details[section] : details[section].value(list, Json());
        if (!items.is_array()) {
            return;
        }
        std::size_t shown = items.size() <= kShownOfAKind ? items.size() : kShownOfAKind - 1;
        for (std::size_t i = 0; i < shown; ++i) {
            m_Lines.push_back(line(items[i]));
        }
        if (shown < items.size()) {
            m_Lines.push_back("... and " + std::to_string(items.size() - shown) + " more " +
                              plural);
        }
    }
    void Add(std::string const& line) { m_Lines.push_back(line); }
    std::vector<std::string> const& Lines() const { return m_Lines; }

private:
    std::vector<std::string> m_Lines;
};

std::vector<std::string> Summarise(Json const& details) {
    Summary summary;
    if (!details.is_object()) {
        summary.Add("(details that pmctl cannot read)");
        return summary.Lines();
    }
    if (details.contains("created")) {
        Json const& created = details["created"];
        summary.Add("created from " + Text(created.value("catalogue", Json())) + " (version " +
                    Text(created.value("version", Json())) +
                    "): " + Text(created.value("entitlements", Json())) + " entitlements, " +
                    Text(created.value("roles", Json())) + " roles");
    }
    if (details.contains("version")) {
        summary.Add("upgraded the permission data from version " +
                    Text(details["version"].value("from", Json())) + " to " +
                    Text(details["version"].value("to", Json())));
    }
    auto name = [](Json const& item) { return Text(item.value("name", Json())); };
    auto renamed = [](char const* what) {
        return [what](Json const& item) {
            return std::string("renamed the ") + what + " " + Text(item.value("from", Json())) +
                   " to " + Text(item.value("to", Json())) + Id(item);
        };
    };
    auto verb = [&name](std::string const& did, char const* what) {
        return [did, what, name](Json const& item) {
            bool admin = item.value("admin", false);
            return did + " the " + what + " " + name(item) + Id(item) +
                   (admin && did == "added" ? ", an administrator" : "");
        };
    };
    summary.Each(details, "users", "added", "users added", verb("added", "user"));
    summary.Each(details, "users", "removed", "users removed", verb("removed", "user"));
    summary.Each(details, "users", "changed", "users changed", verb("changed", "user"));
    summary.Each(details, "roles", "created", "roles created", verb("created", "role"));
    summary.Each(details, "roles", "renamed", "roles renamed", renamed("role"));
    summary.Each(details, "roles", "deleted", "roles deleted", verb("deleted", "role"));
    summary.Each(details, "roles", "changed", "roles changed", [&name](Json const& item) {
        std::string what = item.contains("description") ? "the description" : "";
        if (item.contains("visible")) {
            what += std::string(what.empty() ? "" : " and ") + "the visibility";
        }
        return "changed " + (what.empty() ? std::string("the role") : what + " of the role") + " " +
               name(item) + Id(item);
    });
    summary.Each(details, "accounts", "added", "bank accounts added",
                 verb("added", "bank account"));
    summary.Each(details, "accounts", "renamed", "bank accounts renamed", renamed("bank account"));
    summary.Each(details, "accounts", "removed", "bank accounts removed",
                 verb("removed", "bank account"));
    summary.Each(details, "accounts", "changed", "bank accounts changed",
                 verb("changed", "bank account"));
    summary.Each(details, "entitlements", "added", "entitlements added",
                 verb("added", "entitlement"));
    summary.Each(details, "entitlements", "removed", "entitlements removed",
                 verb("removed", "entitlement"));
    summary.Each(details, "entitlements", "changed", "entitlements changed",
                 verb("changed", "entitlement"));
    summary.Each(details, "assignments", "added", "roles given", [](Json const& item) {
        return "gave " + Text(item.value("user", Json())) + " the role " +
               Text(item.value("role", Json()));
    });
    summary.Each(details, "assignments", "removed", "roles taken", [](Json const& item) {
        return "took the role " + Text(item.value("role", Json())) + " from " +
               Text(item.value("user", Json()));
    });
    summary.Each(details, "masks", nullptr, "masks changed", [](Json const& mask) {
        if (!mask.is_array() || mask.size() != 4 || !mask[2].is_number() || !mask[3].is_number()) {
            return "a mask: " + mask.dump();
        }
        return Text(mask[0]) + " on " + Text(mask[1]) + ": " + DescribeMask(mask[2].get<long>()) +
               " -> " + DescribeMask(mask[3].get<long>());
    });
    if (summary.Lines().empty()) {
        summary.Add("(nothing changed)");
    }
    return summary.Lines();
}

} // namespace

int LogCommand(FileArgs const& args, std::string const& since, std::string const& osUser, Io io) {
    std::string from;
    if (!since.empty() && !ParseSince(since, &from)) {
        Complain(io, args.file) << "--since takes a date (2026-11-25) or a time in UTC "
                                   "(2026-11-25T03:34:53Z), not \""
                                << since << "\"\n";
        return kExitBadInput;
    }
    return RunRead(args, io, [&](Session&) {
        if (Host::CompanyFileSchemaVersion() < 2) {
            (args.json ? io.err : io.out)
                << Shown(args.file)
                << " has no change history yet: it keeps one from its next change\n";
            if (args.json) {
                PrintJson(Json::array(), io);
            }
            return kExitOk;
        }
        std::vector<Host::ChangeRecord> records;
        std::string error;
        if (!Host::ListChangeRecords(from, osUser, &records, &error)) {
            Complain(io, args.file) << "the change history cannot be read: " << error << "\n";
            return kExitFailed;
        }
        if (args.json) {
            Json list = Json::array();
            for (Host::ChangeRecord const& record : records) {
                list.push_back(RecordJson(record));
            }
            PrintRecordJson(list, io);
            return kExitOk;
        }
        for (Host::ChangeRecord const& record : records) {
            io.out << record.changedAt << "  " << record.osUser << "  "
                   << (record.command.empty() ? "(no command)" : record.command) << "\n";
            for (std::string const& line : Summarise(RecordJson(record)["details"])) {
                io.out << "    " << line << "\n";
            }
        }
        if (records.empty()) {
            io.out << (since.empty() && osUser.empty() ? "no changes recorded\n"
                                                       : "no recorded change matches\n");
        }
        return kExitOk;
    });
}

} // namespace Pmctl
