// The C runtime's integer-to-text conversion, as the library uses it.
#pragma once

#if defined(_WIN32)
#include <stdlib.h>
#else
extern "C" {
// Writes value in the given radix (2 to 36) into buffer, NUL-terminated, and
// returns buffer. Negative values get a sign in radix 10 only; other radixes
// show the 32-bit pattern as unsigned. buffer is the caller's and must hold
// the text and its terminator (12 bytes for any value in radix 10).
char* _itoa(int value, char* buffer, int radix);
}
#endif
