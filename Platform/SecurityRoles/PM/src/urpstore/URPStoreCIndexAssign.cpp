// URPStoreCIndex::operator=, which the host's preference-index store leaves to
// this library to define and export.
#if defined(__GNUC__)
// The class is the host's and carries no export mark; this one member of it
// is exported from here.
#pragma GCC visibility push(default)
#endif
#include <URPStoreCIndex.h>
#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

// Copies the one member, the pointer to the host's index: afterwards both
// objects refer to the same index, and neither owns it alone.
URPStoreCIndex& URPStoreCIndex::operator=(URPStoreCIndex const& other) {
    m_Index = other.m_Index;
    return *this;
}
