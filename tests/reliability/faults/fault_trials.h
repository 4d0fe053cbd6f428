// One operation with one fault, and what is there afterwards.
#ifndef IOCACHE_TESTS_RELIABILITY_FAULT_TRIALS_H
#define IOCACHE_TESTS_RELIABILITY_FAULT_TRIALS_H

#include <array>
#include <atomic>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "tests/reliability/faults/fault_operations.h"
#include "tests/reliability/laboratory.h"
#include "tests/reliability/oracle.h"
#include "tests/support/failing_calls.h"
#include "tests/support/library.h"

namespace iocache_test {

// A file that operations work on, and the pixels it shows.
struct fault_subject {
    std::string name;
    bool is_picture = true;
    bytes contents;
    bytes pixels;
};

// What a trial found, shared with the child that made it.
struct fault_outcome {
    std::atomic<int> calls{0};
    std::atomic<bool> came{false};
    std::atomic<int> kills{0};
    std::array<char, 200> trouble{};

    void note(const std::string& what)
    {
        if (trouble[0] == '\0') std::snprintf(trouble.data(), trouble.size(), "%s", what.c_str());
    }
};

class fault_trials {
public:
    fault_trials();

    // Runs an operation with a fault. Returns how many calls it made; 0 after an accident.
    int run(const fault_operation& what, mode how, const failing_calls::fault& fault, const char* why);
    bool fault_came() const { return outcome_->came; }
    int64_t runs() const { return runs_; }
    int64_t troubles() const { return troubles_; }
    // Runs in which the library told its host to end, as it does when a tile cannot be read.
    int64_t told_to_end() const { return told_to_end_; }

private:
    laboratory_folder folder_;
    temporary_folder temporary_;
    std::string elsewhere_;
    std::vector<fault_subject> subjects_;
    shared_object<fault_outcome> outcome_;
    int64_t runs_ = 0;
    int64_t troubles_ = 0;
    int64_t told_to_end_ = 0;

    std::string path() const { return folder_.file("canvas"); }

    void make_subjects();
    void make_canvas(const std::string& name, bool is_picture, const std::vector<std::pair<size_t, int32_t>>& numbers);
    void take(const std::string& name, bool is_picture, const bytes& contents);
    const fault_subject* subject_of(const fault_operation& what) const;
    void prepare_files(const fault_operation& what) const;

    // In a child.
    int try_it(const fault_operation& what, mode how, const failing_calls::fault& fault);
    void look_around(size_t descriptors);
    void look_at_file(const fault_subject& before, const std::string& where, mode how);
};

}  // namespace iocache_test

#endif
