// A workload on a disk that has room for so many pages, and what is there afterwards.
#ifndef IOCACHE_TESTS_RELIABILITY_FULL_DISK_EXPERIMENT_H
#define IOCACHE_TESTS_RELIABILITY_FULL_DISK_EXPERIMENT_H

#include <array>
#include <atomic>
#include <functional>
#include <random>
#include <string>

#include "tests/reliability/full_disk/full_disk_workloads.h"
#include "tests/reliability/laboratory.h"
#include "tests/reliability/oracle.h"
#include "tests/support/file_reader.h"
#include "tests/support/small_disk.h"

namespace iocache_test {

// Shared with the children that work and look.
struct full_disk_outcome {
    oracle notes;
    std::atomic<int64_t> asked{0};  // how often the library had the host make room
    std::atomic<bool> is_done{false};
    std::array<char, 160> trouble{};

    // The first one counts.
    void note(const char* what)
    {
        if (trouble[0] == '\0') std::snprintf(trouble.data(), trouble.size(), "%s", what);
    }
};

struct full_disk_figures {
    int64_t runs = 0;
    int64_t completed = 0;   // after room had been made
    int64_t other_file = 0;  // but not the same file
    int64_t gave_up = 0;
    int64_t tiles_checked = 0;
    int64_t troubles = 0;

    void add(const full_disk_figures& other)
    {
        runs += other.runs;
        completed += other.completed;
        other_file += other.other_file;
        gave_up += other.gave_up;
        tiles_checked += other.tiles_checked;
        troubles += other.troubles;
    }
};

// One workload, with one kind of canvas, in one mode.
class full_disk_experiment {
public:
    full_disk_experiment(const full_disk_workload& workload, bool is_picture, mode how, const small_disk& disk,
                         const std::string& elsewhere);
    const full_disk_figures& total() const { return total_; }
    const full_disk_workload& workload() const { return workload_; }

    // Every number of pages, from none to as many as it needs.
    void sweep();
    // One of them by chance.
    void sample(std::mt19937& random);

private:
    const full_disk_workload& workload_;
    mode how_;
    const small_disk& disk_;
    full_disk_work work_;
    bytes before_;     // the file at the beginning
    bytes elsewhere_;  // the same, of one that lies on another disk
    bytes reference_;  // at the end, with room
    std::array<uint64_t, full_tile_count> prepared_{};
    shared_object<full_disk_outcome> outcome_;
    int64_t enough_pages_ = 0;  // with so many it certainly needs no more
    full_disk_figures total_;

    // In a child.
    child_end with_library(const std::function<void()>& body);
    void prepare();
    child_end run();
    void make_reference();
    // Both answers of the host. False when there was room enough.
    bool try_both(int64_t pages);
    // True when there was not.
    bool try_one(int64_t pages, host_answer answer);
    void look_at_completed(bool was_full);
    void look_at_tiles();
    void look_at_rest();
    void look_at_source();
    void open_and_look();
    void tell(int64_t pages);
};

}  // namespace iocache_test

#endif
