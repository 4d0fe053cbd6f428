// The worker pool: every worker runs its function once a run, and a run ends when all have passed the barrier.
#include "host/iocache_host.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int32_t most_workers = 8;

struct counted {
    std::atomic<int> calls{0};
    std::array<std::atomic<int>, most_workers> calls_of{};
};

counted counts;

void count_and_meet(void* number)
{
    ++counts.calls;
    ++counts.calls_of[static_cast<std::size_t>(*static_cast<const int32_t*>(number))];
    MP_barrier();
}

// The pool, started with a number of workers and ended at scope end, with one function for all.
class workers : public testing::Test {
protected:
    ~workers() override { MP_exit(); }

    static void start(int32_t count, MP_function function)
    {
        ASSERT_EQ(MP_set_nr_procs(count), count);
        ASSERT_EQ(MP_init(), 0);
        for (int32_t i = 0; i < most_workers; ++i) {
            numbers[static_cast<std::size_t>(i)] = i;
            MP_def_proc_fun(i, function);
            MP_def_proc_args(i, &numbers[static_cast<std::size_t>(i)]);
        }
    }

    static inline std::array<int32_t, most_workers> numbers;
};

TEST_F(workers, are_between_one_and_eight)
{
    EXPECT_EQ(MP_set_nr_procs(0), 1);
    EXPECT_EQ(MP_set_nr_procs(-5), 1);
    EXPECT_EQ(MP_set_nr_procs(3), 3);
    EXPECT_EQ(MP_get_nr_procs(), 3);
    EXPECT_EQ(MP_set_nr_procs(9), 8);
    EXPECT_EQ(MP_get_nr_procs(), 8);
}

TEST_F(workers, are_as_many_as_there_are_processors_if_nothing_else_is_said)
{
    EXPECT_GE(m_get_numprocs(), 1);
    EXPECT_LE(m_get_numprocs(), 8);
    EXPECT_LE(m_get_numprocs(), static_cast<int32_t>(sysconf(_SC_NPROCESSORS_CONF)));
}

class workers_by_number : public workers, public testing::WithParamInterface<int32_t> {};

TEST_P(workers_by_number, each_run_their_function_once_with_their_argument)
{
    start(GetParam(), count_and_meet);
    constexpr int runs = 3000;
    for (int run = 1; run <= runs; ++run) {
        ASSERT_EQ(MP_run_procs(), 0);
        ASSERT_EQ(counts.calls, run * GetParam());
    }
    for (int32_t i = 0; i < most_workers; ++i) {
        EXPECT_EQ(counts.calls_of[static_cast<std::size_t>(i)], i < GetParam() ? runs : 0) << "worker " << i;
    }
}

TEST_P(workers_by_number, share_rows_under_a_lock)
{
    constexpr int rows = 20000;
    static std::array<int, rows> done;  // each row is written by the one worker that claimed it
    start(GetParam(), [](void*) {
        for (;;) {
            MP_set_lock(cnt_lock);
            const int32_t row = MP_line++;
            MP_unset_lock(cnt_lock);
            if (row >= rows) break;
            ++done[static_cast<std::size_t>(row)];
        }
        MP_barrier();
    });
    MP_def_lock(&cnt_lock);
    ASSERT_NE(cnt_lock, nullptr);
    MP_line = 0;
    EXPECT_EQ(MP_run_procs(), 0);
    MP_free_lock(cnt_lock);
    for (int row = 0; row < rows; ++row) ASSERT_EQ(done[static_cast<std::size_t>(row)], 1) << "row " << row;
}

TEST_P(workers_by_number, wait_for_each_other_at_every_barrier)
{
    start(GetParam(), [](void*) {
        constexpr int phases = 5;
        for (int phase = 1; phase <= phases; ++phase) {
            ++counts.calls;
            MP_barrier();
            // Nobody counts for the next phase before everybody has counted for this one.
            EXPECT_GE(counts.calls, phase * MP_get_nr_procs());
            MP_barrier();
            EXPECT_LE(counts.calls, (phase + 1) * MP_get_nr_procs());
        }
    });
    EXPECT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(counts.calls, 5 * GetParam());
}

TEST_P(workers_by_number, do_not_wait_for_one_that_never_comes_to_the_barrier)
{
    start(GetParam(), [](void* number) {
        ++counts.calls;
        if (*static_cast<const int32_t*>(number) % 2 == 0) MP_barrier();
    });
    for (int run = 0; run < 100; ++run) ASSERT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(counts.calls, 100 * GetParam());
}

