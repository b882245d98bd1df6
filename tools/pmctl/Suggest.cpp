// Edit distance over lower-cased bytes: names are short and lists are at
// most a few thousand, so the quadratic table is cheap.
#include "Suggest.h"

#include <algorithm>
#include <cctype>

namespace Pmctl {

namespace {

char Lower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

bool StartsWith(std::string const& text, std::string const& prefix) {
    return text.size() > prefix.size() &&
           std::equal(prefix.begin(), prefix.end(), text.begin(),
                      [](char a, char b) { return Lower(a) == Lower(b); });
}

} // namespace

std::size_t EditDistance(std::string const& a, std::string const& b) {
    // Three rows of the optimal-string-alignment table.
    std::vector<std::size_t> before(b.size() + 1), previous(b.size() + 1), row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        previous[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            std::size_t cost = Lower(a[i - 1]) == Lower(b[j - 1]) ? 0 : 1;
            row[j] = std::min({previous[j] + 1, row[j - 1] + 1, previous[j - 1] + cost});
            if (i > 1 && j > 1 && Lower(a[i - 1]) == Lower(b[j - 2]) &&
                Lower(a[i - 2]) == Lower(b[j - 1])) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
        before.swap(previous);
        previous.swap(row);
    }
    return previous[b.size()];
}

std::string ClosestName(std::string const& typed, std::vector<std::string> const& candidates) {
    std::size_t const limit = std::clamp<std::size_t>(typed.size() / 3, 1, 3);
    std::string best;
    std::size_t bestDistance = limit + 1;
    for (std::string const& candidate : candidates) {
        std::size_t distance = EditDistance(typed, candidate);
        if (distance < bestDistance) {
            best = candidate;
            bestDistance = distance;
        }
    }
    if (best.empty() && typed.size() >= 3) {
        for (std::string const& candidate : candidates) {
            if (StartsWith(candidate, typed)) {
                return candidate;
            }
        }
    }
    return best;
}

std::string DidYouMean(std::string const& typed, std::vector<std::string> const& candidates) {
    std::string closest = ClosestName(typed, candidates);
    return closest.empty() ? std::string() : " (did you mean \"" + closest + "\"?)";
}

} // namespace Pmctl
