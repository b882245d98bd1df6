// The reference host's status value.
#include <Util/Status.h>

namespace Util {

Status::Status() : m_Succeeded(false), m_Code(-1) {}

Status::Status(bool succeeded, long code) : m_Succeeded(succeeded), m_Code(code) {}

Status::Status(Status const& other) = default;

Status& Status::operator=(Status const& other) = default;

Status const& Status::GetSucceeded() {
    static Status const succeeded(true, 0);
    return succeeded;
}

Status const& Status::GetFailed() {
    static Status const failed(false, -1);
    return failed;
}

Status Status::RecordNotFound() {
    return Status(true, kRecordNotFound);
}

} // namespace Util
