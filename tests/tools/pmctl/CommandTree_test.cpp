// What is made from the command tree: the examples that end each --help, the
// manual page and the bash completion. Each walks the tree as built, so a
// command added without an example or a manual entry fails here.
#include "support/PmctlTesting.h"

#include "BashCompletion.h"
#include "CommandTree.h"
#include "Examples.h"
#include "ManPage.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

using namespace Pmctl;

class CommandTreeTest : public PMTest::CommandTest {
protected:
    // Runs check on the tree of one run.
    void WithTree(std::function<void(CLI::App& app)> const& check) {
        std::ostringstream out, err;
        WithCommandTree(Io{out, err}, nullptr, [&](CommandTree const& tree) {
            check(tree.app);
            return 0;
        });
    }
    // What a shell command prints in the scratch directory, with its status
    // at the end unless 0.
    std::string Shell(std::string const& command) {
        std::string output;
        FILE* pipe = ::popen(("cd " + m_Dir + " && " + command + " 2>&1").c_str(), "r");
        char buffer[4096];
        for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
            output.append(buffer, got);
        }
        int status = ::pclose(pipe);
        return status == 0 ? output : output + "status " + std::to_string(status);
    }
    // What bash offers after the words, for the word being typed.
    std::string Completed(std::string const& words, std::string const& typed) {
        return Shell("bash -c 'source pmctl.bash; COMP_WORDS=(" + words + " \"" + typed +
                     "\"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _pmctl; echo "
                     "\"${COMPREPLY[*]}\"'");
    }
};

// The command that a command line chooses, as its path.
std::string Chosen(CLI::App& app, std::string const& line) {
    std::vector<std::string> words = PMTest::Words(line);
    app.parse(std::vector<std::string>(words.rbegin(), words.rend() - 1));
    CLI::App* at = &app;
    while (!at->get_subcommands().empty()) {
        at = at->get_subcommands().front();
    }
    return CommandPath(*at);
}

TEST_F(CommandTreeTest, EveryCommandHasAnExampleThatRunsIt) {
    WithTree([](CLI::App& app) {
        std::vector<std::string> paths = {""};
        for (CLI::App const* command : AllCommands(app)) {
            paths.push_back(CommandPath(*command));
        }
        for (char const* known : {"users", "users add", "bank import", "explain"}) {
            EXPECT_NE(paths.end(), std::find(paths.begin(), paths.end(), known)) << known;
        }
        for (std::string const& path : paths) {
            SCOPED_TRACE("pmctl " + path);
            std::vector<std::string> examples = Examples(path);
            EXPECT_FALSE(examples.empty()) << "add the command's example to Examples.cpp";
            for (std::string const& example : examples) {
                // A group's example runs one of its commands.
                std::string chosen;
                EXPECT_NO_THROW(chosen = Chosen(app, example)) << example;
                EXPECT_EQ(path, chosen.substr(0, path.size())) << example;
            }
        }
    });
    std::string const help = Pmctl("users add --help").out;
    EXPECT_EQ("Examples:\n  pmctl users add books.pmco carol\n  pmctl users add books.pmco frank "
              "--admin\n",
              help.substr(help.rfind("Ex")));
}

