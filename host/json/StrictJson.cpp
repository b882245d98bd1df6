// The strict JSON reader: parsing with places for every fault, and the typed
// getters the readers of the catalogue and of pmctl's files share.
#include <host/json/StrictJson.h>

#include <algorithm>
#include <functional>
#include <set>
#include <utility>
#include <vector>

namespace Host {
namespace StrictJson {

namespace {

bool IsIdentifier(std::string const& key) {
    if (key.empty() || (key[0] >= '0' && key[0] <= '9')) {
        return false;
    }
    for (char ch : key) {
        bool const ok = (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') ||
                        (ch >= '0' && ch <= '9') || ch == '_';
        if (!ok) {
            return false;
        }
    }
    return true;
}

// Follows the parser's events to know the path of the value being read, and
// refuses an object that repeats a key.
class PathTracker {
public:
    bool operator()(int /*depth*/, Value::parse_event_t event, Value& parsed) {
        switch (event) {
        case Value::parse_event_t::object_start:
            StartValue();
            m_Frames.push_back(Frame{false, 0, std::string(), {}});
            break;
        case Value::parse_event_t::array_start:
            StartValue();
            m_Frames.push_back(Frame{true, 0, std::string(), {}});
            break;
        case Value::parse_event_t::object_end:
        case Value::parse_event_t::array_end:
            m_Frames.pop_back();
            break;
        case Value::parse_event_t::key: {
            Frame& frame = m_Frames.back();
            std::string const key = parsed.get<std::string>();
            if (!frame.keys.insert(key).second) {
                Fail(ContainerPath(), "duplicate key " + Quoted(key));
            }
            frame.key = key;
            break;
        }
        case Value::parse_event_t::value:
            StartValue();
            break;
        }
        return true;
    }

    // The path of the value that the parser is reading or has just begun.
    std::string PendingPath() const {
        if (m_Frames.empty()) {
            return "$";
        }
        Frame const& top = m_Frames.back();
        std::string const path = ContainerPath();
        return top.isArray ? Element(path, top.count) : Member(path, top.key);
    }

private:
    struct Frame {
        bool isArray;
        std::size_t count; // elements begun, for arrays
        std::string key;   // the current key, for objects
        std::set<std::string> keys;
    };

    void StartValue() {
        if (!m_Frames.empty() && m_Frames.back().isArray) {
            ++m_Frames.back().count;
        }
    }

    // The path of the innermost open container.
    std::string ContainerPath() const {
        std::string path = "$";
        for (std::size_t i = 0; i + 1 < m_Frames.size(); ++i) {
            Frame const& frame = m_Frames[i];
            path = frame.isArray ? Element(path, frame.count - 1) : Member(path, frame.key);
        }
        return path;
    }

    std::vector<Frame> m_Frames;
};

// "LINE:COLUMN" (both from 1) of the character at the 1-based byte position.
std::string LineAndColumn(std::string const& text, std::size_t byte) {
    std::size_t line = 1;
    std::size_t column = 1;
    std::size_t const end = byte == 0 ? 0 : std::min(byte - 1, text.size());
    for (std::size_t i = 0; i < end; ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return std::to_string(line) + ":" + std::to_string(column);
}

// The parser's own words for the fault, without its prefix and position.
std::string ParserDetail(char const* what) {
    std::string const text(what);
    std::size_t const column = text.find(", column ");
    std::size_t const start = column == std::string::npos ? column : text.find(": ", column);
    if (start != std::string::npos) {
        return text.substr(start + 2);
    }
    std::size_t const bracket = text.find("] ");
    return bracket == std::string::npos ? text : text.substr(bracket + 2);
}

} // namespace

std::string Fault::Message(std::string const& source) const {
    bool const isPath = !place.empty() && place[0] == '$';
    return source + (isPath ? ": " : ":") + place + ": " + text;
}

void Fail(std::string place, std::string text) {
    throw Fault{std::move(place), std::move(text)};
}

Value Parse(std::string const& text) {
    PathTracker tracker;
    try {
        return Value::parse(text, std::ref(tracker));
    } catch (Value::parse_error const& e) {
        Fail(LineAndColumn(text, e.byte), "invalid JSON: " + ParserDetail(e.what()));
    } catch (Value::exception const& e) {
        Fail(tracker.PendingPath(), "invalid JSON: " + ParserDetail(e.what()));
    }
}

std::string Quoted(std::string const& text) {
    return "\"" + text + "\"";
}

std::string Member(std::string const& path, std::string const& key) {
    return IsIdentifier(key) ? path + "." + key : path + "[" + Quoted(key) + "]";
}

std::string Element(std::string const& path, std::size_t index) {
    return path + "[" + std::to_string(index) + "]";
}

std::string Describe(Value const& value) {
    switch (value.type()) {
    case Value::value_t::object:
        return "an object";
    case Value::value_t::array:
        return "an array";
    case Value::value_t::string:
        return "a string";
    case Value::value_t::boolean:
        return "a boolean";
    case Value::value_t::null:
        return "null";
    case Value::value_t::number_float:
        return "a floating-point number";
    default:
        return "a number";
    }
}

Object::Object(Value const& value, std::string path) : m_Value(value), m_Path(std::move(path)) {
    if (!value.is_object()) {
        Fail(m_Path, "expected an object, found " + Describe(value));
    }
}

Object::Object(Value const& value, std::string path, std::initializer_list<char const*> known)
    : Object(value, std::move(path)) {
    std::string const* unknown = nullptr;
    for (auto const& item : value.items()) {
        bool const listed = std::any_of(known.begin(), known.end(),
                                        [&](char const* key) { return item.key() == key; });
        if (!listed && (unknown == nullptr || item.key() < *unknown)) {
            unknown = &item.key();
        }
    }
    if (unknown != nullptr) {
        Fail(m_Path, "unknown key " + Quoted(*unknown));
    }
}

Value const* Object::Find(char const* key) const {
    auto const found = m_Value.find(key);
    return found == m_Value.end() ? nullptr : &*found;
}

Value const& Object::Require(char const* key) const {
    Value const* value = Find(key);
    if (value == nullptr) {
        Fail(m_Path, "missing key " + Quoted(key));
    }
    return *value;
}

Value const& ArrayOf(Value const& value, std::string const& path) {
    if (!value.is_array()) {
        Fail(path, "expected an array, found " + Describe(value));
    }
    return value;
}

std::string TextOf(Value const& value, std::string const& path) {
    if (!value.is_string()) {
        Fail(path, "expected a string, found " + Describe(value));
    }
    std::string const& text = value.get_ref<std::string const&>();
    if (text.find('\0') != std::string::npos) {
        Fail(path, "text contains a NUL character");
    }
    return text;
}

std::string RequireText(Object const& object, char const* key) {
    return TextOf(object.Require(key), object.Path(key));
}

std::string OptionalText(Object const& object, char const* key) {
    Value const* value = object.Find(key);
    return value == nullptr ? std::string() : TextOf(*value, object.Path(key));
}

bool OptionalFlag(Object const& object, char const* key, bool fallback) {
    Value const* value = object.Find(key);
    if (value == nullptr) {
        return fallback;
    }
    if (!value->is_boolean()) {
        Fail(object.Path(key), "expected a boolean, found " + Describe(*value));
    }
    return value->get<bool>();
}

} // namespace StrictJson
} // namespace Host
