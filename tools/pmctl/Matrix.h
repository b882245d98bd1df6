// The matrix of a company file: every role against every visible
// entitlement, gathered once and then written as a page, CSV or JSON.
#pragma once

#include "EntitlementTree.h"
#include "Session.h"

#include <ostream>
#include <string>
#include <vector>

namespace Pmctl {

struct MatrixRole {
    int id;
    std::string name;
    std::vector<std::string> users; // the holders' names, by user id
};

struct MatrixRow {
    TreeRow entitlement;     // its mask is unused: see masks
    std::string heading;     // the full name of its depth-0 ancestor (itself at depth 0)
    std::vector<long> masks; // one per role, in the order of Matrix::roles
};

struct Matrix {
    std::string file;
    int catalogueVersion = 0;
    std::string writtenAt; // UTC, "2026-11-25 03:34:53 UTC"
    std::vector<MatrixRole> roles;
    std::vector<MatrixRow> rows; // in tree order: each before its children
};

// Gathers the matrix of the open file: the visible roles with Admin (with
// all, the invisible ones too), each with its users, and the visible
// entitlements. False with the reason in *error when the library gives no
// list. writtenAt is the time now, or SOURCE_DATE_EPOCH when it is set (for
// pages that must come out the same each time).
bool GatherMatrix(Session& session, bool all, Matrix* matrix, std::string* error);

// The cell letters of a mask, in mask-bit order: V C M D P B X.
extern char const kMatrixLetters[];

// The page: self-contained HTML (no network), its rows drawn by its script
// from data in the page, headings and bank accounts collapsed until opened.
// The fragment "#filter=TEXT" fills the filter box.
void WriteMatrixPage(std::ostream& html, Matrix const& matrix);

} // namespace Pmctl
