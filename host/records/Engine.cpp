// Which engine holds the open company.
#include "Engine.h"

#include "Connection.h"
#include "postgres/ServerCompany.h"

namespace Host {
namespace detail {

Engine* CurrentEngine() {
    if (Engine* server = OpenServerEngine()) {
        return server;
    }
    Connection& file = CurrentConnection();
    return file.db != nullptr ? &file : nullptr;
}

std::uint64_t NextGeneration() {
    static std::uint64_t last = 0;
    return ++last;
}

std::string SqlLiteral(std::string const& text) {
    std::string literal = "'";
    for (char c : text) {
        literal += c == '\'' ? std::string("''") : std::string(1, c);
    }
    return literal + "'";
}

} // namespace detail
} // namespace Host
