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

// Compares two NUL-terminated strings; a null one reads as empty. The answers
// must order strings strictly and consistently (the library sorts by
// kStringLess), with kStringEqual exactly for strings that are equal under c.
StringCompareResult CompareStrings(char const* a, char const* b, CaseSensitivity c);

// The last occurrence of ch in s (either case of an ASCII letter under
// kCaseInsensitive), or null: also for a null s. Points into s.
char const* ReverseFindCharacter(char const* s, char ch, CaseSensitivity c);

} // namespace Util
