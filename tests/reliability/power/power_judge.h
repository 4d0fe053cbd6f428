// Looks at what a power cut left, with the reader of the tools and with the library, and counts.
#ifndef IOCACHE_TESTS_RELIABILITY_POWER_JUDGE_H
#define IOCACHE_TESTS_RELIABILITY_POWER_JUDGE_H

#include <atomic>

#include "tests/reliability/power/power_promises.h"
#include "tests/reliability/power/power_states.h"

namespace iocache_test {

// Shared with the processes that judge.
struct power_figures {
    std::atomic<int64_t> states{0};
    std::atomic<int64_t> no_file{0};  // nothing was promised yet
    std::atomic<int64_t> opened{0};
    std::atomic<int64_t> repaired{0};  // refused, then opened after a repair
    std::atomic<int64_t> refused{0};
    std::atomic<int64_t> tiles_checked{0};
    std::atomic<int64_t> tiles_wrong{0};  // or lost
    std::atomic<int64_t> left_behind{0};  // a canvas stays open, or the host is told to end
    std::atomic<int64_t> tried{0};        // states begun, also those that another one equals

    void add(const power_figures& other);
};

// To be used in a process where the library runs, and that records nothing.
class power_judge {
public:
    power_judge(const power_workload& workload, const power_places& where, const promises& promised,
                power_figures& all);

    // The state is put into the places.
    void look_at(const disk& now, const power_state& state);

private:
    enum class view { none, repaired, opened };
    struct finding {
        bool is_there = false;
        view how = view::none;
        int64_t wrong = 0;
        bool is_misread = false;

        bool is_better_than(const finding& other) const;
    };
    const power_workload& workload_;
    const power_places& where_;
    const promises& promised_;
    power_figures& all_;

    finding find_best(const disk& now, const expected_tiles& expected) const;
    static finding open(const std::string& name, const expected_tiles& expected);
    void complain(const power_state& state, const char* what, int64_t tiles);
};

// Makes the places hold what the disk holds, and nothing else.
void put_on_disk(const disk& now, const power_places& where);

}  // namespace iocache_test

#endif
