// The reference host's copy-on-write string. A TString holds one pointer to a
// block: a header (share count, length, capacity) followed by the characters
// and their terminating NUL. The shared empty block has a share count of 0 and
// lives in static storage: it is never counted and never freed.
#include <Util/TString.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <new>
#include <string>

namespace Util {

template <class CharT> void* TStringAllocator<CharT>::Allocate(std::size_t bytes) {
    return ::operator new(bytes);
}

template <class CharT> void TStringAllocator<CharT>::Deallocate(void* block) {
    ::operator delete(block);
}

template <class CharT, class Alloc> struct TString<CharT, Alloc>::Block {
    std::size_t shares; // 0 only for the shared empty block
    std::size_t length;
    std::size_t capacity; // characters, not counting the NUL

    CharT* Chars() { return reinterpret_cast<CharT*>(this + 1); }
};

namespace {

template <class Block, class CharT> Block* SharedEmptyBlock() {
    static struct {
        Block header;
        CharT nul;
    } empty = {{0, 0, 0}, CharT()};
    return &empty.header;
}

// A fresh unshared block holding a copy of text[0, length).
template <class Block, class CharT, class Alloc>
Block* NewBlock(CharT const* text, std::size_t length, std::size_t capacity) {
    std::size_t const maxChars =
        (std::numeric_limits<std::size_t>::max() - sizeof(Block)) / sizeof(CharT) - 1;
    if (capacity > maxChars) {
        throw std::bad_alloc();
    }
    void* raw = Alloc::Allocate(sizeof(Block) + (capacity + 1) * sizeof(CharT));
    Block* block = new (raw) Block{1, length, capacity};
    std::char_traits<CharT>::copy(block->Chars(), text, length);
    block->Chars()[length] = CharT();
    return block;
}

template <class CharT> std::size_t LengthOf(CharT const* text) {
    return text == nullptr ? 0 : std::char_traits<CharT>::length(text);
}

} // namespace

template <class CharT, class Alloc>
TString<CharT, Alloc>::TString() : m_Block(SharedEmptyBlock<Block, CharT>()) {}

template <class CharT, class Alloc>
TString<CharT, Alloc>::TString(CharT const* text) : TString(text, LengthOf(text)) {}

template <class CharT, class Alloc>
TString<CharT, Alloc>::TString(CharT const* text, std::size_t length) : TString() {
    if (text != nullptr && length != 0) {
        m_Block = NewBlock<Block, CharT, Alloc>(text, length, length);
    }
}

template <class CharT, class Alloc> TString<CharT, Alloc>::TString(Block* block) : m_Block(block) {}

template <class CharT, class Alloc>
TString<CharT, Alloc>::TString(TString const& other) : m_Block(other.m_Block) {
    if (m_Block->shares != 0) {
        ++m_Block->shares;
    }
}

template <class CharT, class Alloc>
TString<CharT, Alloc>& TString<CharT, Alloc>::operator=(TString const& other) {
    // Taking the new share before dropping the old one makes self-assignment safe.
    if (other.m_Block->shares != 0) {
        ++other.m_Block->shares;
    }
    Release();
    m_Block = other.m_Block;
    return *this;
}

template <class CharT, class Alloc>
TString<CharT, Alloc>& TString<CharT, Alloc>::operator=(CharT const* text) {
    // text may point into this string's own block: copy it before letting go.
    TString copy(text);
    std::swap(m_Block, copy.m_Block);
    return *this;
}

template <class CharT, class Alloc> TString<CharT, Alloc>::~TString() {
    Release();
}

template <class CharT, class Alloc> void TString<CharT, Alloc>::Release() {
    if (m_Block->shares != 0 && --m_Block->shares == 0) {
        m_Block->~Block();
        Alloc::Deallocate(m_Block);
    }
}

template <class CharT, class Alloc> CharT const* TString<CharT, Alloc>::c_str() const {
    return m_Block->Chars();
}

template <class CharT, class Alloc> std::size_t TString<CharT, Alloc>::GetLength() const {
    return m_Block->length;
}

template <class CharT, class Alloc> bool TString<CharT, Alloc>::IsEmpty() const {
    return m_Block->length == 0;
}

template <class CharT, class Alloc> std::size_t TString<CharT, Alloc>::GetShareCount() const {
    return m_Block->shares;
}

// Leaves this string the only holder of a block with room for extraCapacity
// more characters. A block that must grow in place grows geometrically; a
// shared block is copied at the exact size.
template <class CharT, class Alloc>
typename TString<CharT, Alloc>::Block*
TString<CharT, Alloc>::MakeWritable(std::size_t extraCapacity) {
    std::size_t const length = m_Block->length;
    if (extraCapacity > std::numeric_limits<std::size_t>::max() - length) {
        throw std::bad_alloc();
    }
    std::size_t const needed = length + extraCapacity;
    if (m_Block->shares == 1 && m_Block->capacity >= needed) {
        return m_Block;
    }
    std::size_t capacity = needed;
    if (m_Block->shares == 1 && m_Block->capacity <= std::numeric_limits<std::size_t>::max() / 2) {
        capacity = std::max(needed, m_Block->capacity * 2);
    }
    Block* fresh = NewBlock<Block, CharT, Alloc>(m_Block->Chars(), length, capacity);
    Release();
    m_Block = fresh;
    return m_Block;
}

template <class CharT, class Alloc>
TString<CharT, Alloc>& TString<CharT, Alloc>::Append(TString const& text) {
    if (text.IsEmpty()) {
        return *this;
    }
    // When text is this string, MakeWritable may move it to a new block; the
    // count characters read from text.c_str() are then that block's prefix.
    std::size_t const count = text.GetLength();
    Block* block = MakeWritable(count);
    std::char_traits<CharT>::copy(block->Chars() + block->length, text.c_str(), count);
    block->length += count;
    block->Chars()[block->length] = CharT();
    return *this;
}

template <class CharT, class Alloc>
TString<CharT, Alloc>& TString<CharT, Alloc>::Append(CharT const* text) {
    std::size_t const count = LengthOf(text);
    if (count == 0) {
        return *this;
    }
    CharT const* own = c_str();
    std::less<CharT const*> const before;
    if (!before(text, own) && before(text, own + GetLength())) {
        // The text lies inside this string's block, which may be reallocated.
        return Append(TString(text, count));
    }
    Block* block = MakeWritable(count);
    std::char_traits<CharT>::copy(block->Chars() + block->length, text, count);
    block->length += count;
    block->Chars()[block->length] = CharT();
    return *this;
}

template <class CharT, class Alloc>
TString<CharT, Alloc> TString<CharT, Alloc>::Right(std::size_t n) const {
    std::size_t const length = GetLength();
    if (n > length) {
        return TString();
    }
    if (n == length) {
        return *this;
    }
    return TString(c_str() + (length - n), n);
}

template <class CharT, class Alloc>
TString<CharT, Alloc> TString<CharT, Alloc>::Mid(std::size_t start, std::size_t count) const {
    std::size_t const length = GetLength();
    if (start >= length) {
        return TString();
    }
    count = std::min(count, length - start);
    if (start == 0 && count == length) {
        return *this;
    }
    return TString(c_str() + start, count);
}

template class TStringAllocator<char>;
template class TString<char, TStringAllocator<char>>;

static_assert(sizeof(TString<char, TStringAllocator<char>>) == sizeof(void*),
              "a TString is one pointer wide");

} // namespace Util

TString operator+(TString const& a, char const* b) {
    TString result(a);
    result.Append(b);
    return result;
}

TString operator+(TString const& a, TString const& b) {
    TString result(a);
    result.Append(b);
    return result;
}
