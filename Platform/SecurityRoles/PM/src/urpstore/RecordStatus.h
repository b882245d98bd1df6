// How the record-backed store reads a status of the record layer. Internal.
#pragma once

#include <PM/ResultCodes.h>
#include <Util/Status.h>

namespace PM {

// A load that found nothing succeeds with this code; it is not a failure.
inline bool IsRecordNotFound(Util::Status const& status) {
    return status.GetStatusCode() == Util::kRecordNotFound;
}

// A failed status is PM_ERROR, anything else PM_OK; the layer's own codes
// never reach the store's caller.
inline int ResultOf(Util::Status const& status) {
    return status.Failed() ? PM_ERROR : PM_OK;
}

// Flags are stored as 1 and 0; on reading only 1 is true.
inline short FlagToRecord(bool flag) {
    return flag ? 1 : 0;
}
inline bool FlagFromRecord(short stored) {
    return stored == 1;
}

} // namespace PM
