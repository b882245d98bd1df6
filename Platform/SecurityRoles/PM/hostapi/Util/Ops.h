// The host's assertion and log services.
#pragma once

namespace Util {

class Ops {
public:
    enum Level {
        kLevelProgress = 0,
        kLevelDetail = 1,
        kLevelNotice = 2,
        kLevelWarning = 3,
        kLevelSevereWarning = 4,
        kLevelError = 5,
        kLevelUnexpected = 6,
    };
    enum EventType {
        kEventGeneral = 0,
        kEventProblem = 5,  // warnings, failures, states that should not occur
        kEventProgress = 6, // progress: a context changed, a repair was made
    };

    // Reached after a check has failed (condition is false). Reports the
    // expression text, source file, line, short function name and full
    // signature, and answers whether the program is to go on as though the
    // check had passed (true) or leave with its failure result (false). A
    // true condition answers true and reports nothing. The texts are the
    // caller's and are not kept past the call.
    bool Verify(bool condition, char const* expression, char const* file, long line,
                char const* function, char const* signature);

    // One log entry: construct, call once with a printf-style format, destroy.
    // Logging never fails to the caller: an entry the host drops is no error.
    class MessageFunctor {
    public:
        // The texts are the caller's and must outlive the functor; the
        // library passes literals.
        MessageFunctor(Ops& ops, Level level, EventType eventType, char const* sourcePath,
                       long line, char const* function, char const* signature);
        ~MessageFunctor();
        // Formats the entry's text and hands the entry on.
        void operator()(char const* format, ...)
#if defined(__GNUC__)
            __attribute__((format(printf, 2, 3)))
#endif
            ;

        MessageFunctor(MessageFunctor const&) = delete;
        MessageFunctor& operator=(MessageFunctor const&) = delete;

    private:
        [[maybe_unused]] Ops& m_Ops; // this host has one Ops; kept for hosts with several
        Level m_Level;
        EventType m_EventType;
        char const* m_SourcePath;
        long m_Line;
        char const* m_Function;
        char const* m_Signature;
    };
};

// The host's one Ops object; it lives as long as the process and the
// library never deletes it.
Ops& GetOps();

} // namespace Util
