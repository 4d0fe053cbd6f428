// Barriers: parties meet again and again, and a broken barrier holds nobody.
#include "iocache/platform/platform.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

// Longer than a party spins, so that it sleeps by then.
constexpr auto long_enough_to_sleep = 20ms;

class meeting : public testing::Test {
protected:
    ~meeting() override { free_barrier(place); }

    cv_barrier* place = new_barrier(nullptr);
};

TEST_F(meeting, of_one_party_takes_place_at_once)
{
    EXPECT_EQ(barrier(place, 1), 0);
    EXPECT_EQ(barrier(place, 1), 0);
}

TEST_F(meeting, of_two_takes_place_in_every_round)
{
    constexpr int rounds = 50000;
    std::array<int, 2> done{};  // plain: the barrier alone orders the accesses
    const auto take_part = [&](std::size_t me) {
        for (int round = 1; round <= rounds; ++round) {
            done[me] = round;
            ASSERT_EQ(barrier(place, 2), 0);
            ASSERT_EQ(done[1 - me], round);
            ASSERT_EQ(barrier(place, 2), 0);
        }
    };
    std::thread other{take_part, 1};
    take_part(0);
    other.join();
}

TEST_F(meeting, of_five_takes_place_in_every_round)
{
    constexpr int parties = 5;
    constexpr int rounds = 500;
    std::atomic<int> arrivals{0};
    std::vector<std::thread> threads(parties);
    for (std::thread& thread : threads) {
        thread = std::thread{[&] {
            for (int round = 1; round <= rounds; ++round) {
                ++arrivals;
                ASSERT_EQ(barrier(place, parties), 0);
                ASSERT_GE(arrivals, round * parties);
            }
        }};
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(arrivals, parties * rounds);
}

TEST_F(meeting, wakes_a_party_that_has_gone_to_sleep)
{
    std::atomic<bool> met{false};
    std::thread early{[&] {
        EXPECT_EQ(barrier(place, 2), 0);
        met = true;
    }};
    std::this_thread::sleep_for(long_enough_to_sleep);
    EXPECT_FALSE(met);
    EXPECT_EQ(barrier(place, 2), 0);
    early.join();
    EXPECT_TRUE(met);
}

TEST_F(meeting, that_cannot_take_place_any_more_releases_all_who_wait)
{
    constexpr int waiters = 3;
    std::atomic<int> refused{0};
    std::vector<std::thread> threads(waiters);
    for (std::thread& thread : threads) {
        thread = std::thread{[&] { refused += barrier(place, waiters + 1) == -255; }};
    }
    std::this_thread::sleep_for(long_enough_to_sleep);
    EXPECT_EQ(refused, 0);
    platform_break_barrier(place);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(refused, waiters);
}

TEST_F(meeting, is_refused_for_good_once_the_barrier_is_broken)
{
    EXPECT_EQ(platform_barrier_broken(place), 0);
    platform_break_barrier(place);
    EXPECT_EQ(platform_barrier_broken(place), 1);
    EXPECT_EQ(barrier(place, 2), -255);
    EXPECT_EQ(barrier(place, 2), -255);
    EXPECT_EQ(barrier(place, 1), -255);
}

// Both parties of a meeting agree on whether it took place, whenever the barrier breaks.
TEST_F(meeting, counts_for_both_or_for_none_when_the_barrier_breaks)
{
    constexpr int trials = 300;
    int complete = 0;
    for (int trial = 0; trial < trials; ++trial) {
        cv_barrier* const breaking = new_barrier(nullptr);
        std::array<int, 2> met{};
        const auto take_part = [&](std::size_t me) {
            while (barrier(breaking, 2) == 0) ++met[me];
        };
        std::thread first{take_part, 0};
        std::thread second{take_part, 1};
        for (int i = 0; i < trial % 50; ++i) std::this_thread::yield();
        platform_break_barrier(breaking);
        first.join();
        second.join();
        ASSERT_EQ(met[0], met[1]) << "trial " << trial;
        complete += met[0];
        free_barrier(breaking);
    }
    EXPECT_GT(complete, 0);
}

TEST_F(meeting, is_refused_for_more_parties_than_a_barrier_holds)
{
    EXPECT_EQ(barrier(place, most_barrier_parties + 1), -255);
    EXPECT_EQ(platform_barrier_broken(place), 0);
}

TEST_F(meeting, is_refused_without_a_barrier)
{
    EXPECT_EQ(barrier(nullptr, 2), -255);
    EXPECT_EQ(platform_barrier_broken(nullptr), 1);
    platform_break_barrier(nullptr);
    free_barrier(nullptr);
}

}  // namespace
