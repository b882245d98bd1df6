// pmctl_docs MANPAGE COMPLETION: writes pmctl's manual page and its bash
// completion, both made from the command tree that pmctl itself runs. The
// build runs it; it is not installed.
#include "BashCompletion.h"
#include "CommandTree.h"
#include "ManPage.h"

#include <fstream>
#include <iostream>

namespace {

bool Write(std::string const& path, std::string const& text) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    out.close();
    if (!out) {
        std::cerr << "pmctl_docs: " << path << ": cannot write the file\n";
    }
    return static_cast<bool>(out);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: pmctl_docs MANPAGE COMPLETION\n";
        return 2;
    }
    Pmctl::ManPageFacts facts{PMCTL_VERSION, PMCTL_INSTALLED_CATALOGUE};
    return Pmctl::WithCommandTree(
        Pmctl::Io{std::cout, std::cerr}, nullptr, [&](Pmctl::CommandTree const& tree) {
            bool written = Write(argv[1], Pmctl::ManPage(tree.app, facts)) &&
                           Write(argv[2], Pmctl::BashCompletion(tree.app));
            return written ? 0 : 1;
        });
}
