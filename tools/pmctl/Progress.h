// What a long command shows while it works: a line per phase on standard
// error, the phases whose steps can be counted with a bar redrawn in place;
// and one line at the end that sums the work up with its time.
#pragma once

#include <chrono>
#include <cstddef>
#include <ostream>
#include <string>

namespace Pmctl {

class Progress {
public:
    // draw: whether the phases are drawn (a terminal, or asked for); the
    // summary is written either way. The time of the work starts now.
    Progress(std::ostream& err, bool draw);
    Progress(Progress const&) = delete;
    Progress& operator=(Progress const&) = delete;

    // Starts a phase, ending the line of the phase before: total steps, or 0
    // for one that cannot be counted, whose name is written as a whole line
    // when it starts.
    void Phase(std::string const& name, std::size_t total = 0);
    // done of the phase's steps are done. The bar is redrawn when what it
    // shows changes by a thousandth or more, and at the last step.
    void Step(std::size_t done);
    // Ends the bar being drawn, so that what follows starts a line of its own
    // (a message about the phase).
    void EndLine();
    // What the work did ("imported 2,000 accounts"), for Finish.
    void Summarize(std::string const& what);
    // Ends the line being drawn and, when the work was summed up, writes
    // "WHAT in 1.4 s" and the note, if any, on a line.
    void Finish(std::string const& note = std::string());

private:
    void Draw();

    std::ostream& m_Err;
    bool const m_Draw;
    std::chrono::steady_clock::time_point const m_Start;
    std::string m_Phase;
    std::size_t m_Total = 0;
    std::size_t m_Done = 0;
    std::size_t m_Shown = 0; // thousandths of the phase drawn last
    bool m_LineOpen = false;
    std::string m_Summary;
};

// A count as people read it: 2000 as "2,000".
std::string Grouped(std::size_t number);

// Whether err is the process's standard error and that is a terminal.
bool IsTerminal(std::ostream const& err);

} // namespace Pmctl
