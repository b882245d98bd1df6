// How pmctl names the company it works on: a file's path, or a server URI
// with its password masked.
#include "CommandSupport.h"

#include <host/records/postgres/ServerLocation.h>

namespace Pmctl {

std::string Shown(std::string const& location) {
    return Host::MaskedLocation(location);
}

bool OnServer(std::string const& location) {
    return Host::IsServerLocation(location);
}

std::string Scrubbed(std::string const& text, std::vector<std::string> const& words) {
    std::string scrubbed = text;
    for (std::string const& word : words) {
        if (Host::IsServerLocation(word)) {
            scrubbed = Host::ScrubSecret(scrubbed, word);
        }
    }
    return scrubbed;
}

} // namespace Pmctl
