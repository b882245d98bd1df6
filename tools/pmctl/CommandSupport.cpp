// Lookups, action words and printing shared by pmctl's commands.
#include "CommandSupport.h"

#include "Actions.h"
#include "ChangeHistory.h"
#include "Verification.h"

#include <PM/ActionMask.h>
#include <PM/PermissionManager.h>

#include <host/records/CompanyFile.h>
#include <host/records/Transactions.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Pmctl {

char const kStandardOutput[] = "-";

std::unique_ptr<Session> OpenSession(FileArgs const& args, Access access, Io io, int* code) {
    OpenFailure failure;
    std::unique_ptr<Session> session = Session::Open(args.file, args.catalogue, access, &failure);
    if (session == nullptr) {
        io.err << "pmctl: " << failure.message << "\n";
        *code = failure.exitCode;
    }
    return session;
}

int RunRead(FileArgs const& args, Io io, std::function<int(Session&)> const& body) {
    int code = kExitOk;
    std::unique_ptr<Session> session = OpenSession(args, Access::kRead, io, &code);
    if (session == nullptr) {
        return code;
    }
    if (session->UpgradedOnOpen()) {
        Complain(io, args.file) << "note: this " << (OnServer(args.file) ? "database" : "file")
                                << " will be upgraded from version "
                                << session->FoundVersion().version << " to "
                                << session->CatalogueVersion() << " on the next change\n";
    }
    return body(*session);
}

namespace {

// NAME.YYYYMMDD-HHMMSS.bak beside the file, with -2, -3, ... when a copy of
// that second exists.
bool BackUp(Session& session, std::string* copy, Io io) {
    std::time_t now = std::time(nullptr);
    char stamp[32];
    std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", std::localtime(&now));
    for (int n = 1; n < 100; ++n) {
        *copy = session.Path() + "." + stamp + (n == 1 ? "" : "-" + std::to_string(n)) + ".bak";
        if (::access(copy->c_str(), F_OK) == 0) {
            continue;
        }
        Host::CompanyFileResult result = Host::BackupCompanyFile(*copy);
        if (!result.ok) {
            Complain(io, session.Path()) << "nothing was changed: the copy of the file as it was "
                                            "could not be written: "
                                         << result.message << "\n";
        }
        return result.ok;
    }
    Complain(io, session.Path()) << "nothing was changed: too many copies named " << *copy << "\n";
    return false;
}

} // namespace

int RunChange(FileArgs const& args, Io io, std::function<int(Session&, Io)> const& body,
              ChangeOptions const& options) {
    int code = kExitOk;
    std::unique_ptr<Session> session = OpenSession(args, Access::kChange, io, &code);
    if (session == nullptr) {
        return code;
    }
    std::ostringstream held;
    std::ostream& says = args.json ? io.err : io.out;
    if (session->UpgradedOnOpen() && !options.saysUpgrade && !options.repairs) {
        // An upgrade can leave the predefined roles short of an entitlement
        // it added: mended in the same change, as upgrade itself does.
        Findings mended = RepairAll(*session);
        if (!mended.InOrder()) {
            PrintFindings(mended, false, Io{held, io.err});
            io.out << held.str();
            Complain(io, args.file) << "the upgrade could not be completed; nothing was changed\n";
            return kExitFailed;
        }
        if (mended.Found()) {
            PrintFindings(mended, false, Io{held, io.err});
        }
    }
    Host::ForgetRecordFailure();
    code = body(*session, Io{held, io.err});
    bool const ownJson = args.json && options.bodyPrintsJson;
    if (code != kExitOk) {
        (args.json && !ownJson ? io.err : io.out) << held.str();
        return code;
    }
    // The record goes into the bracket with the change; a dry run's is only
    // shown.
    Json record;
    std::string error;
    if (!RecordChange(*session, args, !args.dryRun, &record, &error)) {
        Complain(io, args.file) << "nothing was changed: " << error << "\n";
        return kExitFailed;
    }
    auto const show = [&] { PrintChange(held.str(), record, args.json, ownJson, io); };
    if (args.dryRun) {
        show();
        says << "(dry run: nothing was written to " << Shown(args.file) << ")\n";
        return kExitOk;
    }
    std::string copy;
    bool upgraded = session->UpgradedOnOpen() && !options.saysUpgrade;
    // A database on a server has no beside: its backups are the server's
    // (pg_dump), and the change says that none was made.
    bool const wantsCopy = options.backup || session->UpgradedOnOpen();
    if (wantsCopy && !OnServer(args.file) && !BackUp(*session, &copy, io)) {
        return kExitFailed;
    }
    if (!session->Commit(&error)) {
        Complain(io, args.file) << "nothing was changed: " << error << "\n";
        if (!copy.empty()) {
            ::unlink(copy.c_str());
        }
        return kExitFailed;
    }
    if (!copy.empty()) {
        says << "saved a copy of the file as it was: " << copy << "\n";
    } else if (wantsCopy) {
        says << "no copy of the database as it was is kept: back a company database up with "
                "pg_dump\n";
    }
    if (upgraded) {
        says << "upgraded " << Shown(args.file) << " from version "
             << session->FoundVersion().version << " to " << session->CatalogueVersion() << "\n";
    }
    show();
    return kExitOk;
}

