/// @file
/// Ctrl-C ends a run at the next place where nothing is left behind.
#ifndef TALSTORE_INTERRUPT_H
#define TALSTORE_INTERRUPT_H

namespace tal::talstore {

/// Ends the run; every private directory and every draft is removed on the way.
struct Interrupted {
    int signal;
};

/// From now on SIGINT, SIGTERM and SIGHUP are remembered; a second one ends the process at once.
void RememberInterrupts();

/// @return the signal that was remembered; 0 when there was none.
[[nodiscard]] int InterruptingSignal();

/// Throws Interrupted when there was one.
void StopIfInterrupted();

}  // namespace tal::talstore

#endif
