// The manual page: fixed prose for what the tree does not hold (what pmctl is
// for, the exit status, the files), and a section per command from the tree.
#include "ManPage.h"

#include "CommandTree.h"
#include "Examples.h"

#include <cctype>
#include <sstream>

namespace Pmctl {

namespace {

char const kDescription[] = R"(.B pmctl
keeps the users, roles and rights of a company file: it creates company files,
adds users and gives them roles, sets what each role may do on each
entitlement, keeps the bank accounts' entitlements, answers whether a user may
do an action and why, and checks and mends the predefined roles.
Every command but
.B demo
takes the company file first.
.PP
Read commands work on a snapshot of the file and never write it; with
.B \-\-json
they print JSON.
Each command that writes is one change: once it says what it did, all of it
is in the file; when it fails, is interrupted or is killed, none of it is.
With
.B \-\-dry\-run
it does all of its work and then writes nothing.
Commands that remove something ask first at a terminal; elsewhere they need
.BR \-\-yes .
)";

char const kExitStatus[] = R"(.TP
.B 0
Done; for
.BR check :
the action is allowed.
.TP
.B 1
For
.BR check :
the action is denied.
Otherwise the command failed and wrote nothing: a library operation failed,
the change could not be written (the disk is full), or another program is
writing the company file (busy: try again).
.TP
.B 2
Bad input, and nothing was written: a command line that does not parse, an
unknown user, role, entitlement, action or application, a file that is not a
company file, or a change that the protection of the predefined roles and of
the last administrator refuses.
)";

// "add a user" as a sentence: "Add a user."
std::string Sentence(std::string text) {
    if (text.empty()) {
        return text;
    }
    text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
    char const last = text.back();
    return last == '.' || last == '?' || last == '!' ? text : text + ".";
}

std::string Bold(std::string const& code) {
    return "\\fB" + RoffCode(code) + "\\fR";
}
std::string Italic(std::string const& code) {
    return "\\fI" + RoffCode(code) + "\\fR";
}

// "--catalogue CATALOGUE" or "--dry-run", as bold name and italic value.
std::string OptionUsage(CLI::Option const& option) {
    std::string usage = Bold(option.get_name());
    return IsFlag(option) ? usage : usage + " " + Italic(ValueName(option));
}

// pmctl users add FILE NAME [--catalogue CATALOGUE] [--dry-run] [--admin]
std::string Usage(CLI::App const& command) {
    std::string usage = Bold("pmctl " + CommandPath(command));
    for (CLI::Option const* option : command.get_options()) {
        if (option->get_positional() && !option->nonpositional()) {
            std::string name = Italic(option->get_name());
            usage += " " + (option->get_required() ? name : "[" + name + "]");
        }
    }
    for (CLI::Option const* option : command.get_options()) {
        if (option->nonpositional() && option != command.get_help_ptr()) {
            usage += option->get_required() ? " " + OptionUsage(*option)
                                            : " [" + OptionUsage(*option) + "]";
        }
    }
    return usage;
}

// The arguments, then the options, each with what it is.
void WriteOptions(std::ostream& out, CLI::App const& command) {
    for (bool positionals : {true, false}) {
        for (CLI::Option const* option : command.get_options()) {
            if (option == command.get_help_ptr() || option->nonpositional() == positionals) {
                continue;
            }
            out << ".TP\n"
                << (positionals ? Italic(option->get_name()) : OptionUsage(*option)) << "\n"
                << RoffText(Sentence(option->get_description())) << "\n";
        }
    }
}

void WriteExamples(std::ostream& out, std::string const& path) {
    std::vector<std::string> lines = Examples(path);
    if (lines.empty()) {
        return;
    }
    out << ".PP\n" << (lines.size() == 1 ? "Example:" : "Examples:") << "\n.PP\n.RS 4\n.nf\n";
    for (std::string const& line : lines) {
        out << RoffCode(line) << "\n";
    }
    out << ".fi\n.RE\n";
}

} // namespace

std::string RoffText(std::string const& text) {
    std::string escaped;
    bool lineStart = true;
    for (char c : text) {
        if (lineStart && (c == '.' || c == '\'')) {
            escaped += "\\&";
        }
        escaped += c == '\\' ? std::string("\\e") : std::string(1, c);
        lineStart = c == '\n';
    }
    return escaped;
}

std::string RoffCode(std::string const& text) {
    std::string escaped;
    for (char c : RoffText(text)) {
        escaped += c == '-' ? std::string("\\-") : std::string(1, c);
    }
    return escaped;
}

std::string ManPage(CLI::App const& root, ManPageFacts const& facts) {
    std::ostringstream out;
    std::string const what = root.get_description().substr(root.get_description().find(": ") + 2);
    out << ".TH PMCTL 1 \"\" \"pmctl " << RoffCode(facts.version) << "\" \"User Commands\"\n"
        << ".SH NAME\npmctl \\- " << RoffText(what) << "\n"
        << ".SH SYNOPSIS\n"
        << Bold("pmctl") << " [" << Bold("--log") << " " << Italic("FILE") << "] "
        << Italic("COMMAND") << " " << Italic("FILE") << " [" << Italic("ARGUMENTS") << "] ["
        << Italic("OPTIONS") << "]\n.br\n"
        << Bold("pmctl") << " [" << Italic("COMMAND") << "] " << Bold("--help") << "\n.br\n"
        << Bold("pmctl --version") << "\n"
        << ".SH DESCRIPTION\n"
        << kDescription << ".SH COMMANDS\n";
    for (CLI::App const* command : AllCommands(root)) {
        if (!command->get_subcommands(nullptr).empty()) {
            continue;
        }
        std::string const path = CommandPath(*command);
        out << ".SS \"" << RoffCode(path) << "\"\n"
            << RoffText(Sentence(command->get_description())) << "\n.PP\n"
            << Usage(*command) << "\n";
        WriteOptions(out, *command);
        WriteExamples(out, path);
    }
    out << ".SH OPTIONS\nThese come before the command.\n";
    WriteOptions(out, root);
    out << ".TP\n"
        << Bold("-h") << ", " << Bold("--help") << "\n"
        << "Print the commands, or with a command its arguments and options, and exit.\n"
        << ".SH \"EXIT STATUS\"\n"
        << kExitStatus << ".SH FILES\n.TP\n"
        << Italic(facts.catalogue) << "\n"
        << "The catalogue that ships with pmctl: the entitlements, the predefined roles and "
           "their factory defaults.\n"
        << Bold("--catalogue") << " names another.\n"
        << ".TP\n"
        << Italic("FILE-wal") << ", " << Italic("FILE-shm") << "\n"
        << "The write-ahead log and the shared memory that SQLite keeps beside a company file "
           "while it is in use; they belong to the file.\n"
        << ".TP\n"
        << Italic("FILE.YYYYMMDD-HHMMSS.bak") << "\n"
        << "The company file as it was, saved beside it by " << Bold("reset")
        << " and by a change that upgrades the file.\n"
        << ".SH \"SEE ALSO\"\n"
        << Bold("sqlite3") << "(1)\n";
    return out.str();
}

} // namespace Pmctl
