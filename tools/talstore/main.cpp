/// talstore looks into storage files, compares, checks and converts them.

#include <malloc.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <iostream>

#include "commands/CommandLine.h"
#include "files/Interrupt.h"

namespace {

std::size_t TerminalWidth() {
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

bool WantsColour() {
    const char* const noColour = std::getenv("NO_COLOR");
    return noColour == nullptr || *noColour == '\0';
}

/// Whoever reads the output may leave early, and nothing is left behind then either: the process ends by the signal,
/// but only after it has tidied up.
volatile std::sig_atomic_t isPipeBroken = 0;

void NoteBrokenPipe(int /*signal*/) {
    isPipeBroken = 1;
}

/// Otherwise the C library keeps what the largest file has taken, until as much again is free.
void ReleaseMemoryEarly() {
    constexpr int kMostKept = 1024 * 1024;
    mallopt(M_TRIM_THRESHOLD, kMostKept);
}

}  // namespace

int main(int argc, char** argv) {
    ReleaseMemoryEarly();
    std::signal(SIGPIPE, NoteBrokenPipe);
    tal::talstore::RememberInterrupts();
    const bool isTerminal = isatty(STDOUT_FILENO) != 0;
    const tal::talstore::Console console = {std::cout, std::cerr, isTerminal && WantsColour(),
                                            isTerminal ? TerminalWidth() : 0, isatty(STDERR_FILENO) != 0};
    const int status = tal::talstore::RunTalstore({argv + 1, argv + argc}, console);
    std::cout.flush();
    if (isPipeBroken != 0) {
        std::signal(SIGPIPE, SIG_DFL);
        std::raise(SIGPIPE);
    }
    if (!std::cout) {
        std::cerr << "talstore: standard output could not be written\n";
        return tal::talstore::kCannot;
    }
    return status;
}
