// Processes that share everything with the caller: threads with all signals blocked, so that a host's signals go to
// the host's own threads.
//
// Which threads run is kept in a table of slots. A slot is owned by whoever changed its id from free or from a given
// thread's id to taken; nothing else guards it, so that a forked child finds it usable in any case.
#include "iocache/platform/forks.h"
#include "iocache/platform/platform.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <limits>
#include <memory>
#include <new>

#include <pthread.h>

namespace {

constexpr int32_t free_slot = 0;
constexpr int32_t taken_slot = -1;  // its owner is about to fill or to empty it
constexpr std::size_t most_threads = 64;

struct thread_slot {
    std::atomic<int32_t> id{free_slot};
    pthread_t thread{};  // valid while id is above 0; the owner's while the slot is taken
};

std::array<thread_slot, most_threads> slots;
std::atomic<uint32_t> ids_given_out{0};

struct start_order {
    void (*entry)(void*);
    void* argument;
};

extern "C" void* run_thread(void* received)
{
    const std::unique_ptr<start_order> order{static_cast<start_order*>(received)};
    pthread_setname_np(pthread_self(), "iocache");
    order->entry(order->argument);
    return nullptr;
}

// Blocks every signal for the calling thread and the threads that it starts meanwhile.
class all_signals_blocked {
public:
    all_signals_blocked()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~all_signals_blocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    all_signals_blocked(const all_signals_blocked&) = delete;
    all_signals_blocked& operator=(const all_signals_blocked&) = delete;

private:
    sigset_t before_{};
};

bool change_id(thread_slot& slot, int32_t from, int32_t to)
{
    return slot.id.compare_exchange_strong(from, to, std::memory_order_acq_rel);
}

thread_slot* take_free_slot()
{
    for (thread_slot& slot : slots) {
        if (change_id(slot, free_slot, taken_slot)) return &slot;
    }
    return nullptr;
}

int32_t next_id()
{
    constexpr auto id_count = static_cast<uint32_t>(std::numeric_limits<int32_t>::max());
    return static_cast<int32_t>(ids_given_out.fetch_add(1, std::memory_order_relaxed) % id_count) + 1;
}

// 0, or what went wrong.
int create_thread(pthread_t& thread, std::unique_ptr<start_order> order)
{
    if (!order) return ENOMEM;
    const all_signals_blocked blocked;
    const int problem = pthread_create(&thread, nullptr, run_thread, order.get());
    if (problem == 0) static_cast<void>(order.release());  // run_thread owns it now
    return problem;
}

}  // namespace

IOCACHE_REPLACEABLE int32_t sproc(void (*entry)(void*), uint32_t /*share_flags*/, void* argument)
{
    thread_slot* const slot = entry ? take_free_slot() : nullptr;
    if (!slot) {
        errno = entry ? EAGAIN : EINVAL;
        return -1;
    }
    std::unique_ptr<start_order> order{new (std::nothrow) start_order{entry, argument}};
    const int problem = create_thread(slot->thread, std::move(order));
    if (problem != 0) {
        slot->id.store(free_slot, std::memory_order_release);
        errno = problem;
        return -1;
    }
    const int32_t id = next_id();
    slot->id.store(id, std::memory_order_release);
    return id;
}

IOCACHE_REPLACEABLE void platform_join(int32_t id)
{
    if (id <= 0) return;
    for (thread_slot& slot : slots) {
        if (!change_id(slot, id, taken_slot)) continue;
        if (pthread_equal(slot.thread, pthread_self())) {
            pthread_detach(slot.thread);
        } else {
            pthread_join(slot.thread, nullptr);
        }
        slot.id.store(free_slot, std::memory_order_release);
        return;
    }
}

namespace iocache::platform {

void forget_every_thread()
{
    for (thread_slot& slot : slots) slot.id.store(free_slot, std::memory_order_relaxed);
}

}  // namespace iocache::platform
