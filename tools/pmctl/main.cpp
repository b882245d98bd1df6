// pmctl: the administrator's tool over company files. main hands the command
// line to the command library, with a prompt when a person is at the terminal.
#include "CommandLine.h"
#include "CommandSupport.h"

#include <csignal>
#include <iostream>
#include <unistd.h>

int main(int argc, char** argv) {
    // Output cut short by a closed pipe must not stop a command half-way:
    // let the write fail instead of the process.
    std::signal(SIGPIPE, SIG_IGN);
    Pmctl::InstallInterruptHandlers();
    Pmctl::Prompt prompt;
    if (isatty(STDIN_FILENO) != 0) {
        prompt = [](std::string const& question) -> std::optional<std::string> {
            std::cerr << question << std::flush;
            std::string answer;
            if (!std::getline(std::cin, answer)) {
                return std::nullopt;
            }
            return answer;
        };
    }
    return Pmctl::RunCommandLine(std::vector<std::string>(argv, argv + argc),
                                 Pmctl::Io{std::cout, std::cerr}, prompt);
}
