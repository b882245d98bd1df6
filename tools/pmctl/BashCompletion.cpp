// The completion script: a table (one case per command) generated from the
// tree, and a fixed function that walks the words typed so far through it.
#include "BashCompletion.h"

#include "Actions.h"
#include "CommandTree.h"

#include <sstream>

namespace Pmctl {

namespace {

// Walks the words before the cursor: each word that names a subcommand of the
// command so far moves to it; an option that takes a value skips the value;
// other words are arguments, counted. Then offers options (after '-'), the
// subcommands, or what the next argument is.
char const kWalk[] = R"(_pmctl() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}
    local path="" word i skip="" n=0
    local commands options files values arguments
    _pmctl_command ""
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ -n $skip ]]; then
            skip=""
        elif [[ " $files $values " == *" $word "* ]]; then
            skip=1
        elif [[ $word == -* ]]; then
            :
        elif [[ " $commands " == *" $word "* ]]; then
            path=${path:+$path }$word
            _pmctl_command "$path"
            n=0
        else
            n=$((n + 1))
        fi
    done
    COMPREPLY=()
    if [[ -n $skip ]]; then
        if [[ " $files " == *" $prev "* ]]; then
            compopt -o filenames 2>/dev/null
            COMPREPLY=($(compgen -f -- "$cur"))
        fi
        return 0
    fi
    if [[ $cur == -* ]]; then
        COMPREPLY=($(compgen -W "$options" -- "$cur"))
        return 0
    fi
    if [[ -n $commands ]]; then
        COMPREPLY=($(compgen -W "$commands" -- "$cur"))
        return 0
    fi
    local -a kinds=($arguments)
    case ${kinds[n]} in
    file)
        compopt -o filenames 2>/dev/null
        COMPREPLY=($(compgen -f -- "$cur"))
        ;;
    action)
        COMPREPLY=($(compgen -W "$_pmctl_actions" -- "$cur"))
        ;;
    esac
    return 0
}
complete -F _pmctl pmctl
)";

std::string Joined(std::vector<std::string> const& words) {
    std::string text;
    for (std::string const& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

// What each positional is, for the walk: a file, an action, or other.
std::string ArgumentKind(CLI::Option const& option) {
    if (ValueIsAPath(option)) {
        return "file";
    }
    return option.get_name() == "ACTION" ? "action" : "other";
}

void WriteCommand(std::ostream& out, CLI::App const& command) {
    std::vector<std::string> commands, options, files, values, arguments;
    for (CLI::App const* sub : command.get_subcommands(nullptr)) {
        commands.push_back(sub->get_name());
    }
    for (CLI::Option const* option : command.get_options()) {
        if (!option->nonpositional()) {
            arguments.push_back(ArgumentKind(*option));
            continue;
        }
        std::vector<std::string> names;
        for (std::string const& name : option->get_snames()) {
            names.push_back("-" + name);
        }
        for (std::string const& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
        for (std::string const& name : names) {
            options.push_back(name);
            if (!IsFlag(*option)) {
                (ValueIsAPath(*option) ? files : values).push_back(name);
            }
        }
    }
    out << "    \"" << CommandPath(command) << "\")\n"
        << "        commands=\"" << Joined(commands) << "\" options=\"" << Joined(options)
        << "\"\n        files=\"" << Joined(files) << "\" values=\"" << Joined(values)
        << "\" arguments=\"" << Joined(arguments) << "\"\n        ;;\n";
}

} // namespace

std::string BashCompletion(CLI::App const& root) {
    std::ostringstream out;
    std::vector<std::string> actions;
    for (ActionName const& action : ActionNames()) {
        actions.push_back(action.name);
    }
    out << "# bash completion for pmctl, made from its commands when pmctl was built.\n\n"
        << "_pmctl_actions=\"" << Joined(actions) << "\"\n\n"
        << "# What the command named by the words in $1 takes.\n"
        << "_pmctl_command() {\n    case $1 in\n";
    std::vector<CLI::App const*> commands = AllCommands(root);
    commands.insert(commands.begin(), &root);
    for (CLI::App const* command : commands) {
        WriteCommand(out, *command);
    }
    out << "    esac\n}\n\n" << kWalk;
    return out.str();
}

} // namespace Pmctl