std::ostream& Complain(Io io, std::string const& file) {
    return io.err << "pmctl: " << Shown(file) << ": ";
}

std::string Result(int result) {
    return "result " + std::to_string(result) + Host::LastRecordFailureWords();
}

namespace {

char gRemovedOnInterrupt[4096];

extern "C" void OnInterrupt(int signal) {
    if (gRemovedOnInterrupt[0] != '\0') {
        char path[sizeof gRemovedOnInterrupt + 16];
        std::size_t length = std::strlen(gRemovedOnInterrupt);
        for (char const* suffix : {"", "-wal", "-shm", "-journal"}) {
            std::memcpy(path, gRemovedOnInterrupt, length);
            std::memcpy(path + length, suffix, std::strlen(suffix) + 1);
            ::unlink(path);
        }
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

} // namespace

void RemoveOnInterrupt(std::string const& path) {
    if (path.size() >= sizeof gRemovedOnInterrupt) {
        return;
    }
    // The first byte last: a signal meanwhile sees no path, not half of one.
    gRemovedOnInterrupt[0] = '\0';
    if (!path.empty()) {
        std::memcpy(gRemovedOnInterrupt + 1, path.c_str() + 1, path.size());
        gRemovedOnInterrupt[0] = path[0];
    }
}

void InstallInterruptHandlers() {
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        std::signal(signal, OnInterrupt);
    }
}

bool ParseInt(std::string const& text, int* value) {
    if (text.empty() || text.size() > 11) {
        return false;
    }
    char* end = nullptr;
    errno = 0;
    long parsed = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || parsed < INT_MIN || parsed > INT_MAX ||
        !(text[0] == '-' || (text[0] >= '0' && text[0] <= '9'))) {
        return false;
    }
    *value = static_cast<int>(parsed);
    return true;
}

bool ParseActions(std::string const& text, long* mask, std::string* error) {
    long result = 0;
    std::istringstream in(text);
    std::string word;
    bool any = false;
    while (std::getline(in, word, ',')) {
        std::size_t first = word.find_first_not_of(" \t");
        std::size_t last = word.find_last_not_of(" \t");
        word = first == std::string::npos ? "" : word.substr(first, last - first + 1);
        any = true;
        if (strcasecmp(word.c_str(), "none") == 0) {
            continue;
        }
        if (strcasecmp(word.c_str(), "full") == 0) {
            result |= PM::kActionFull;
            continue;
        }
        long bit = ActionMask(word);
        if (bit == 0) {
            std::string known;
            for (ActionName const& action : ActionNames()) {
                known += std::string(known.empty() ? "" : ", ") + action.name;
            }
            *error = "unknown action \"" + word + "\" (actions: " + known + ", none, full)";
            return false;
        }
        result |= bit;
    }
    if (!any) {
        *error = "no action given (actions are words such as view,create; or none, full)";
        return false;
    }
    *mask = result;
    return true;
}

Json ActionArray(long mask) {
    Json words = Json::array();
    for (ActionName const& action : ActionNames()) {
        if ((mask & action.mask) != 0) {
            words.push_back(action.name);
        }
    }
    return words;
}

bool KeepsAnAdminHolder(Session& session, FileArgs const& args, Host::CompanyUser const& user,
                        std::vector<int> const& taken, Io io) {
    PM::PermissionManager& manager = session.Manager();
    for (int roleId : taken) {
        std::unique_ptr<PM::RoleDef> role(manager.GetRoleDef(roleId));
        if (role == nullptr || !role->isRoleAdmin()) {
            continue;
        }
        std::unique_ptr<std::vector<int>> holders(manager.GetUsersUsingRole(roleId));
        bool others = holders != nullptr && std::any_of(holders->begin(), holders->end(),
                                                        [&](int id) { return id != user.userId; });
        if (!others && !args.force) {
            Complain(io, args.file) << user.name << " is the last holder of " << role->GetName()
                                    << ", and without one nobody can manage the rights; "
                                       "--force does it anyway\n";
            return false;
        }
    }
    return true;
}

std::string RoleName(Session& session, int roleId) {
    std::unique_ptr<PM::RoleDef> role(session.Manager().GetRoleDef(roleId));
    return role == nullptr ? "role " + std::to_string(roleId) : std::string(role->GetName());
}

long RoleMask(Session& session, int roleId, int entitlementId) {
    long mask = 0;
    return session.Manager().GetRoleActionAssociation(roleId, entitlementId, &mask) == PM_OK ? mask
                                                                                             : 0;
}

