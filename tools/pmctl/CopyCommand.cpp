// pmctl copy: the host's copy of a company, and its table of figures.
#include "CopyCommand.h"

#include "CommandSupport.h"

#include <host/records/CompanyCopy.h>
#include <host/records/postgres/ServerLocation.h>

#include <cstdio>
#include <iomanip>

namespace Pmctl {

namespace {

Json Figures(Host::CompanyCopyResult const& copied) {
    Json tables = Json::array();
    for (Host::CopiedTableFigures const& table : copied.tables) {
        tables.push_back({{"table", table.table},
                          {"sourceRows", table.sourceRows},
                          {"sourceChecksum", table.sourceChecksum},
                          {"destinationRows", table.destinationRows},
                          {"destinationChecksum", table.destinationChecksum},
                          {"same", table.Same()}});
    }
    return tables;
}

void PrintFigures(Host::CompanyCopyResult const& copied, std::ostream& out) {
    out << "  " << std::left << std::setw(16) << "table" << std::right << std::setw(8) << "rows"
        << "  " << std::left << std::setw(18) << "checksum"
        << "in the copy\n";
    for (Host::CopiedTableFigures const& table : copied.tables) {
        out << "  " << std::left << std::setw(16) << table.table << std::right << std::setw(8)
            << table.sourceRows << "  " << std::left << std::setw(18) << table.sourceChecksum
            << (table.Same()
                    ? std::string("the same")
                    : std::to_string(table.destinationRows) + " rows, " + table.destinationChecksum)
            << "\n";
    }
}

} // namespace

int CopyCommand(std::string const& source, std::string const& destination, bool replace, bool json,
                Io io) {
    Host::CompanyCopyOptions options;
    options.replace = replace;
    options.building = RemoveOnInterrupt;
    Host::CompanyCopyResult copied = Host::CopyCompany(source, destination, options);
    std::string const from = Host::MaskedLocation(source);
    std::string const to = Host::MaskedLocation(destination);
    if (!copied.ok && copied.tables.empty()) {
        Complain(io, copied.location)
            << copied.reason << (copied.occupied ? "; pmctl copy --replace replaces it" : "")
            << "\n";
        return copied.refused ? kExitBadInput : kExitFailed;
    }
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.2f", copied.seconds);
    if (json) {
        Json report;
        report["source"] = from;
        report["destination"] = to;
        report["seconds"] = copied.seconds;
        report["same"] = copied.ok;
        report["tables"] = Figures(copied);
        PrintJson(report, io);
    } else {
        io.out << "copied " << from << " to " << to << " in " << seconds
               << " s; each table read back from the copy:\n";
        PrintFigures(copied, io.out);
    }
    if (!copied.ok) {
        Complain(io, copied.location) << copied.reason << "\n";
        return kExitFailed;
    }
    return kExitOk;
}

} // namespace Pmctl
