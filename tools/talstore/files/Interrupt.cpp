#include "files/Interrupt.h"

#include <csignal>
#include <initializer_list>

namespace tal::talstore {

namespace {

volatile std::sig_atomic_t rememberedSignal = 0;

void Remember(int signal) {
    rememberedSignal = signal;
}

}  // namespace

void RememberInterrupts() {
    struct sigaction action = {};
    action.sa_handler = Remember;
    // Without SA_RESTART, so that waiting for a pipe ends, too.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before = {};
        sigaction(signal, nullptr, &before);
        // Who runs a program in the background, or with nohup, has it ignore some.
        if (before.sa_handler != SIG_IGN) {
            sigaction(signal, &action, nullptr);
        }
    }
}

int InterruptingSignal() {
    return rememberedSignal;
}

void StopIfInterrupted() {
    if (InterruptingSignal() != 0) {
        throw Interrupted{InterruptingSignal()};
    }
}

}  // namespace tal::talstore
