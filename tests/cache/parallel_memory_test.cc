// Copies and fills on all of the host's workers.
#include <optional>

#include "tests/cache/forced_test.h"

namespace {

using namespace iocache_test;

class parallel_memory : public ::testing::TestWithParam<int> {
protected:
    void SetUp() override
    {
        prepare(mode::process, {.workers = GetParam()});
        library_.emplace(mode::process, settings{.workers = GetParam()});
        ASSERT_EQ(nr_procs, GetParam());
    }

private:
    std::optional<running_library> library_;
};

bytes pattern(size_t count)
{
    bytes result(count);
    for (size_t i = 0; i < count; ++i) result[i] = static_cast<uint8_t>(i * 31 + i / 257);
    return result;
}

TEST_P(parallel_memory, copies_every_row_and_nothing_behind_them)
{
    for (const auto& [width, height] : {std::pair{1, 1}, {7, 1}, {1, 100}, {333, 77}, {4096, 300}}) {
        const auto count = static_cast<size_t>(width) * static_cast<size_t>(height);
        const bytes source = pattern(count);
        bytes target(count + 64, 0xEE);
        EXPECT_EQ(MP_memcpy(target.data(), source.data(), width, height), 0);
        EXPECT_EQ(bytes(target.begin(), target.begin() + static_cast<std::ptrdiff_t>(count)), source);
        EXPECT_EQ(bytes(target.begin() + static_cast<std::ptrdiff_t>(count), target.end()), bytes(64, 0xEE));
        EXPECT_EQ(MP_target, target.data());
        EXPECT_EQ(MP_source, source.data());
        EXPECT_EQ(MP_wid, width);
        EXPECT_EQ(MP_height, height);
        EXPECT_EQ(MP_line, height + nr_procs) << "each worker claims one row too many, and stops";
    }
}

TEST_P(parallel_memory, fills_every_row_with_the_low_byte)
{
    for (const int32_t value : {0, 0x5A, 0x1234, -1}) {
        bytes target(300 * 50 + 64, 0xEE);
        EXPECT_EQ(MP_memset(target.data(), value, 300, 50), 0);
        EXPECT_EQ(bytes(target.begin(), target.begin() + 300 * 50), bytes(300 * 50, static_cast<uint8_t>(value)));
        EXPECT_EQ(bytes(target.begin() + 300 * 50, target.end()), bytes(64, 0xEE));
        EXPECT_EQ(MP_x, value);
        EXPECT_EQ(MP_line, 50 + nr_procs);
    }
}

TEST_P(parallel_memory, without_a_row_there_is_nothing_to_do)
{
    bytes target(64, 0xEE);
    const bytes source(64, 0x11);
    EXPECT_EQ(MP_memcpy(target.data(), source.data(), 64, 0), 0);
    EXPECT_EQ(MP_memset(target.data(), 0x22, 64, 0), 0);
    EXPECT_EQ(target, bytes(64, 0xEE));
    EXPECT_EQ(MP_line, nr_procs);
}

TEST_P(parallel_memory, rows_without_a_byte_are_nothing_to_do_either)
{
    bytes target(64, 0xEE);
    const bytes source(64, 0x11);
    EXPECT_EQ(MP_memcpy(target.data(), source.data(), 0, 64), 0);
    EXPECT_EQ(MP_memset(target.data(), 0x22, 0, 64), 0);
    EXPECT_EQ(target, bytes(64, 0xEE));
}

TEST_P(parallel_memory, with_no_workers_none_is_given_anything_to_do)
{
    static std::atomic<int> runs;
    runs = 0;
    const MP_function before = [](void*) {
        ++runs;
        MP_barrier();
    };
    const int32_t workers = nr_procs;
    for (int32_t i = 0; i < workers; ++i) MP_def_proc_fun(i, before);
    bytes target(64, 0xEE);
    for (const int32_t none : {0, -1}) {
        nr_procs = none;
        const int32_t result = MP_memset(target.data(), 0x22, 64, 1);
        EXPECT_EQ(MP_get_proc_fun(), before);
        EXPECT_EQ(result, 0) << "what the host's run answers";
    }
    nr_procs = workers;
    EXPECT_EQ(runs, 2 * workers);
    EXPECT_EQ(target, bytes(64, 0xEE));
}

TEST_P(parallel_memory, every_worker_gets_its_own_argument)
{
    bytes target(64, 0);
    ASSERT_EQ(MP_memset(target.data(), 1, 64, 1), 0);
    static std::atomic<int> seen;
    seen = 0;
    for (int32_t i = 0; i < nr_procs; ++i) {
        MP_def_proc_fun(i, [](void* args) {
            seen |= 1 << *static_cast<int32_t*>(args);
            MP_barrier();
        });
    }
    ASSERT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(seen, (1 << nr_procs) - 1);
}

INSTANTIATE_TEST_SUITE_P(, parallel_memory, ::testing::Values(1, 2, 4));

}  // namespace
