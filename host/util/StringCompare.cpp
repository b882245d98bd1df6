// The reference host's string comparison. The case-insensitive mode folds the
// ASCII letters only, to lower case; every other byte compares as itself, as an
// unsigned char, so bytes above 127 sort after all of ASCII.
#include <Util/StringCompare.h>

namespace Util {

namespace {

unsigned char Fold(char ch, CaseSensitivity c) {
    unsigned char const u = static_cast<unsigned char>(ch);
    if (c == kCaseInsensitive && u >= 'A' && u <= 'Z') {
        return static_cast<unsigned char>(u - 'A' + 'a');
    }
    return u;
}

} // namespace

StringCompareResult CompareStrings(char const* a, char const* b, CaseSensitivity c) {
    if (a == nullptr) {
        a = "";
    }
    if (b == nullptr) {
        b = "";
    }
    for (;; ++a, ++b) {
        unsigned char const x = Fold(*a, c);
        unsigned char const y = Fold(*b, c);
        if (x != y) {
            return x < y ? kStringLess : kStringGreater;
        }
        if (x == 0) {
            return kStringEqual;
        }
    }
}

char const* ReverseFindCharacter(char const* s, char ch, CaseSensitivity c) {
    if (s == nullptr) {
        return nullptr;
    }
    unsigned char const wanted = Fold(ch, c);
    char const* found = nullptr;
    for (; *s != '\0'; ++s) {
        if (Fold(*s, c) == wanted) {
            found = s;
        }
    }
    return found;
}

} // namespace Util
