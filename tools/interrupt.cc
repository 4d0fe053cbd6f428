// The note a signal leaves: one number, the only thing the handler touches.
#include "tools/interrupt.h"

#include <atomic>
#include <csignal>
#include <cstdlib>

namespace iocache::tools {

namespace {

std::atomic<int> noted_signal{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler must not take a lock");

void note(int signal)
{
    noted_signal.store(signal, std::memory_order_relaxed);
}

constexpr int ending_signals[] = {SIGINT, SIGTERM, SIGHUP, SIGXCPU};

}  // namespace

void note_interrupts()
{
    take_interrupts(note);
}

void take_interrupts(void (*handler)(int signal))
{
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;  // transfers under way go on; the note is found between two of them
    sigemptyset(&action.sa_mask);
    for (const int signal : ending_signals) {
        struct sigaction before {};
        sigaction(signal, nullptr, &before);
        // What the caller chose to ignore (nohup) stays ignored.
        if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
    }
}

void let_oversized_writes_fail()
{
    std::signal(SIGXFSZ, SIG_IGN);
}

void check_interrupt()
{
    if (const int signal = noted_signal.load(std::memory_order_relaxed)) throw interrupted{signal};
}

void end_by_signal(int signal)
{
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    std::abort();  // not reached: none of the signals is blocked here
}

}  // namespace iocache::tools
