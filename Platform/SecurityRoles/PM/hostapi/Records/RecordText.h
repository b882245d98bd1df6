// Size of the buffer through which the record layer hands out text fields.
#pragma once

// Text getters write at most this many bytes, terminator included.
const int kRecordTextBufferSize = 512;
