// Moving a company: every row of its tables from one location to another,
// an SQLite company file or a server database, either way (file to file and
// server to server too). The rows go through the record layer's engines
// (Engine.h), so the copy means the same whichever holds either side.
//
// What is copied: the four permission tables, the users table and the
// host's counters, and a table of a later schema version when the source has
// it (kCopiedTables in CompanyCopy.cpp lists them; a destination without a
// table that the source has is refused). What is not:
// what each location keeps about itself (a file's application id and schema
// version, a database's metadata table), which the destination has as its
// own engine writes it.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Host {

// One table as the copy found it: its rows and a checksum of them, read from
// the source before the copy and from the destination after it.
struct CopiedTableFigures {
    std::string table;
    long sourceRows = 0;
    long destinationRows = 0;
    // 16 hex digits: FNV-1a (64 bits) over the table's rows in key order,
    // each field's text followed by 0x1F (a NULL field: 0x00 alone), each
    // row by 0x1E. Equal on both engines for the same rows.
    std::string sourceChecksum;
    std::string destinationChecksum;
    bool Same() const {
        return sourceRows == destinationRows && sourceChecksum == destinationChecksum;
    }
};

struct CompanyCopyOptions {
    // Replace what a destination holding a company has. Without it such a
    // destination is refused: a file that exists, or a database whose
    // company tables hold a row.
    bool replace = false;
    // Told the name of the file the copy builds beside a destination file
    // that does not exist yet, before it is made, and "" once it is gone or
    // has become the destination: what an interrupt is to remove.
    std::function<void(std::string const& buildPath)> building;
};

struct CompanyCopyResult {
    bool ok = false;
    // Not ok: refused (bad input: a source that is no company, a destination
    // that holds one without replace or is no company, the same location
    // twice) rather than failed (busy, a lost connection, a row the
    // destination refused, a copy that did not compare equal).
    bool refused = false;
    // Refused because the destination holds a company and replace was not
    // given.
    bool occupied = false;
    // Not ok: the location the failure is about, as it may be shown
    // (MaskedLocation), and the reason, without a full stop.
    std::string location;
    std::string reason;
    // Once the copy is in place: each copied table, in kCopiedTables' order,
    // the destination's figures read back from it as another program finds
    // it. Not ok, with tables, when one of them then differs.
    std::vector<CopiedTableFigures> tables;
    double seconds = 0;
};

// Copies the company at source into destination in one write transaction on
// the destination: whole, or not at all. At most one company is open in a
// process, so the source is read whole first (one snapshot) and closed; then
// the destination is written:
// - a file that does not exist is built under a hidden name beside it and
//   given its name once committed (as a create does);
// - a file that exists, or a database holding a company, has its tables
//   emptied and filled in the transaction (replace only);
// - an empty database gets the tables in the same transaction.
// Before the commit, the destination's rows are read back and compared with
// the source's, table by table; a difference commits nothing. Refuses while
// a company is open in the process.
CompanyCopyResult CopyCompany(std::string const& source, std::string const& destination,
                              CompanyCopyOptions const& options);

} // namespace Host
