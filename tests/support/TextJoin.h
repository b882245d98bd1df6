// Tables rendered as one line of text, so that one EXPECT_EQ checks them whole.
#pragma once

#include <string>

namespace PMTest {

// show(item) for each item, sep between them.
template <class Items, class Show>
std::string Join(Items const& items, char const* sep, Show show) {
    std::string out;
    bool first = true;
    for (auto const& item : items) {
        out += (first ? "" : sep) + std::string(show(item));
        first = false;
    }
    return out;
}

} // namespace PMTest
