// Telling a server URI from a file path, and keeping its password out of
// every text.
#include "ServerLocation.h"

#include <vector>

namespace Host {

namespace {

const char kMask[] = "***";

bool StartsWith(std::string const& text, char const* prefix) {
    return text.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

// Where the authority (user:password@host...) of a URI begins; npos for a
// path.
std::size_t AuthorityStart(std::string const& location) {
    for (char const* scheme : {"postgresql://", "postgres://"}) {
        if (StartsWith(location, scheme)) {
            return std::char_traits<char>::length(scheme);
        }
    }
    return std::string::npos;
}

// The spans [begin, end) of location that hold a password.
std::vector<std::pair<std::size_t, std::size_t>> PasswordSpans(std::string const& location) {
    std::vector<std::pair<std::size_t, std::size_t>> spans;
    std::size_t start = AuthorityStart(location);
    if (start == std::string::npos) {
        return spans;
    }
    std::size_t authorityEnd = location.find_first_of("/?", start);
    if (authorityEnd == std::string::npos) {
        authorityEnd = location.size();
    }
    // The last '@' ends the user information: a password may hold an
    // encoded one only, but be lenient with a raw one.
    std::size_t at = location.rfind('@', authorityEnd);
    if (at != std::string::npos && at >= start) {
        std::size_t colon = location.find(':', start);
        if (colon != std::string::npos && colon < at) {
            spans.emplace_back(colon + 1, at);
        }
    }
    std::size_t query = location.find('?', start);
    while (query != std::string::npos && query < location.size()) {
        std::size_t begin = query + 1;
        std::size_t end = location.find('&', begin);
        if (end == std::string::npos) {
            end = location.size();
        }
        static const char kParameter[] = "password=";
        if (location.compare(begin, sizeof kParameter - 1, kParameter) == 0) {
            spans.emplace_back(begin + sizeof kParameter - 1, end);
        }
        query = end < location.size() ? end : std::string::npos;
    }
    return spans;
}

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::string PercentDecoded(std::string const& text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
            HexValue(text[i + 2]) >= 0) {
            decoded += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
            i += 2;
        } else {
            decoded += text[i];
        }
    }
    return decoded;
}

void ReplaceAll(std::string* text, std::string const& secret) {
    if (secret.empty()) {
        return;
    }
    for (std::size_t at = text->find(secret); at != std::string::npos;
         at = text->find(secret, at + sizeof kMask - 1)) {
        text->replace(at, secret.size(), kMask);
    }
}

} // namespace

bool IsServerLocation(std::string const& location) {
    return AuthorityStart(location) != std::string::npos;
}

std::string MaskedLocation(std::string const& location) {
    std::string masked = location;
    auto spans = PasswordSpans(location);
    // From the last span back, so that the earlier offsets stay right.
    for (auto span = spans.rbegin(); span != spans.rend(); ++span) {
        masked.replace(span->first, span->second - span->first, kMask);
    }
    // The same text elsewhere in the URI (a path, a name) is masked too.
    return ScrubSecret(masked, location);
}

std::string ScrubSecret(std::string const& text, std::string const& location) {
    std::string scrubbed = text;
    for (auto const& span : PasswordSpans(location)) {
        std::string secret = location.substr(span.first, span.second - span.first);
        ReplaceAll(&scrubbed, secret);
        ReplaceAll(&scrubbed, PercentDecoded(secret));
    }
    return scrubbed;
}

} // namespace Host