std::vector<int> UserRoleIds(Session& session, int userId) {
    std::unique_ptr<std::vector<int>> ids(session.Manager().GetUserRoleIds(userId));
    return ids == nullptr ? std::vector<int>() : *ids;
}

void PrintJson(Json const& json, Io io) {
    // Stored names may hold any bytes: what is not UTF-8 is shown as U+FFFD.
    io.out << json.dump(2, ' ', false, Json::error_handler_t::replace) << "\n";
}

namespace {

// The length of the UTF-8 sequence that starts text[at], or 0 when it is not
// one (a stray continuation byte, an overlong form, a surrogate, a code
// point past U+10FFFF, or a sequence cut short).
std::size_t Utf8Length(std::string const& text, std::size_t at, unsigned* codePoint) {
    unsigned char lead = static_cast<unsigned char>(text[at]);
    std::size_t length = lead < 0x80         ? 1
                         : (lead >> 5) == 6  ? 2
                         : (lead >> 4) == 14 ? 3
                         : (lead >> 3) == 30 ? 4
                                             : 0;
    if (length == 0 || at + length > text.size()) {
        return 0;
    }
    unsigned value = length == 1 ? lead : lead & (0x7F >> length);
    for (std::size_t i = 1; i < length; ++i) {
        unsigned char next = static_cast<unsigned char>(text[at + i]);
        if ((next & 0xC0) != 0x80) {
            return 0;
        }
        value = (value << 6) | (next & 0x3F);
    }
    static const unsigned kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (value < kLeast[length] || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
        return 0;
    }
    *codePoint = value;
    return length;
}

std::string Hex(unsigned value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*X", digits, value);
    return text;
}

} // namespace

bool CheckName(std::string const& what, std::string const& name, std::string* error) {
    if (name.empty()) {
        *error = "a " + what + " cannot be empty";
        return false;
    }
    std::size_t character = 0;
    for (std::size_t at = 0; at < name.size();) {
        ++character;
        unsigned codePoint = 0;
        std::size_t length = Utf8Length(name, at, &codePoint);
        std::string where = " at character " + std::to_string(character);
        if (length == 0) {
            *error = "the " + what + " has a byte that is not UTF-8 (0x" +
                     Hex(static_cast<unsigned char>(name[at]), 2) + ")" + where;
            return false;
        }
        if (codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0)) {
            *error =
                "the " + what + " has a control character (U+" + Hex(codePoint, 4) + ")" + where;
            return false;
        }
        at += length;
    }
    if (name.front() == ' ' || name.back() == ' ') {
        *error = "the " + what + " \"" + name + "\" has a blank at its " +
                 (name.front() == ' ' ? "start" : "end");
        return false;
    }
    return true;
}

namespace {

// The path with links, "." and ".." resolved as far as it exists.
std::string Resolved(std::string const& path) {
    std::error_code error;
    std::filesystem::path resolved = std::filesystem::weakly_canonical(path, error);
    return error ? path : resolved.string();
}

} // namespace

bool CheckOutputPath(FileArgs const& args, std::string const& output, Io io) {
    if (output == kStandardOutput || OnServer(args.file)) {
        return true;
    }
    struct stat out;
    bool exists = ::stat(output.c_str(), &out) == 0;
    std::string const outName = Resolved(output);
    for (char const* suffix : {"", "-wal", "-shm", "-journal"}) {
        // SQLite keeps its log beside the file that a link leads to.
        std::string companion = args.file + suffix;
        struct stat file;
        bool clash = exists && ::stat(companion.c_str(), &file) == 0 && out.st_dev == file.st_dev &&
                     out.st_ino == file.st_ino;
        clash = clash || outName == Resolved(companion) || outName == Resolved(args.file) + suffix;
        if (clash) {
            Complain(io, args.file)
                << "will not write " << output << ": it is the company file"
                << (*suffix != '\0' ? std::string(" or the ") + suffix + " file beside it"
                                    : std::string())
                << "; name another file\n";
            return false;
        }
    }
    return true;
}

bool WriteWhole(std::string const& path, std::string const& text, Io io) {
    if (path == kStandardOutput) {
        io.out << text;
        io.out.flush();
        if (!io.out) {
            io.err << "pmctl: cannot write to standard output\n";
        }
        return static_cast<bool>(io.out);
    }
    std::string partial = path + ".partial-" + std::to_string(::getpid());
    {
        std::ofstream out(partial, std::ios::binary | std::ios::trunc);
        out << text;
        out.flush();
        if (!out) {
            io.err << "pmctl: " << path << ": cannot write the file\n";
            ::unlink(partial.c_str());
            return false;
        }
    }
    if (std::rename(partial.c_str(), path.c_str()) != 0) {
        io.err << "pmctl: " << path << ": cannot write the file: " << std::strerror(errno) << "\n";
        ::unlink(partial.c_str());
        return false;
    }
    return true;
}

} // namespace Pmctl
