// Test seam: captures every log line the library writes, for its lifetime.
#pragma once

#include <host/util/OpsHooks.h>

#include <string>
#include <vector>

namespace PMTest {

class LogProbe {
public:
    LogProbe()
        : m_Previous(Host::SetLogSink(
              [this](Host::LogRecord const& record) { m_Records.push_back(record); })) {}
    ~LogProbe() { Host::SetLogSink(m_Previous); }
    LogProbe(LogProbe const&) = delete;
    LogProbe& operator=(LogProbe const&) = delete;

    std::vector<Host::LogRecord> const& Records() const { return m_Records; }
    // The texts alone, one per line, so one EXPECT_EQ checks a whole log.
    std::string Texts() const { return Join(false); }
    // "level/eventType text" per line.
    std::string Lines() const { return Join(true); }
    void Clear() { m_Records.clear(); }

private:
    std::string Join(bool levels) const {
        std::string text;
        for (Host::LogRecord const& r : m_Records) {
            text +=
                (levels ? std::to_string(r.level) + "/" + std::to_string(r.eventType) + " " : "") +
                r.text + "\n";
        }
        return text;
    }

    std::vector<Host::LogRecord> m_Records;
    Host::LogSink m_Previous;
};

} // namespace PMTest
