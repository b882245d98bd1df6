// The C runtime's integer-to-text conversion, as the library uses it.
#pragma once

#if defined(_WIN32)
#include <stdlib.h>
#else
extern "C" {
// Writes value in the given radix (2 to 36) into buffer, NUL-terminated, and
// returns buffer. Negative values get a sign in radix 10 only.
char* _itoa(int value, char* buffer, int radix);
}
#endif
