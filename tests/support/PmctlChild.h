// The real pmctl as a child process of a test: started on files in a scratch
// directory of the test's own, waited for under a time limit (and killed when
// it outlives it) or killed at a chosen moment; and a company file read back
// without folding its log in, so that pmctl afterwards meets the file as the
// child left it. PM_PMCTL_PATH, a compile definition, names the pmctl binary.
#pragma once

#include "support/FaultLoop.h"
#include "support/RecordTesting.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <numeric>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace PMTest {

using Clock = std::chrono::steady_clock;

inline double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A directory of its own under the test temporary directory; removed, with
// everything in it, at the end.
struct ScratchDir {
    ScratchDir() { EXPECT_NE(nullptr, ::mkdtemp(path.data())) << path; }
    ~ScratchDir() { std::filesystem::remove_all(path); }
    std::string operator/(std::string const& name) const { return path + "/" + name; }
    std::string path = ::testing::TempDir() + "pm_pmctl_XXXXXX";
};

// "pmctl ARGS", for messages.
inline std::string Describe(std::vector<std::string> const& args) {
    return std::accumulate(
        args.begin(), args.end(), std::string("pmctl"),
        [](std::string text, std::string const& arg) { return text + " " + arg; });
}

// The words of line, split at spaces, each "F" replaced by file.
inline std::vector<std::string> Words(std::string const& line, std::string const& file) {
    std::vector<std::string> words;
    std::istringstream in(line);
    for (std::string word; in >> word;) {
        words.push_back(word == "F" ? file : word);
    }
    return words;
}

// Starts pmctl with args, standard input from /dev/null (so that no command
// waits for an answer), standard output and error into outputs + ".out" and
// ".err"; its process id, -1 when it could not be started.
inline pid_t StartPmctl(std::vector<std::string> args, std::string const& outputs) {
    std::vector<char*> argv{const_cast<char*>(PM_PMCTL_PATH)};
    for (std::string& arg : args) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    std::fflush(nullptr); // nothing buffered here for the child to write again
    pid_t const pid = ::fork();
    if (pid == 0) {
        if (std::freopen("/dev/null", "r", stdin) &&
            std::freopen((outputs + ".out").c_str(), "w", stdout) &&
            std::freopen((outputs + ".err").c_str(), "w", stderr)) {
            ::execv(PM_PMCTL_PATH, argv.data());
        }
        std::_Exit(127);
    }
    return pid;
}

// The wait status of the child pid, started at start, once it ended; killed
// when it outlives limit seconds, just after beforeKill (when given) ran.
inline int WaitFor(pid_t pid, Clock::time_point start, double limit,
                   std::function<void()> const& beforeKill = nullptr) {
    int status = -1;
    while (pid != -1 && ::waitpid(pid, &status, WNOHANG) == 0) {
        if (SecondsSince(start) > limit) {
            if (beforeKill) {
                beforeKill();
            }
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    return status;
}

// What one pmctl run printed, its exit code (-1: it did not exit by itself,
// as when it was killed at the time limit) and its time.
struct PmctlRun {
    int code = -1;
    std::string out, err;
    double seconds = 0;
};

// Runs pmctl with args to its end, within limit seconds; its output passes
// through the files outputs + ".out" and ".err".
inline PmctlRun RunPmctlChild(std::vector<std::string> const& args, std::string const& outputs,
                              double limit = 15) {
    Clock::time_point const start = Clock::now();
    int const status = WaitFor(StartPmctl(args, outputs), start, limit);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadBytes(outputs + ".out"),
            ReadBytes(outputs + ".err"), SecondsSince(start)};
}

// Runs pmctl with args for a test's set-up, which it must pass; its output.
inline std::string PmctlSetUp(std::vector<std::string> const& args, std::string const& outputs) {
    PmctlRun run = RunPmctlChild(args, outputs);
    EXPECT_EQ(0, run.code) << Describe(args) << "\n" << run.err;
    return run.out;
}

// The company file at path as read hands it over, after its integrity check
// ("ok" when it is sound), both opened without folding its log in; "" when
// there is no file.
inline std::string ReadCompany(std::string const& path,
                               std::function<std::string(sqlite3*)> const& read) {
    sqlite3* db = nullptr;
    std::string rows = "cannot open\n";
    if (::access(path.c_str(), F_OK) != 0) {
        return "";
    } else if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
        sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        rows = QueryRows("PRAGMA integrity_check", db) + read(db);
    }
    sqlite3_close(db);
    return rows;
}

} // namespace PMTest