TEST_F(CommandTreeTest, TheManualPageHasEveryCommandWithItsOptionsAndExample) {
    WithTree([&](CLI::App& app) {
        std::string const page = ManPage(app, ManPageFacts{"9.8.7", "/opt/pm/catalogue.json"});
        int commands = 0;
        for (CLI::App const* command : AllCommands(app)) {
            if (!command->get_subcommands(nullptr).empty()) {
                continue;
            }
            ++commands;
            std::string const path = CommandPath(*command);
            SCOPED_TRACE(path);
            std::size_t const at = page.find("\n.SS \"" + RoffCode(path) + "\"\n");
            ASSERT_NE(std::string::npos, at);
            std::string const entry = page.substr(at, page.find("\n.SS", at + 1) - at);
            EXPECT_NE(std::string::npos, entry.find("\n\\fBpmctl " + RoffCode(path) + "\\fR "));
            for (CLI::Option const* option : command->get_options()) {
                EXPECT_TRUE(option == command->get_help_ptr() ||
                            entry.find(RoffCode(option->get_name())) != std::string::npos)
                    << option->get_name();
            }
            EXPECT_NE(std::string::npos,
                      entry.find(".nf\n" + RoffCode(Examples(path).at(0)) + "\n"));
        }
        EXPECT_LE(20, commands);
        std::string const usersAdd = page.substr(page.find(".SS \"users add\""));
        EXPECT_EQ(".SS \"users add\"\n"
                  "Add a user.\n"
                  ".PP\n"
                  "\\fBpmctl users add\\fR \\fIFILE\\fR \\fINAME\\fR [\\fB\\-\\-catalogue\\fR "
                  "\\fICATALOGUE\\fR] [\\fB\\-\\-json\\fR] [\\fB\\-\\-dry\\-run\\fR] "
                  "[\\fB\\-\\-admin\\fR]\n"
                  ".TP\n\\fIFILE\\fR\nThe company file, or a postgresql:// URI.\n"
                  ".TP\n\\fINAME\\fR\nThe user's name.\n"
                  ".TP\n\\fB\\-\\-catalogue\\fR \\fICATALOGUE\\fR\n"
                  "The catalogue to open it with (default: the one that ships).\n"
                  ".TP\n\\fB\\-\\-json\\fR\n"
                  "Print the record of the change as JSON (what pmctl log --json lists).\n"
                  ".TP\n\\fB\\-\\-dry\\-run\\fR\n"
                  "Do it all, then write nothing; prints what would change.\n"
                  ".TP\n\\fB\\-\\-admin\\fR\nAn administrator, holding the Admin role.\n"
                  ".PP\nExamples:\n.PP\n.RS 4\n.nf\npmctl users add books.pmco carol\n"
                  "pmctl users add books.pmco frank \\-\\-admin\n.fi\n.RE\n",
                  usersAdd.substr(0, usersAdd.find(".SS", 1)));
        EXPECT_EQ(0u, page.find(".TH PMCTL 1 \"\" \"pmctl 9.8.7\" \"User Commands\"\n"
                                ".SH NAME\npmctl \\- the administrator's tool over company "
                                "files\n.SH SYNOPSIS\n"));
        for (char const* section : {"\n.SH DESCRIPTION\n", "\n.SH COMMANDS\n", "\n.SH OPTIONS\n",
                                    "\n.SH \"EXIT STATUS\"\n.TP\n.B 0\n", "\n.TP\n.B 1\n",
                                    "\n.TP\n.B 2\n", "\n.SH FILES\n.TP\n\\fI/opt/pm/catalogue.json",
                                    "\n\\fB\\-\\-log\\fR \\fIFILE\\fR\n"}) {
            EXPECT_NE(std::string::npos, page.find(section)) << section;
        }
        // groff reads it without a warning: every text line is escaped.
        std::ofstream(Scratch("pmctl.1")) << page;
        EXPECT_EQ("", Shell("groff -man -Tutf8 -ww -z pmctl.1"));
    });
}

TEST_F(CommandTreeTest, RoffKeepsTextAsText) {
    std::pair<char const*, char const*> const text[] = {
        {".hidden", "\\&.hidden"},
        {"a\n'quoted", "a\n\\&'quoted"},
        {"Platform\\PM", "Platform\\ePM"},
        {"mid.dle 'x'", "mid.dle 'x'"},
    };
    for (auto const& [in, out] : text) {
        EXPECT_EQ(out, RoffText(in)) << in;
    }
    EXPECT_EQ("\\&.x \\-\\-dry\\-run \\e", RoffCode(".x --dry-run \\"));
}

TEST_F(CommandTreeTest, TheCompletionOffersCommandsOptionsFilesAndActions) {
    std::ofstream(Scratch("books.pmco"));
    std::ofstream(Scratch("accounts.txt"));
    WithTree([&](CLI::App& app) {
        std::ofstream(Scratch("pmctl.bash")) << BashCompletion(app);
        struct Case {
            char const* words;
            char const* typed;
            char const* offered;
        };
        Case const cases[] = {
            {"pmctl", "ch", "check\n"},
            {"pmctl", "u", "upgrade users unassign\n"},
            {"pmctl users", "", "list add remove\n"},
            {"pmctl users add", "--", "--help --catalogue --json --dry-run --admin\n"},
            {"pmctl users add", "bo", "books.pmco\n"},
            {"pmctl users add books.pmco", "", "\n"}, // NAME: nothing to offer
            {"pmctl --log books.pmco", "ro", "roles\n"},
            {"pmctl check books.pmco carol Invoices", "vi", "view viewbal\n"},
            {"pmctl check books.pmco carol", "vi", "\n"}, // ENTITLEMENT, not ACTION
            {"pmctl check books.pmco carol Invoices view --as", "", "\n"},
            {"pmctl roles edit books.pmco Sales --grant x", "--f", "--from-json\n"},
            {"pmctl roles edit books.pmco Sales --from-json", "a", "accounts.txt\n"},
            {"pmctl bank import books.pmco", "a", "accounts.txt\n"},
        };
        for (Case const& c : cases) {
            EXPECT_EQ(c.offered, Completed(c.words, c.typed)) << c.words << " " << c.typed;
        }
    });
}

} // namespace
