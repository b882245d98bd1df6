// A strict reader for JSON that people write by hand: the definition catalogue
// and pmctl's grant files. Everything here reports a fault by throwing
// StrictJson::Fault, so a reader stops at the first one.
//
// Refused: a syntax error (placed at its line and column); a key given twice in
// one object (the parser would silently keep the last); a key the caller did not
// list as known, where it lists them; a value of the wrong type.
//
// Places are JSON paths, one syntax for every message: "$" is the document,
// ".key" a member whose key is an identifier, "[\"key\"]" any other member and
// "[3]" an element, as in $.features[3].name or $["Journal Entries"].
//
// Members keep the order of the text. Object and the references the getters
// return point into the caller's Value, which must outlive them.
#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <initializer_list>
#include <string>

namespace Host {
namespace StrictJson {

using Value = nlohmann::ordered_json;

struct Fault {
    std::string place; // a path, or "LINE:COLUMN" (both from 1) of a syntax error
    std::string text;

    // "SOURCE: PATH: TEXT", or "SOURCE:LINE:COLUMN: TEXT" for a syntax error.
    std::string Message(std::string const& source) const;
};

[[noreturn]] void Fail(std::string place, std::string text);

// The document of text; a syntax error, a number out of range or a duplicate
// key is a Fault whose text begins "invalid JSON: " or "duplicate key ".
Value Parse(std::string const& text);

std::string Quoted(std::string const& text);
std::string Member(std::string const& path, std::string const& key);
std::string Element(std::string const& path, std::size_t index);
// "an object", "a string", "null" and so on, for "expected ..., found ...".
std::string Describe(Value const& value);

// One object of a document, at path.
class Object {
public:
    // Any keys.
    Object(Value const& value, std::string path);
    // Only the known keys; of several unknown ones, the first in byte order is named.
    Object(Value const& value, std::string path, std::initializer_list<char const*> known);

    std::string const& Path() const { return m_Path; }
    std::string Path(char const* key) const { return Member(m_Path, key); }

    Value const* Find(char const* key) const; // null when absent
    Value const& Require(char const* key) const;

private:
    Value const& m_Value;
    std::string m_Path;
};

Value const& ArrayOf(Value const& value, std::string const& path);
// A string without NUL characters.
std::string TextOf(Value const& value, std::string const& path);
std::string RequireText(Object const& object, char const* key);
std::string OptionalText(Object const& object, char const* key); // empty when absent
bool OptionalFlag(Object const& object, char const* key, bool fallback);

} // namespace StrictJson
} // namespace Host
