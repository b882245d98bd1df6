// SQLSTATEs as failure codes, and the server's words for them.
#include "ServerCodes.h"

#include <map>

namespace Host {
namespace detail {

namespace {

// Above every SQLite result code, extended ones included; five base-36
// digits (36^5 values) fit below the next power of two.
const long kFirst = 0x10000000;
const long kLast = kFirst + 36L * 36 * 36 * 36 * 36 - 1;

std::map<long, std::string>& Texts() {
    static std::map<long, std::string> texts;
    return texts;
}

int Digit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'A' && c <= 'Z') {
        return c - 'A' + 10;
    }
    return -1;
}

bool IsBusy(std::string const& sqlstate) {
    return sqlstate == "55P03" || sqlstate == "40001" || sqlstate == "40P01";
}

} // namespace

int ServerCode(std::string const& sqlstate) {
    long value = 0;
    for (char c : sqlstate) {
        if (Digit(c) < 0) {
            return ServerCode("XX000");
        }
        value = value * 36 + Digit(c);
    }
    return sqlstate.size() == 5 ? static_cast<int>(kFirst + value) : ServerCode("XX000");
}

bool IsServerCode(long code) {
    return code >= kFirst && code <= kLast;
}

std::string SqlStateOf(long code) {
    if (!IsServerCode(code)) {
        return std::string();
    }
    static const char kDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    std::string sqlstate(5, '0');
    long value = code - kFirst;
    for (int i = 4; i >= 0; --i) {
        sqlstate[i] = kDigits[value % 36];
        value /= 36;
    }
    return sqlstate;
}

bool IsBusyCode(long code) {
    return IsBusy(SqlStateOf(code));
}

void RememberServerFailure(int code, std::string const& text) {
    Texts()[code] = text;
}

std::string DescribeServerCode(long code) {
    std::string sqlstate = SqlStateOf(code);
    auto found = Texts().find(code);
    std::string detail = "SQLSTATE " + sqlstate;
    if (found != Texts().end() && !found->second.empty()) {
        detail += ": " + found->second;
    }
    if (IsBusy(sqlstate)) {
        return "another program is writing this company database; try again (" + detail + ")";
    }
    if (sqlstate == "08004") {
        return "the server refused the connection (" + detail + ")";
    }
    if (sqlstate.compare(0, 2, "08") == 0) {
        return "the connection to the server failed (" + detail + ")";
    }
    return "the server reported " + detail;
}

} // namespace detail
} // namespace Host
