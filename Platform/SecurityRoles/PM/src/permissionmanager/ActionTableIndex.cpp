// The flat copy of an action table.
#include <PM/ActionTableIndex.h>

namespace PM {

void ActionTableIndex::Rebuild(std::map<int, long> const* table) {
    m_Source = nullptr;
    m_Masks.Clear();
    if (table == nullptr ||
        !m_Masks.Layout(*table, 0L,
                        [](std::map<int, long>::const_iterator row) { return row->second; })) {
        return;
    }
    m_Source = table;
}

} // namespace PM
