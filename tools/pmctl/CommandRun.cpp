// Running one command line: parsing it against the command tree, saying what
// does not parse (with the command that was probably meant), routing the
// library's log lines, and running the chosen command.
#include "CommandSupport.h"
#include "CommandTree.h"
#include "Suggest.h"

#include <host/util/OpsHooks.h>

#include <fstream>
#include <memory>

namespace Pmctl {

namespace {

// The library's log lines, to the file named by --log ("-": io.out) or
// nowhere.
class LogRouting {
public:
    LogRouting(std::string const& path, std::ostream& standardOutput) {
        std::ostream* sink = nullptr;
        if (path == "-") {
            sink = &standardOutput;
        } else if (!path.empty()) {
            m_File.reset(new std::ofstream(path, std::ios::app));
            sink = m_File.get();
        }
        m_Previous = Host::SetLogSink([sink](Host::LogRecord const& record) {
            if (sink != nullptr) {
                *sink << "level " << static_cast<int>(record.level) << " event "
                      << static_cast<int>(record.eventType) << " " << record.sourcePath << ":"
                      << record.line << " " << record.function << ": " << record.text << "\n";
            }
        });
    }
    ~LogRouting() { Host::SetLogSink(m_Previous); }
    LogRouting(LogRouting const&) = delete;
    LogRouting& operator=(LogRouting const&) = delete;
    bool Failed() const { return m_File != nullptr && !*m_File; }

private:
    std::unique_ptr<std::ofstream> m_File;
    Host::LogSink m_Previous;
};

// The option named word ("--log", "--log=x") of command or of a command
// above it, which also take their options after a subcommand; null when none.
CLI::Option const* OptionOf(CLI::App const* command, std::string const& word) {
    std::string const name = word.substr(0, word.find('='));
    for (; command != nullptr; command = command->get_parent()) {
        for (CLI::Option const* option : command->get_options()) {
            if (option->check_name(name)) {
                return option;
            }
        }
    }
    return nullptr;
}

std::string Joined(std::vector<std::string> const& words) {
    std::string text;
    for (std::string const& word : words) {
        text += (text.empty() ? "" : ", ") + word;
    }
    return text;
}

// What is wrong with a command line that did not parse, when it is the
// command's words: one that names no command ("users lst", with the closest
// command), or a group (users, roles, bank) without one of its commands.
// Empty when the words name a command: then what CLI11 found stands.
std::string CommandProblem(CLI::App const& root, std::vector<std::string> const& args) {
    CLI::App const* command = &root;
    bool valueNext = false;
    for (std::size_t i = 1; i < args.size(); ++i) {
        std::string const& word = args[i];
        if (valueNext) {
            valueNext = false;
            continue;
        }
        if (word == "--") {
            return std::string();
        }
        if (word.size() > 1 && word[0] == '-') {
            CLI::Option const* option = OptionOf(command, word);
            valueNext =
                option != nullptr && !IsFlag(*option) && word.find('=') == std::string::npos;
            continue;
        }
        if (command->get_subcommands(nullptr).empty()) {
            return std::string();
        }
        CLI::App const* next = Subcommand(*command, word);
        if (next == nullptr) {
            std::vector<std::string> names;
            for (CLI::App const* sub : command->get_subcommands(nullptr)) {
                names.push_back(sub->get_name());
            }
            std::string const path = CommandPath(*command);
            std::string const prefix = path.empty() ? "" : path + " ";
            std::string closest = ClosestName(word, names);
            return "unknown command \"" + prefix + word + "\"" +
                   (closest.empty() ? "" : " (did you mean \"" + prefix + closest + "\"?)");
        }
        command = next;
    }
    if (command == &root) {
        return "no command given";
    }
    if (!command->get_subcommands(nullptr).empty()) {
        std::vector<std::string> names;
        for (CLI::App const* sub : command->get_subcommands(nullptr)) {
            names.push_back(sub->get_name());
        }
        return "\"" + CommandPath(*command) + "\" needs one of its commands: " + Joined(names);
    }
    return std::string();
}

} // namespace

int RunCommandLine(std::vector<std::string> const& args, Io io, Prompt const& prompt) {
    return WithCommandTree(io, prompt, [&](CommandTree const& tree) {
        std::vector<std::string> reversed(args.rbegin(), args.rend() - (args.empty() ? 0 : 1));
        try {
            tree.app.parse(reversed);
        } catch (CLI::ParseError const& e) {
            if (e.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
                return tree.app.exit(e, io.out, io.err);
            }
            std::string problem = CommandProblem(tree.app, args);
            // A URI typed in the wrong place is echoed back: its password
            // masked.
            io.err << "pmctl: " << Scrubbed(problem.empty() ? e.what() : problem, args)
                   << "\n(pmctl --help lists the commands)\n";
            return kExitBadInput;
        }
        if (!tree.run) {
            return kExitBadInput;
        }
        LogRouting log(tree.logPath, io.out);
        if (log.Failed()) {
            io.err << "pmctl: " << tree.logPath << ": cannot write the log file\n";
            return kExitBadInput;
        }
        return tree.run();
    });
}

} // namespace Pmctl
