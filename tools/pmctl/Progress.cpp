// Drawing the phases of a long command on standard error.
#include "Progress.h"

#include <cstdio>
#include <iostream>
#include <unistd.h>

namespace Pmctl {

namespace {

std::size_t const kBarWidth = 40;
std::size_t const kNameWidth = 28;

} // namespace

Progress::Progress(std::ostream& err, bool draw)
    : m_Err(err), m_Draw(draw), m_Start(std::chrono::steady_clock::now()) {}

void Progress::Phase(std::string const& name, std::size_t total) {
    EndLine();
    m_Phase = name;
    m_Total = total;
    m_Done = 0;
    m_Shown = 0;
    Draw();
}

void Progress::Step(std::size_t done) {
    m_Done = done;
    std::size_t shown = m_Total == 0 ? 0 : done * 1000 / m_Total;
    if (shown != m_Shown || done == m_Total) {
        m_Shown = shown;
        Draw();
    }
}

void Progress::Draw() {
    if (!m_Draw) {
        return;
    }
    if (m_Total == 0) {
        m_Err << "  " << m_Phase << "\n" << std::flush;
        return;
    }
    std::size_t filled = m_Done * kBarWidth / m_Total;
    m_Err << "\r  " << m_Phase
          << std::string(kNameWidth > m_Phase.size() ? kNameWidth - m_Phase.size() : 1, ' ') << "["
          << std::string(filled, '#') << std::string(kBarWidth - filled, '.') << "] "
          << Grouped(m_Done) << "/" << Grouped(m_Total) << std::flush;
    m_LineOpen = true;
}

void Progress::EndLine() {
    if (m_LineOpen) {
        m_Err << "\n" << std::flush;
        m_LineOpen = false;
    }
}

void Progress::Summarize(std::string const& what) {
    m_Summary = what;
}

void Progress::Finish(std::string const& note) {
    EndLine();
    if (m_Summary.empty()) {
        return;
    }
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - m_Start).count();
    char time[32];
    std::snprintf(time, sizeof time, "%.1f", seconds);
    m_Err << m_Summary << " in " << time << " s" << (note.empty() ? "" : " " + note) << "\n";
}

std::string Grouped(std::size_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3; at -= 3) {
        digits.insert(at - 3, ",");
    }
    return digits;
}

bool IsTerminal(std::ostream const& err) {
    return &err == &std::cerr && ::isatty(STDERR_FILENO) != 0;
}

} // namespace Pmctl
