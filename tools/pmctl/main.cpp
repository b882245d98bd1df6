// pmctl: the administrator's tool over company files.
#include "Demo.h"
#include "Session.h"

#include <cstring>
#include <iostream>
#include <string>

namespace {

void PrintUsage(std::ostream& out) {
    out << "usage: pmctl demo [FILE] [--catalogue CATALOGUE]\n";
}

} // namespace

int main(int argc, char** argv) {
    if (argc >= 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        PrintUsage(std::cout);
        return 0;
    }
    if (argc < 2 || std::strcmp(argv[1], "demo") != 0) {
        if (argc >= 2) {
            std::cerr << "pmctl: unknown command '" << argv[1] << "'\n";
        }
        PrintUsage(std::cerr);
        return 2;
    }
    std::string path;
    std::string catalogue = Pmctl::DefaultCataloguePath();
    for (int i = 2; i < argc; ++i) {
        if (std::strcmp(argv[i], "--catalogue") == 0 && i + 1 < argc) {
            catalogue = argv[++i];
        } else if (argv[i][0] != '-' && path.empty()) {
            path = argv[i];
        } else {
            std::cerr << "pmctl: unexpected argument '" << argv[i] << "'\n";
            PrintUsage(std::cerr);
            return 2;
        }
    }
    return Pmctl::RunDemo(path, catalogue, std::cout, std::cerr);
}
