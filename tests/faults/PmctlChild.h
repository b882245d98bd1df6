// The real pmctl as a child process of a fault test: started on files in a
// scratch directory of the test's own, waited for under a time limit (and
// killed when it outlives it), or killed at a chosen moment; and a company
// file read back without folding its log in, so that pmctl afterwards meets
// the file as the child left it.
//
// PM_PMCTL_PATH, a compile definition, names the pmctl binary.
#pragma once

#include "FaultChecks.h"
#include "FaultLoop.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace PMFault {

using Clock = std::chrono::steady_clock;

inline double Seconds(Clock::duration elapsed) {
    return std::chrono::duration<double>(elapsed).count();
}

inline std::string ReadText(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A directory of its own under the test temporary directory; removed, with
// everything in it, at the end.
class ScratchDir {
public:
    ScratchDir() {
        std::string pattern = ::testing::TempDir() + "pm_pmctl_XXXXXX";
        if (::mkdtemp(pattern.data()) != nullptr) {
            m_Path = pattern;
        }
        EXPECT_FALSE(m_Path.empty()) << "cannot make a directory like " << pattern;
    }
    ~ScratchDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_Path, ignored);
    }
    ScratchDir(ScratchDir const&) = delete;
    ScratchDir& operator=(ScratchDir const&) = delete;
    std::string operator/(std::string const& name) const { return m_Path + "/" + name; }

private:
    std::string m_Path;
};

// A started pmctl: its process id (-1 when it could not be started) and
// when it was started.
struct Child {
    pid_t pid = -1;
    Clock::time_point started;
};

// Starts pmctl with args: standard input from /dev/null, so that no command
// waits for an answer, standard output and error into the files named.
inline Child StartPmctl(std::vector<std::string> args, std::string const& out,
                        std::string const& err) {
    std::string program = PM_PMCTL_PATH;
    std::vector<char*> argv{program.data()};
    for (std::string& arg : args) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&files, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    Child child;
    child.started = Clock::now();
    if (::posix_spawn(&child.pid, program.c_str(), &files, nullptr, argv.data(), environ) != 0) {
        child.pid = -1;
    }
    posix_spawn_file_actions_destroy(&files);
    return child;
}

// How a child ended: its wait status, and whether it outlived the limit and
// was killed for it.
struct Ended {
    int status = -1;
    bool timedOut = false;
    double seconds = 0;
};

// Waits for the child to end, at most limit seconds after it started; then
// kills it. (A process descriptor to wait on: Linux 5.3 or later.)
inline Ended WaitFor(Child const& child, double limit) {
    Ended ended;
    if (child.pid == -1) {
        return ended;
    }
    int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, child.pid, 0));
    if (pidfd >= 0) {
        pollfd exited{pidfd, POLLIN, 0};
        int left = static_cast<int>((limit - Seconds(Clock::now() - child.started)) * 1000);
        while (left > 0 && ::poll(&exited, 1, left) == -1 && errno == EINTR) {
            left = static_cast<int>((limit - Seconds(Clock::now() - child.started)) * 1000);
        }
        ::close(pidfd);
    }
    if (::waitpid(child.pid, &ended.status, WNOHANG) != child.pid) {
        ended.timedOut = true;
        ::kill(child.pid, SIGKILL);
        ::waitpid(child.pid, &ended.status, 0);
    }
    ended.seconds = Seconds(Clock::now() - child.started);
    return ended;
}

// What one pmctl run printed and how it ended; code is -1 when it did not
// exit by itself.
struct PmctlRun {
    int code = -1;
    std::string out;
    std::string err;
    double seconds = 0;
    bool timedOut = false;
};

// Runs pmctl with args to its end, within limit seconds; output passes
// through the files outputs + ".out" and ".err".
inline PmctlRun RunPmctl(std::vector<std::string> const& args, std::string const& outputs,
                         double limit = 15) {
    Ended ended = WaitFor(StartPmctl(args, outputs + ".out", outputs + ".err"), limit);
    PmctlRun run;
    run.code = WIFEXITED(ended.status) ? WEXITSTATUS(ended.status) : -1;
    run.out = ReadText(outputs + ".out");
    run.err = ReadText(outputs + ".err");
    run.seconds = ended.seconds;
    run.timedOut = ended.timedOut;
    return run;
}

// "pmctl ARGS" for messages.
inline std::string Describe(std::vector<std::string> const& args) {
    std::string text = "pmctl";
    for (std::string const& arg : args) {
        text += " " + arg;
    }
    return text;
}

// Opens the company file at path, hands the connection to read, and gives
// the file's integrity check: "ok" when it is sound, "" when there is no
// file. The connection leaves the file's log as it is: SQLite reads it, but
// neither folds it into the file nor removes it.
inline std::string ReadCompany(std::string const& path,
                               std::function<void(sqlite3*)> const& read = nullptr) {
    if (::access(path.c_str(), F_OK) != 0) {
        return "";
    }
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        std::string error = sqlite3_errmsg(db);
        sqlite3_close(db);
        return "cannot open: " + error;
    }
    sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    std::string integrity = IntegrityCheck(db);
    if (read) {
        read(db);
    }
    sqlite3_close(db);
    return integrity;
}

// The rows of query on db, each row's columns joined by "\t", one a line, in
// the order the query gives.
inline std::string QueryRows(sqlite3* db, char const* query) {
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_prepare_v2(db, query, -1, &statement, nullptr))
        << query << ": " << sqlite3_errmsg(db);
    std::string rows;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            char const* text =
                reinterpret_cast<char const*>(sqlite3_column_text(statement, column));
            rows += std::string(column == 0 ? "" : "\t") + (text != nullptr ? text : "NULL");
        }
        rows += "\n";
    }
    sqlite3_finalize(statement);
    return rows;
}

} // namespace PMFault
