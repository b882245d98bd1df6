// The reference host's controls over Util::Ops: who answers a failed check and
// where log lines go. Tests install probes here; a real host installs its own.
#pragma once

#include <Util/Ops.h>

#include <functional>
#include <string>

namespace Host {

// What Util::Ops::Verify reports about one failed check.
struct VerifyReport {
    std::string expression;
    std::string file;
    long line;
    std::string function;
    std::string signature;
};

// One formatted log line as Util::Ops::MessageFunctor hands it on.
struct LogRecord {
    Util::Ops::Level level;
    Util::Ops::EventType eventType;
    std::string sourcePath;
    long line;
    std::string function;
    std::string signature;
    std::string text;
};

// Answers whether the program is to go on as though the check had passed.
typedef std::function<bool(VerifyReport const&)> VerifyHandler;
typedef std::function<void(LogRecord const&)> LogSink;

// Install a handler or sink and get back the one it replaces. An empty
// function restores the default.
VerifyHandler SetVerifyHandler(VerifyHandler handler);
LogSink SetLogSink(LogSink sink);

// The defaults: the handler logs the report at level 6 (event type 5) and
// refuses; the sink writes level 3 and worse to standard error and drops the
// rest.
bool DefaultVerifyHandler(VerifyReport const& report);
void DefaultLogSink(LogRecord const& record);

} // namespace Host
