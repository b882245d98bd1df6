// The host's narrow string: NUL-terminated, reference counted, copy-on-write,
// one pointer wide. The library only declares it here; the host supplies the
// one instantiation that is used, TString<char, TStringAllocator<char>>.
#pragma once

#include <cstddef>

namespace Util {

// Raw storage for string blocks. The host decides where blocks live; only
// the host's TString calls these.
template <class CharT> class TStringAllocator {
public:
    // At least bytes of storage, aligned for any object; never null: running
    // out of memory throws std::bad_alloc.
    static void* Allocate(std::size_t bytes);
    // Frees a block from Allocate.
    static void Deallocate(void* block);
};

// Contract:
// - A default-constructed string is the shared empty string; c_str() is never
//   null, so any TString can be handed to CompareStrings as it stands.
// - Copy construction and assignment share the block; the first write through
//   Append copies it if another string still holds it.
// - Mid(start, count) and Right(n) never read past the end: Mid with start at
//   or beyond the end is empty, Right(n) of a shorter string is empty.
// - Running out of memory throws std::bad_alloc, and the string is left as it
//   was; nothing else throws.
template <class CharT, class Alloc> class TString {
public:
    TString();
    TString(CharT const* text); // a copy up to the terminator; null reads as empty
    // A copy of the first length characters of text, which must hold that
    // many; null reads as empty.
    TString(CharT const* text, std::size_t length);
    TString(TString const& other);
    // Shares other's block and drops this one's share; self-assignment is safe.
    TString& operator=(TString const& other);
    // A copy of text (null reads as empty); text may lie inside this string.
    TString& operator=(CharT const* text);
    // Drops this string's share; the last holder's release frees the block.
    ~TString();

    // The characters, terminated; never null. Valid until this string is
    // next assigned, appended to or destroyed.
    operator CharT const*() const { return c_str(); }
    CharT const* c_str() const;
    std::size_t GetLength() const; // characters, the terminator not counted
    bool IsEmpty() const;          // length 0

    // Append a copy of text and return this string; null or empty text
    // changes nothing. text may be this string or lie inside it.
    TString& Append(CharT const* text);
    TString& Append(TString const& text);
    TString& operator+=(CharT const* text) { return Append(text); }
    TString& operator+=(TString const& text) { return Append(text); }

    // The last n characters; empty when the string is shorter than n.
    TString Right(std::size_t n) const;
    // Up to count characters from start; empty when start is at or past the end.
    TString Mid(std::size_t start, std::size_t count) const;

    // How many strings share this block (1 for an unshared block). The shared
    // empty string reports 0: it is never released.
    std::size_t GetShareCount() const;

private:
    struct Block;
    explicit TString(Block* block);
    void Release();
    Block* MakeWritable(std::size_t extraCapacity);

    Block* m_Block;
};

} // namespace Util

// The one string type the library speaks.
typedef Util::TString<char, Util::TStringAllocator<char>> TString;

// Concatenation for building messages and names: a new string; the operands
// are not changed, and a null b reads as empty.
TString operator+(TString const& a, char const* b);
TString operator+(TString const& a, TString const& b);

// Comparing through the conversion to char const * would compare addresses;
// names are compared with Util::CompareStrings instead.
bool operator==(TString const&, char const*) = delete;
bool operator==(char const*, TString const&) = delete;
bool operator==(TString const&, TString const&) = delete;
bool operator!=(TString const&, char const*) = delete;
bool operator!=(char const*, TString const&) = delete;
bool operator!=(TString const&, TString const&) = delete;
