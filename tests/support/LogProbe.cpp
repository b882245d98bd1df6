// The log probe: collects log lines for a test.
#include "LogProbe.h"

namespace PMTest {

LogProbe::LogProbe() {
    m_Previous =
        Host::SetLogSink([this](Host::LogRecord const& record) { m_Records.push_back(record); });
}

LogProbe::~LogProbe() {
    Host::SetLogSink(m_Previous);
}

std::string LogProbe::Texts() const {
    std::string result;
    for (Host::LogRecord const& record : m_Records) {
        result += record.text + "\n";
    }
    return result;
}

std::string LogProbe::Lines() const {
    std::string result;
    for (Host::LogRecord const& record : m_Records) {
        result += std::to_string(record.level) + "/" + std::to_string(record.eventType) + " " +
                  record.text + "\n";
    }
    return result;
}

} // namespace PMTest
