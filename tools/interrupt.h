// Ctrl-C and its relatives. The signals only leave a note; work that takes long looks for it between
// two blocks of pixels, so that everything half made is taken back on the way out.
#pragma once

namespace iocache::tools {

// Thrown by check_interrupt; main ends the process by the same signal once everything is undone.
struct interrupted {
    int signal;
};

// From now on SIGINT, SIGTERM, SIGHUP and SIGXCPU (the time granted is used up) are noted instead of ending the process.
void note_interrupts();

// From now on they call this function instead, which may only do what a signal handler may.
void take_interrupts(void (*handler)(int signal));

// From now on a write beyond the limit for the size of a file fails, as one to a full disk does, instead of ending the
// process with what it has half made.
void let_oversized_writes_fail();

// Throws `interrupted` when one of them has come.
void check_interrupt();

// Ends the process by the signal, as a shell expects it.
[[noreturn]] void end_by_signal(int signal);

}  // namespace iocache::tools
