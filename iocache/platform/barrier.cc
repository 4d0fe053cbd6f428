// A barrier for a few parties that can be broken, so that nobody waits for a party that will never come.
//
// One word holds everything: bit 0 is set once the barrier is broken, the next seven bits count the parties that have
// come to the present meeting, the rest numbers the meetings. So a party that wakes up knows from one look whether its
// own meeting took place, whatever has happened since.
#include "iocache/platform/forks.h"
#include "iocache/platform/platform.h"
#include "iocache/platform/waiting.h"

#include <new>

using namespace iocache::platform;

struct alignas(cache_line_bytes) cv_barrier {
    waited_word word{0};
    const int32_t made_in = fork_generation();
};

namespace {

constexpr uint32_t broken_bit = 1;
constexpr uint32_t one_party = 2;
constexpr uint32_t one_meeting = 256;
static_assert(one_meeting == one_party * (most_barrier_parties + 1), "the count of parties overlaps the meetings");

// A tile that the system still has in memory arrives within this time, and so does one that another has to be written for.
constexpr std::chrono::microseconds spin_limit{100};
// The first of all takes longer, because its memory has to be made.
constexpr std::chrono::microseconds first_spin_limit{500};

constexpr uint32_t parties_come(uint32_t word)
{
    return word % one_meeting / one_party;
}

constexpr uint32_t meeting_number(uint32_t word)
{
    return word / one_meeting;
}

bool inherited(const cv_barrier& barrier)
{
    return barrier.made_in != fork_generation();
}

// Waits for the end of the meeting that the word, as the caller left it, belongs to.
int32_t wait_for_the_others(cv_barrier& barrier, uint32_t word)
{
    const uint32_t meeting = meeting_number(word);
    for (;;) {
        if (meeting_number(word) != meeting) return 0;
        if (word & broken_bit) return barrier_is_broken;
        barrier.word.wait_while(static_cast<int32_t>(word), meeting == 0 ? first_spin_limit : spin_limit);
        word = static_cast<uint32_t>(barrier.word.value().load(std::memory_order_acquire));
    }
}

}  // namespace

IOCACHE_REPLACEABLE cv_barrier* new_barrier(cv_arena* /*arena*/)
{
    return new (std::nothrow) cv_barrier;
}

IOCACHE_REPLACEABLE int32_t barrier(cv_barrier* barrier, int32_t parties)
{
    if (!barrier || inherited(*barrier) || parties > most_barrier_parties) return barrier_is_broken;
    std::atomic<int32_t>& value = barrier->word.value();
    // Who comes when it is broken already sees what was done before that, too.
    int32_t seen = value.load(std::memory_order_acquire);
    for (;;) {
        const auto word = static_cast<uint32_t>(seen);
        if (word & broken_bit) return barrier_is_broken;
        const bool complete = static_cast<int32_t>(parties_come(word)) + 1 >= parties;
        // The next meeting starts with nobody there; its number wraps, which is long enough for nobody to sleep through.
        const uint32_t next = complete ? (meeting_number(word) + 1) * one_meeting : word + one_party;
        if (!value.compare_exchange_weak(seen, static_cast<int32_t>(next))) continue;
        if (!complete) return wait_for_the_others(*barrier, next);
        barrier->word.wake_all();
        return 0;
    }
}

IOCACHE_REPLACEABLE void platform_break_barrier(cv_barrier* barrier)
{
    if (!barrier) return;
    barrier->word.value().fetch_or(static_cast<int32_t>(broken_bit));
    barrier->word.wake_all();
}

IOCACHE_REPLACEABLE int32_t platform_barrier_broken(cv_barrier* barrier)
{
    if (!barrier || inherited(*barrier)) return 1;
    return static_cast<uint32_t>(barrier->word.value().load(std::memory_order_acquire)) & broken_bit ? 1 : 0;
}

IOCACHE_REPLACEABLE void free_barrier(cv_barrier* barrier)
{
    delete barrier;
}
