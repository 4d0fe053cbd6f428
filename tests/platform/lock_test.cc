// Locks: one thread at a time, also when they are contended and their holder sleeps.
#include "iocache/platform/platform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

class arena_lock : public testing::Test {
protected:
    ~arena_lock() override { _freelock(lock, nullptr); }

    cv_lock* lock = _nlock(nullptr);
};

TEST_F(arena_lock, lets_one_thread_in_at_a_time)
{
    constexpr int threads_at_once = 4;
    constexpr int rounds = 50000;
    int counter = 0;  // plain: the lock alone guards it
    std::vector<std::thread> threads(threads_at_once);
    for (std::thread& thread : threads) {
        thread = std::thread{[&] {
            for (int round = 0; round < rounds; ++round) {
                _lock(lock);
                ++counter;
                _ulock(lock);
            }
        }};
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter, threads_at_once * rounds);
}

TEST_F(arena_lock, wakes_everyone_who_fell_asleep_over_it)
{
    constexpr int waiters = 4;
    int counter = 0;
    std::vector<std::thread> threads(waiters);
    _lock(lock);
    for (std::thread& thread : threads) {
        thread = std::thread{[&] {
            _lock(lock);
            ++counter;
            _ulock(lock);
        }};
    }
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(counter, 0);
    _ulock(lock);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter, waiters);
}

TEST_F(arena_lock, is_free_again_after_each_use)
{
    constexpr int rounds = 1000000;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < rounds; ++i) {
        _lock(lock);
        _ulock(lock);
    }
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    RecordProperty("nanoseconds_per_pair", static_cast<int>(taken.count() / rounds));
    std::printf("lock and unlock: %.1f ns\n", taken.count() / rounds);
    // Another thread finds it free.
    std::thread{[&] {
        _lock(lock);
        _ulock(lock);
    }}.join();
}

TEST_F(arena_lock, of_null_is_harmless)
{
    _lock(nullptr);
    _ulock(nullptr);
    _freelock(nullptr, nullptr);
}

TEST(arena_locks, may_go_in_any_order)
{
    cv_lock* const first = _nlock(nullptr);
    cv_lock* const second = _nlock(nullptr);
    cv_lock* const third = _nlock(nullptr);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    ASSERT_NE(third, nullptr);
    _freelock(second, nullptr);
    _freelock(third, nullptr);
    _lock(first);
    _ulock(first);
    _freelock(first, nullptr);
}

}  // namespace
