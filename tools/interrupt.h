// Ctrl-C and its relatives. The signals only leave a note; work that takes long looks for it between
// two blocks of pixels, so that everything half made is taken back on the way out.
#pragma once

namespace iocache::tools {

// Thrown by check_interrupt; main ends the process by the same signal once everything is undone.
struct interrupted {
    int signal;
};

// From now on SIGINT, SIGTERM and SIGHUP are noted instead of ending the process.
void note_interrupts();

// From now on they call this function instead, which may only do what a signal handler may.
void take_interrupts(void (*handler)(int signal));

// Throws `interrupted` when one of them has come.
void check_interrupt();

// Ends the process by the signal, as a shell expects it.
[[noreturn]] void end_by_signal(int signal);

}  // namespace iocache::tools
