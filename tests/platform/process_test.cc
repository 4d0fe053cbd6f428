// Threads that share everything with the caller: no signal reaches them, and only they are joined.
#include "iocache/platform/platform.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <pthread.h>

namespace {

using namespace std::chrono_literals;

TEST(sproc, runs_the_entry_with_its_argument)
{
    int value = 0;
    const int32_t id = sproc([](void* argument) { *static_cast<int*>(argument) = 42; }, 0xffffff, &value);
    ASSERT_GT(id, 0);
    platform_join(id);
    EXPECT_EQ(value, 42);
}

TEST(sproc, blocks_every_signal_in_the_thread_and_none_in_the_caller)
{
    struct masks {
        sigset_t in_thread;
        std::array<char, 16> name;
    } seen{};
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    const int32_t id = sproc(
        [](void* argument) {
            masks& mine = *static_cast<masks*>(argument);
            pthread_sigmask(SIG_SETMASK, nullptr, &mine.in_thread);
            pthread_getname_np(pthread_self(), mine.name.data(), mine.name.size());
        },
        0xffffff, &seen);
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    platform_join(id);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGALRM, SIGUSR1, SIGPIPE, SIGSEGV}) {
        EXPECT_EQ(sigismember(&seen.in_thread, signal), 1) << "signal " << signal;
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << "signal " << signal;
    }
    EXPECT_EQ(std::string{seen.name.data()}, "iocache");
}

TEST(sproc, gives_every_thread_an_id_of_its_own)
{
    constexpr int rounds = 100;
    int32_t last = 0;
    for (int i = 0; i < rounds; ++i) {
        const int32_t id = sproc([](void*) {}, 0, nullptr);
        ASSERT_GT(id, last);
        platform_join(id);
        last = id;
    }
}

TEST(sproc, fails_with_errno_when_there_are_too_many_threads)
{
    std::vector<int32_t> ids;
    cv_semaphore* const end = usnewsema(nullptr, 0);
    errno = 0;
    for (;;) {
        const int32_t id = sproc([](void* wait_for) { uspsema(static_cast<cv_semaphore*>(wait_for)); }, 0, end);
        if (id < 0) break;
        ids.push_back(id);
        ASSERT_LT(ids.size(), 1000U);
    }
    EXPECT_EQ(errno, EAGAIN);
    for (std::size_t i = 0; i < ids.size(); ++i) usvsema(end);
    for (const int32_t id : ids) platform_join(id);
    const int32_t again = sproc([](void*) {}, 0, nullptr);
    EXPECT_GT(again, 0);
    platform_join(again);
    usfreesema(end, nullptr);
}

TEST(sproc, fails_without_an_entry)
{
    errno = 0;
    EXPECT_EQ(sproc(nullptr, 0, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST(platform_join, waits_for_the_end_of_the_thread)
{
    std::atomic<bool> ended{false};
    const int32_t id = sproc(
        [](void* argument) {
            std::this_thread::sleep_for(20ms);
            *static_cast<std::atomic<bool>*>(argument) = true;
        },
        0, &ended);
    platform_join(id);
    EXPECT_TRUE(ended);
}

TEST(platform_join, does_nothing_for_ids_that_it_does_not_know)
{
    platform_join(0);
    platform_join(-1);
    platform_join(123456);
    const int32_t id = sproc([](void*) {}, 0, nullptr);
    platform_join(id);
    platform_join(id);  // a second time: returns at once
}

TEST(platform_join, lets_go_of_the_thread_that_calls_it_itself)
{
    struct order {
        cv_semaphore* go = usnewsema(nullptr, 0);
        std::atomic<int32_t> id{0};
        std::atomic<bool> passed{false};
    } mine;
    mine.id = sproc(
        [](void* argument) {
            order& given = *static_cast<order*>(argument);
            uspsema(given.go);
            platform_join(given.id);
            given.passed = true;
        },
        0, &mine);
    usvsema(mine.go);
    while (!mine.passed) std::this_thread::yield();
    usfreesema(mine.go, nullptr);
}

}  // namespace
