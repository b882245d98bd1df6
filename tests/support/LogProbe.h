// Test seam: captures every log line the library writes, for its lifetime.
#pragma once

#include <host/util/OpsHooks.h>

#include <string>
#include <vector>

namespace PMTest {

class LogProbe {
public:
    LogProbe();
    ~LogProbe();
    LogProbe(LogProbe const&) = delete;
    LogProbe& operator=(LogProbe const&) = delete;

    std::vector<Host::LogRecord> const& Records() const { return m_Records; }
    // The texts alone, one per line, so one EXPECT_EQ checks a whole log.
    std::string Texts() const;
    // "level/eventType text" per line.
    std::string Lines() const;
    void Clear() { m_Records.clear(); }

private:
    std::vector<Host::LogRecord> m_Records;
    Host::LogSink m_Previous;
};

} // namespace PMTest
