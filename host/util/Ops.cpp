// The reference host's assertion and log services: Util::Ops hands each failed
// check to the installed verify handler and each log entry to the installed
// sink. Both are process-wide and, like the library, single-threaded.
#include "OpsHooks.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

namespace Host {

namespace {

VerifyHandler& InstalledHandler() {
    static VerifyHandler handler(&DefaultVerifyHandler);
    return handler;
}

LogSink& InstalledSink() {
    static LogSink sink(&DefaultLogSink);
    return sink;
}

std::string OrEmpty(char const* text) {
    return text == nullptr ? std::string() : std::string(text);
}

} // namespace

VerifyHandler SetVerifyHandler(VerifyHandler handler) {
    if (!handler) {
        handler = &DefaultVerifyHandler;
    }
    return std::exchange(InstalledHandler(), std::move(handler));
}

LogSink SetLogSink(LogSink sink) {
    if (!sink) {
        sink = &DefaultLogSink;
    }
    return std::exchange(InstalledSink(), std::move(sink));
}

bool DefaultVerifyHandler(VerifyReport const& report) {
    Util::Ops::MessageFunctor(Util::GetOps(), Util::Ops::kLevelUnexpected, Util::Ops::kEventProblem,
                              report.file.c_str(), report.line, report.function.c_str(),
                              report.signature.c_str())(
        "Verify failed: \"%s\" at %s:%ld in %s (%s)", report.expression.c_str(),
        report.file.c_str(), report.line, report.function.c_str(), report.signature.c_str());
    return false;
}

void DefaultLogSink(LogRecord const& record) {
    if (record.level < Util::Ops::kLevelWarning) {
        return;
    }
    // One record, one line: line breaks inside the text would split it.
    std::string text = record.text;
    for (char& ch : text) {
        if (ch == '\n' || ch == '\r') {
            ch = ' ';
        }
    }
    std::fprintf(stderr, "PM level %d event %d %s:%ld %s: %s\n", static_cast<int>(record.level),
                 static_cast<int>(record.eventType), record.sourcePath.c_str(), record.line,
                 record.function.c_str(), text.c_str());
}

} // namespace Host

namespace Util {

Ops& GetOps() {
    static Ops ops;
    return ops;
}

bool Ops::Verify(bool condition, char const* expression, char const* file, long line,
                 char const* function, char const* signature) {
    if (condition) {
        return true;
    }
    Host::VerifyReport const report{Host::OrEmpty(expression), Host::OrEmpty(file), line,
                                    Host::OrEmpty(function), Host::OrEmpty(signature)};
    // A copy, so a handler that installs another one is not destroyed mid-call.
    Host::VerifyHandler const handler = Host::InstalledHandler();
    return handler(report);
}

Ops::MessageFunctor::MessageFunctor(Ops& ops, Level level, EventType eventType,
                                    char const* sourcePath, long line, char const* function,
                                    char const* signature)
    : m_Ops(ops), m_Level(level), m_EventType(eventType), m_SourcePath(sourcePath), m_Line(line),
      m_Function(function), m_Signature(signature) {}

Ops::MessageFunctor::~MessageFunctor() = default;

void Ops::MessageFunctor::operator()(char const* format, ...) {
    std::string text;
    if (format != nullptr) {
        va_list args;
        va_start(args, format);
        va_list sizing;
        va_copy(sizing, args);
        int const length = std::vsnprintf(nullptr, 0, format, sizing);
        va_end(sizing);
        if (length < 0) {
            // Not formattable: keep the entry, with the format as its text.
            text = format;
        } else {
            text.resize(static_cast<std::size_t>(length) + 1);
            std::vsnprintf(&text[0], text.size(), format, args);
            text.resize(static_cast<std::size_t>(length));
        }
        va_end(args);
    }
    Host::LogRecord const record{m_Level,
                                 m_EventType,
                                 Host::OrEmpty(m_SourcePath),
                                 m_Line,
                                 Host::OrEmpty(m_Function),
                                 Host::OrEmpty(m_Signature),
                                 std::move(text)};
    Host::LogSink const sink = Host::InstalledSink();
    sink(record);
}

} // namespace Util