INSTANTIATE_TEST_SUITE_P(pools, workers_by_number, testing::Values(1, 2, 4, 8), testing::PrintToStringParamName());

TEST_F(workers, run_when_they_had_gone_to_sleep)
{
    start(2, count_and_meet);
    constexpr int runs = 20;
    for (int run = 1; run <= runs; ++run) {
        std::this_thread::sleep_for(std::chrono::milliseconds{2});
        ASSERT_EQ(MP_run_procs(), 0);
        ASSERT_EQ(counts.calls, 2 * run);
    }
}

TEST_F(workers, start_within_microseconds)
{
    for (const int32_t count : {1, 2}) {
        start(count, [](void*) { MP_barrier(); });
        constexpr int runs = 5000;
        const auto begin = std::chrono::steady_clock::now();
        for (int run = 0; run < runs; ++run) ASSERT_EQ(MP_run_procs(), 0);
        const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - begin;
        std::printf("%d workers: %.3f us a run\n", count, taken.count() / runs);
    }
}

TEST_F(workers, without_a_function_do_nothing)
{
    start(4, nullptr);
    MP_def_proc_fun(1, count_and_meet);
    EXPECT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(counts.calls, 1);
}

TEST_F(workers, tell_the_current_function)
{
    start(2, count_and_meet);
    EXPECT_EQ(MP_get_proc_fun(), count_and_meet);
    MP_def_proc_fun(0, nullptr);
    EXPECT_EQ(MP_get_proc_fun(), nullptr);
}

TEST_F(workers, out_of_range_are_ignored)
{
    start(2, count_and_meet);
    MP_def_proc_fun(-1, nullptr);
    MP_def_proc_fun(most_workers, nullptr);
    MP_def_proc_args(-1, nullptr);
    MP_def_proc_args(most_workers, nullptr);
    EXPECT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(counts.calls, 2);
}

TEST_F(workers, do_not_run_before_init_nor_after_exit)
{
    EXPECT_EQ(MP_run_procs(), -1);
    start(2, count_and_meet);
    MP_exit();
    EXPECT_EQ(MP_run_procs(), -1);
    MP_exit();
    EXPECT_EQ(counts.calls, 0);
}

TEST_F(workers, start_again_after_exit)
{
    constexpr int times = 20;
    for (int i = 0; i < times; ++i) {
        start(4, count_and_meet);
        EXPECT_EQ(MP_run_procs(), 0);
        MP_exit();
    }
    EXPECT_EQ(counts.calls, times * 4);
}

TEST_F(workers, may_change_their_number_while_the_pool_runs)
{
    start(2, count_and_meet);
    EXPECT_EQ(MP_init(), 0);  // once more: nothing changes
    EXPECT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(MP_set_nr_procs(4), 4);
    EXPECT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(MP_set_nr_procs(1), 1);
    EXPECT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(counts.calls, 2 + 4 + 1);
}

TEST_F(workers, cannot_start_the_run_that_they_are_part_of)
{
    static std::atomic<int> refused{0};
    start(2, [](void*) {
        refused += MP_run_procs() == -1;
        MP_barrier();
    });
    EXPECT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(refused, 2);
}

TEST_F(workers, do_not_live_on_in_a_forked_child)
{
    start(2, count_and_meet);
    ASSERT_EQ(MP_run_procs(), 0);
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        const bool refused = MP_run_procs() == -1;
        MP_exit();
        _exit(refused ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(counts.calls, 4);
}

TEST(barrier_of_the_workers, holds_nobody_outside_a_run)
{
    MP_barrier();
    ASSERT_EQ(MP_set_nr_procs(2), 2);
    ASSERT_EQ(MP_init(), 0);
    MP_barrier();
    MP_exit();
}

TEST(lock_of_the_workers, may_be_null)
{
    MP_set_lock(nullptr);
    MP_unset_lock(nullptr);
    MP_free_lock(nullptr);
}

TEST(shared_buffers, hold_all_that_the_library_writes)
{
    constexpr std::size_t buffer_bytes = std::size_t{16} * 1024 * 1024;
    EXPECT_EQ(Rbuf, bufR);
    EXPECT_EQ(Zbuf, nullptr);
    ASSERT_NE(Xbuf, nullptr);
    Rbuf[buffer_bytes - 1] = 1;
    Xbuf[buffer_bytes - 1] = 2;
    EXPECT_EQ(bufR[buffer_bytes - 1], 1);
}

}  // namespace
