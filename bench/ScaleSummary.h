// The figures that scale_bench's targets name, printed side by side at the
// end of a run, after the usual console report: Init and EstablishUser at
// 5,000 accounts on each engine that ran, bracketed and not; IsAccessAllowed
// beside a dense array lookup; and each target with its ratio, met or missed.
// Where a case ran repeatedly (--benchmark_repetitions) its median counts.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace Bench {

class ScaleSummary : public benchmark::ConsoleReporter {
public:
    void ReportRuns(std::vector<Run> const& runs) override;
    void Finalize() override;

private:
    // The case's time per iteration in seconds, or a negative number when it
    // did not run (or was skipped with an error).
    double Seconds(std::string const& name) const;

    std::map<std::string, std::vector<double>> m_Times; // run name: seconds of each run
    std::map<std::string, double> m_Medians;            // run name: median aggregate
};

} // namespace Bench
