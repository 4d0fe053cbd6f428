// Every call that an operation makes into the system fails once, at call 1, 2, 3 ... until the operation needs no more,
// alone or with all that follow, for several reasons. Then everything is closed, and the file is opened again without
// faults.
//
// Exit code 0: nothing died, hung or was left behind, every file opens again, and no pixel that the operation was not
// about is another. Without --all a sample is taken until the time is over.
#include <algorithm>
#include <array>
#include <cerrno>
#include <random>

#include "tests/reliability/faults/fault_trials.h"

namespace {

using namespace iocache_test;

struct reason {
    const char* name;
    int error;
    bool is_short;
};
constexpr std::array<reason, 6> reasons{{{"EIO", EIO, false},
                                         {"ENOSPC", ENOSPC, false},
                                         {"EACCES", EACCES, false},
                                         {"EINTR", EINTR, false},
                                         {"ENOMEM", ENOMEM, false},
                                         {"short", EIO, true}}};

struct row {
    int most_calls = 0;
    int64_t runs = 0;
};

constexpr int most_calls = 400;

void sweep_all(fault_trials& one, row& told, const fault_operation& what, mode how, const reason& why, bool is_sticky)
{
    for (int call = 1; call <= most_calls; ++call) {
        const int calls = one.run(what, how, {call, is_sticky, why.error, why.is_short}, why.name);
        ++told.runs;
        told.most_calls = std::max(told.most_calls, calls);
        if (!one.fault_came()) return;  // it needs no more calls
    }
}

void sample(fault_trials& one, row& told, const fault_operation& what, std::mt19937& random)
{
    const reason& why = reasons[random() % reasons.size()];
    const mode how = random() % 2 == 0 ? mode::in_line : mode::process;
    const int calls = one.run(what, how, {0, false, why.error, why.is_short}, why.name);
    if (calls == 0) return;
    const int call = 1 + static_cast<int>(random() % static_cast<uint32_t>(calls));
    one.run(what, how, {call, random() % 2 == 0, why.error, why.is_short}, why.name);
    told.runs += 2;
    told.most_calls = std::max(told.most_calls, calls);
}

int run(const laboratory_options& options)
{
    unsetenv("CV_NO_CLOSE_SYNC");
    fault_trials one;
    std::vector<fault_operation> wanted;
    std::ranges::copy_if(fault_operations(), std::back_inserter(wanted), [&](const fault_operation& what) {
        return options.only.empty() || options.only == what.name;
    });
    std::vector<row> rows(wanted.size());
    std::mt19937 random(options.seed);
    const stopwatch watch;
    if (options.all) {
        for (size_t i = 0; i < rows.size(); ++i) {
            for (const mode how : {mode::in_line, mode::process}) {
                for (const reason& why : reasons) {
                    for (const bool is_sticky : {false, true}) sweep_all(one, rows[i], wanted[i], how, why, is_sticky);
                }
            }
        }
    }
    while (!options.all && !wanted.empty() && watch.seconds() < options.seconds) {
        for (size_t i = 0; i < rows.size(); ++i) sample(one, rows[i], wanted[i], random);
    }
    std::printf("| operation | calls | runs with a fault |\n|---|---|---|\n");
    for (size_t i = 0; i < rows.size(); ++i)
        std::printf("| %s | %d | %lld |\n", wanted[i].name, rows[i].most_calls, static_cast<long long>(rows[i].runs));
    std::printf("| all | | %lld |\n\nruns in which the host was told to end: %lld\ntroubles: %lld\n",
                static_cast<long long>(one.runs()), static_cast<long long>(one.told_to_end()),
                static_cast<long long>(one.troubles()));
    return one.troubles() == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    return run_laboratory(argc, argv, run);
}
