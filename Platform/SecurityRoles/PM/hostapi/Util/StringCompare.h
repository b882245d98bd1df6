// String comparison and search as the host defines them.
#pragma once

namespace Util {

enum CaseSensitivity {
    kCaseInsensitive = 0, // ASCII letters compare without regard to case
    kCaseSensitive = 1,
};

// -1: a sorts before b; 0: equal; any other value: a sorts after b.
enum StringCompareResult {
    kStringLess = -1,
    kStringEqual = 0,
    kStringGreater = 1,
};

StringCompareResult CompareStrings(char const* a, char const* b, CaseSensitivity c);

// The last occurrence of ch in s, or null (also for a null s).
char const* ReverseFindCharacter(char const* s, char ch, CaseSensitivity c);

} // namespace Util
