/// talstore looks into storage files, compares, checks and converts them.

#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>

#include "commands/CommandLine.h"

namespace {

std::size_t TerminalWidth() {
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool WantsColour() {
    const char* const noColour = std::getenv("NO_COLOR");
    return noColour == nullptr || *noColour == '\0';
}

}  // namespace

int main(int argc, char** argv) {
    const bool isTerminal = isatty(STDOUT_FILENO) != 0;
    const tal::talstore::Console console = {std::cout, std::cerr, isTerminal && WantsColour(),
                                            isTerminal ? TerminalWidth() : 0};
    const int status = tal::talstore::RunTalstore({argv + 1, argv + argc}, console);
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "talstore: standard output could not be written\n";
        return tal::talstore::kCannot;
    }
    return status;
}
