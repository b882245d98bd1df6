// The closing summary of scale_bench.
#include "ScaleSummary.h"

#include <algorithm>
#include <cstdio>

namespace Bench {

namespace {

char const* const kEngines[] = {"SQLite", "Server"};

// Targets: bracketed EstablishUser at most this on SQLite, the server at most
// this many times SQLite's, IsAccessAllowed at most this many times a dense
// array lookup.
const double kSqliteEstablishSeconds = 0.005;
const double kServerOverSqlite = 2.0;
const double kDecisionOverDense = 2.0;

std::string Name(char const* what, char const* engine, char const* argument) {
    return std::string(what) + "/" + engine + "/accounts:5000" + argument;
}

// A time in the unit that suits it, three significant digits.
std::string Shown(double seconds) {
    if (seconds < 0) {
        return "-";
    }
    char const* unit = "s";
    double value = seconds;
    if (seconds < 1e-6) {
        unit = "ns";
        value = seconds * 1e9;
    } else if (seconds < 1e-3) {
        unit = "us";
        value = seconds * 1e6;
    } else if (seconds < 1) {
        unit = "ms";
        value = seconds * 1e3;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.3g %s", value, unit);
    return text;
}

void Verdict(char const* target, char const* figure, bool met) {
    std::printf("  %-58s %-14s %s\n", target, figure, met ? "met" : "MISSED");
}

} // namespace

void ScaleSummary::ReportRuns(std::vector<Run> const& runs) {
    ConsoleReporter::ReportRuns(runs);
    for (Run const& run : runs) {
        if (run.error_occurred) {
            continue;
        }
        double const seconds =
            run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
        if (run.run_type == Run::RT_Iteration) {
            m_Times[run.run_name.str()].push_back(seconds);
        } else if (run.aggregate_name == "median") {
            m_Medians[run.run_name.str()] = seconds;
        }
    }
}

double ScaleSummary::Seconds(std::string const& name) const {
    auto median = m_Medians.find(name);
    if (median != m_Medians.end()) {
        return median->second;
    }
    auto times = m_Times.find(name);
    if (times == m_Times.end() || times->second.empty()) {
        return -1;
    }
    std::vector<double> sorted = times->second;
    std::sort(sorted.begin(), sorted.end());
    return sorted[sorted.size() / 2];
}

void ScaleSummary::Finalize() {
    ConsoleReporter::Finalize();
    struct Row {
        char const* label;
        char const* what;
        char const* argument;
    };
    Row const rows[] = {
        {"Init", "BM_Init", "/bracketed:0"},
        {"Init, bracketed", "BM_Init", "/bracketed:1"},
        {"EstablishUser, 3 roles", "BM_EstablishUser_ThreeRoles", "/bracketed:0"},
        {"EstablishUser, 3 roles, bracketed", "BM_EstablishUser_ThreeRoles", "/bracketed:1"},
        {"IsAccessAllowed", "BM_IsAccessAllowed", ""},
        {"dense array, behind the same call", "BM_DenseArrayCall", ""},
        {"dense array, inline in the loop", "BM_DenseArrayInline", ""},
    };
    std::printf("\nAt 5,000 bank accounts (medians where repeated):\n");
    std::printf("  %-36s %12s %12s\n", "", kEngines[0], kEngines[1]);
    for (Row const& row : rows) {
        std::printf("  %-36s %12s %12s\n", row.label,
                    Shown(Seconds(Name(row.what, kEngines[0], row.argument))).c_str(),
                    Shown(Seconds(Name(row.what, kEngines[1], row.argument))).c_str());
    }
    std::printf("Targets:\n");
    char figure[32];
    double const sqlite = Seconds(Name("BM_EstablishUser_ThreeRoles", kEngines[0], "/bracketed:1"));
    double const server = Seconds(Name("BM_EstablishUser_ThreeRoles", kEngines[1], "/bracketed:1"));
    if (sqlite >= 0) {
        Verdict("bracketed EstablishUser on SQLite at most 5 ms", Shown(sqlite).c_str(),
                sqlite <= kSqliteEstablishSeconds);
    }
    if (sqlite > 0 && server >= 0) {
        std::snprintf(figure, sizeof figure, "%.2fx", server / sqlite);
        Verdict("bracketed EstablishUser on the server at most 2x SQLite", figure,
                server <= kServerOverSqlite * sqlite);
    }
    for (char const* engine : kEngines) {
        double const decision = Seconds(Name("BM_IsAccessAllowed", engine, ""));
        double const call = Seconds(Name("BM_DenseArrayCall", engine, ""));
        double const inlined = Seconds(Name("BM_DenseArrayInline", engine, ""));
        if (decision >= 0 && call > 0) {
            std::string const target =
                std::string("IsAccessAllowed at most 2x a dense array (") + engine + ")";
            std::snprintf(figure, sizeof figure, "%.2fx", decision / call);
            Verdict(target.c_str(), figure, decision <= kDecisionOverDense * call);
        }
        if (decision >= 0 && inlined > 0) {
            // No exported function can come within 2x of a load inlined in
            // the caller's loop: the call alone costs more. Shown, not judged.
            std::snprintf(figure, sizeof figure, "%.2fx", decision / inlined);
            std::printf(
                "  %-58s %s\n",
                (std::string("  the same against the array inline in the loop (") + engine + ")")
                    .c_str(),
                figure);
        }
    }
    std::fflush(stdout);
}

} // namespace Bench
