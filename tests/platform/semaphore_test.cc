// Semaphores: what is posted is counted, and nobody who waits for it sleeps on.
#include "iocache/platform/platform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

class semaphore : public testing::Test {
protected:
    void use(int32_t count)
    {
        usfreesema(sema, nullptr);
        sema = usnewsema(nullptr, count);
        ASSERT_NE(sema, nullptr);
    }
    ~semaphore() override { usfreesema(sema, nullptr); }

    cv_semaphore* sema = nullptr;
};

TEST_F(semaphore, starts_with_its_count)
{
    use(3);
    EXPECT_EQ(ustestsema(sema), 3);
}

TEST_F(semaphore, counts_what_is_posted_and_taken)
{
    use(0);
    EXPECT_EQ(usvsema(sema), 0);
    EXPECT_EQ(usvsema(sema), 0);
    EXPECT_EQ(ustestsema(sema), 2);
    EXPECT_EQ(uspsema(sema), 0);
    EXPECT_EQ(ustestsema(sema), 1);
}

TEST_F(semaphore, holds_a_waiter_until_a_post)
{
    use(0);
    std::atomic<bool> passed{false};
    std::thread waiter{[&] {
        uspsema(sema);
        passed = true;
    }};
    std::this_thread::sleep_for(20ms);  // longer than it spins: the post has to wake a sleeper
    EXPECT_FALSE(passed);
    usvsema(sema);
    waiter.join();
    EXPECT_TRUE(passed);
    EXPECT_EQ(ustestsema(sema), 0);
}

TEST_F(semaphore, wakes_as_many_sleepers_as_posts)
{
    use(0);
    constexpr int waiters = 5;
    std::atomic<int> passed{0};
    std::vector<std::thread> threads(waiters);
    for (std::thread& thread : threads) {
        thread = std::thread{[&] {
            uspsema(sema);
            ++passed;
        }};
    }
    std::this_thread::sleep_for(20ms);
    for (int i = 0; i < waiters - 1; ++i) usvsema(sema);
    while (passed < waiters - 1) std::this_thread::yield();
    std::this_thread::sleep_for(10ms);
    EXPECT_EQ(passed, waiters - 1);
    usvsema(sema);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(passed, waiters);
}

TEST_F(semaphore, loses_nothing_between_many_threads)
{
    use(0);
    constexpr int pairs = 3;
    constexpr int rounds = 20000;
    std::vector<std::thread> threads;
    for (int pair = 0; pair < pairs; ++pair) {
        threads.emplace_back([&] {
            for (int i = 0; i < rounds; ++i) usvsema(sema);
        });
        threads.emplace_back([&] {
            for (int i = 0; i < rounds; ++i) uspsema(sema);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(ustestsema(sema), 0);
}

TEST_F(semaphore, makes_what_was_written_before_the_post_visible)
{
    use(0);
    constexpr int rounds = 20000;
    int written = 0;  // plain: the semaphores alone order the accesses
    cv_semaphore* const answer = usnewsema(nullptr, 0);
    std::thread reader{[&] {
        for (int i = 1; i <= rounds; ++i) {
            uspsema(sema);
            ASSERT_EQ(written, i);
            usvsema(answer);
        }
    }};
    for (int i = 1; i <= rounds; ++i) {
        written = i;
        usvsema(sema);
        uspsema(answer);
    }
    reader.join();
    usfreesema(answer, nullptr);
}

TEST_F(semaphore, of_null_is_harmless)
{
    EXPECT_EQ(uspsema(nullptr), 0);
    EXPECT_EQ(usvsema(nullptr), 0);
    EXPECT_EQ(ustestsema(nullptr), 0);
}

}  // namespace
