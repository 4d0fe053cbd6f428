// The states in which a power cut may leave a disk: when it came, which of the steps that were not sure yet were kept,
// and which one of them only in part.
#ifndef IOCACHE_TESTS_RELIABILITY_POWER_STATES_H
#define IOCACHE_TESTS_RELIABILITY_POWER_STATES_H

#include <random>

#include "tests/reliability/power/call_log.h"

namespace iocache_test {

struct power_state {
    enum class tear {
        none,
        cut,      // the first sectors were kept
        sectors,  // any sectors
        pages,    // any groups of eight
    };
    size_t cut = 0;            // the call that the power did not last for
    std::vector<size_t> kept;  // of unsure_at(cut), in order
    size_t torn = never;       // one of them
    tear how = tear::none;
    uint32_t detail = 0;  // the first sector lost, counted from the write's first; or a seed

    std::string text() const;
};

disk disk_after(const call_log& log, const power_state& state);

// All prefixes; every subset where no more than `most_exhausted` steps are unsure, and of the first and the last of
// them where there are more; each step alone, and all but it; each write torn; and some subsets by chance.
std::vector<power_state> all_states(const call_log& log, std::mt19937& random);
// One of them by chance.
power_state any_state(const call_log& log, std::mt19937& random);

}  // namespace iocache_test

#endif
