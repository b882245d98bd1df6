// A flat copy of an action table beside the map, for the access decision.
//
// The action table stays the std::map<int, long> that the interface names
// (PermissionContextObject::ActionTable). Its ids fall in a few dense runs
// (the catalogue's from 0 and from 100000, the bank accounts' from 300000),
// so a run of slots per band, indexed by id, finds a row in one load where
// the map searches some thirteen levels of nodes at 5,000 accounts. The same
// layout of a table's rows lets EstablishUser merge a role's masks without a
// search per mask.
#pragma once

#include <PM/Export.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <vector>

namespace PM {

// Ids laid out in a few dense bands of slots, each indexed by id minus the
// band's first id. A gap of more than kGap ids between neighbours starts a new
// band; ids that would need more than kMaxBands bands, or a band with more
// than about four slots per id, are not laid out at all.
template <typename Slot> class IdBands {
public:
    static const long long kGap = 1024;
    static const int kMaxBands = 8;

    IdBands() = default;
    IdBands(IdBands const&) = delete; // the bands point into m_Slots
    IdBands& operator=(IdBands const&) = delete;

    // Lays out the keys of table (a std::map with int keys), the slot of each
    // key being slotOf(iterator to its row) and every other slot absent.
    // False, with no bands, when the keys are too sparse.
    template <typename Map, typename SlotOf> bool Layout(Map& table, Slot absent, SlotOf slotOf);

    // The slot of id; null outside the bands (so for any id after a failed
    // Layout). The band with the most ids is asked first, and without a loop:
    // it is where most questions land.
    Slot const* Find(int id) const {
        unsigned long long first = static_cast<unsigned long long>(id - m_Bands[0].first);
#if defined(__GNUC__)
        if (__builtin_expect(first < m_Bands[0].size, 1)) {
#else
        if (first < m_Bands[0].size) {
#endif
            return m_Bands[0].slots + first;
        }
        return FindBeyondFirst(id);
    }
    Slot* Find(int id) {
        return const_cast<Slot*>(static_cast<IdBands const*>(this)->Find(id));
    }
    // The slot's value, or none outside the bands.
    Slot Value(int id, Slot none) const {
        unsigned long long first = static_cast<unsigned long long>(id - m_Bands[0].first);
#if defined(__GNUC__)
        if (__builtin_expect(first < m_Bands[0].size, 1)) {
#else
        if (first < m_Bands[0].size) {
#endif
            return m_Bands[0].slots[first];
        }
        Slot const* slot = FindBeyondFirst(id);
        return slot != nullptr ? *slot : none;
    }

    void Clear() {
        m_Count = 0;
        m_Bands[0] = Band{0, 0, nullptr};
        m_Slots.clear();
    }

private:
    Slot const* FindBeyondFirst(int id) const {
        for (int band = 1; band < m_Count; ++band) {
            unsigned long long offset = static_cast<unsigned long long>(id - m_Bands[band].first);
            if (offset < m_Bands[band].size) {
                return m_Bands[band].slots + offset;
            }
        }
        return nullptr;
    }

    struct Band {
        long long first;
        unsigned long long size;
        Slot* slots; // into m_Slots
    };

    int m_Count = 0;
    Band m_Bands[kMaxBands] = {{0, 0, nullptr}}; // the first is empty while none are laid out
    std::vector<Slot> m_Slots;                   // the bands' slots, one band after another
};

// The masks of one action table as IdBands, an id without a row reading 0:
// both decisions answer a row of 0 as they answer no row (nothing allowed, no
// full access), so the index need not tell them apart.
//
// The index holds the table it was last built from, as it was then: whoever
// adds, removes or changes a row of that table rebuilds it (PermissionManager
// does after each change it makes). A table the index was not built from (a
// context made elsewhere, its index never built; ids too sparse to lay out) is
// not held, and the map must be asked. Only the table's address is compared,
// so that the question costs one comparison.
class PM_API ActionTableIndex {
public:
    // Copies the rows of table (null: of no table, holding none).
    void Rebuild(std::map<int, long> const* table);
    // Whether this index was last built from table and laid it out.
    bool Holds(std::map<int, long> const* table) const { return table == m_Source; }
    // The mask of id's row; 0 when the table has none. Only where
    // Holds(table).
    long Mask(int id) const { return m_Masks.Value(id, 0); }

private:
    std::map<int, long> const* m_Source = nullptr;
    IdBands<long> m_Masks;
};

template <typename Slot>
template <typename Map, typename SlotOf>
bool IdBands<Slot>::Layout(Map& table, Slot absent, SlotOf slotOf) {
    Clear();
    struct Run {
        long long first;
        long long last;
        long long keys;
    };
    Run runs[kMaxBands];
    int count = 0;
    for (auto row = table.begin(); row != table.end(); ++row) {
        long long const key = row->first;
        if (count > 0 && key - runs[count - 1].last <= kGap) {
            runs[count - 1].last = key;
            ++runs[count - 1].keys;
            continue;
        }
        if (count == kMaxBands) {
            return false;
        }
        runs[count++] = Run{key, key, 1};
    }
    std::size_t slots = 0;
    for (int run = 0; run < count; ++run) {
        long long const span = runs[run].last - runs[run].first + 1;
        if (span > 4 * runs[run].keys + kGap) {
            return false;
        }
        slots += static_cast<std::size_t>(span);
    }
    std::stable_sort(runs, runs + count,
                     [](Run const& a, Run const& b) { return a.keys > b.keys; });
    m_Slots.assign(slots, absent);
    slots = 0;
    for (int run = 0; run < count; ++run) {
        Band& band = m_Bands[run];
        band.first = runs[run].first;
        band.size = static_cast<unsigned long long>(runs[run].last - runs[run].first + 1);
        band.slots = m_Slots.data() + slots;
        slots += static_cast<std::size_t>(band.size);
    }
    m_Count = count;
    for (auto row = table.begin(); row != table.end(); ++row) {
        *Find(row->first) = slotOf(row);
    }
    return true;
}

} // namespace PM
