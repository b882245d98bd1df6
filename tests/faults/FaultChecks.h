// Small checks shared by the fault loops: rendered states compared line by
// line, as sets.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <sstream>
#include <string>

namespace PMFault {

inline std::multiset<std::string> Lines(std::string const& text) {
    std::multiset<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.insert(line);
    }
    return lines;
}

// The lines of part that whole lacks; empty when part is a sub-multiset of whole.
inline std::string Missing(std::string const& part, std::string const& whole) {
    std::multiset<std::string> have = Lines(whole);
    std::string missing;
    for (std::string const& line : Lines(part)) {
        auto found = have.find(line);
        if (found == have.end()) {
            missing += line + "\n";
        } else {
            have.erase(found);
        }
    }
    return missing;
}

// Lines of text that start with prefix, in order.
inline std::string Only(std::string const& text, std::string const& prefix) {
    std::istringstream in(text);
    std::string kept;
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, prefix.size(), prefix) == 0) {
            kept += line + "\n";
        }
    }
    return kept;
}

// Lines of text that start with none of the prefixes.
inline std::string Without(std::string const& text, std::initializer_list<char const*> prefixes) {
    std::istringstream in(text);
    std::string kept;
    for (std::string line; std::getline(in, line);) {
        bool drop = std::any_of(prefixes.begin(), prefixes.end(), [&line](char const* prefix) {
            return line.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
        });
        if (!drop) {
            kept += line + "\n";
        }
    }
    return kept;
}

} // namespace PMFault
