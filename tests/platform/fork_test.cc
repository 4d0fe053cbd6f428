// A forked child has only the thread that forked. Nothing there may wait for one of the others.
#include "iocache/platform/platform.h"

#include <gtest/gtest.h>

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

#if defined(__SANITIZE_THREAD__)
#define IOCACHE_UNDER_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define IOCACHE_UNDER_TSAN 1
#endif
#endif

namespace {

constexpr unsigned most_seconds = 20;

// Runs the check in a forked child. True when it returned true there; a child that hangs is ended by its alarm.
template <class Check> bool holds_in_child(Check check)
{
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGALRM, SIG_DFL);
        alarm(most_seconds);
        _exit(check() ? 0 : 1);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// A thread like the cache process, that serves posts.
class server {
public:
    ~server()
    {
        platform_break_barrier(place);
        usvsema(bell);
        platform_join(id);
        free_barrier(place);
        usfreesema(bell, nullptr);
    }
    int32_t post() const
    {
        usvsema(bell);
        return barrier(place, 2);
    }

    cv_semaphore* bell = usnewsema(nullptr, 0);
    cv_barrier* place = new_barrier(nullptr);
    int32_t id = sproc(
        [](void* argument) {
            server& mine = *static_cast<server*>(argument);
            do uspsema(mine.bell);
            while (barrier(mine.place, 2) == 0);
        },
        0, this);
};

TEST(forked_child, gets_minus_255_for_its_posts)
{
    server parents;
    ASSERT_EQ(parents.post(), 0);
    EXPECT_TRUE(holds_in_child([&] { return parents.post() == -255 && parents.post() == -255; }));
    EXPECT_EQ(parents.post(), 0);  // the parent goes on as before
}

TEST(forked_child, sees_that_the_barrier_is_broken)
{
    server parents;
    EXPECT_TRUE(holds_in_child([&] { return platform_barrier_broken(parents.place) == 1; }));
    EXPECT_EQ(platform_barrier_broken(parents.place), 0);
}

TEST(forked_child, joins_no_thread_of_its_parent)
{
    server parents;
    EXPECT_TRUE(holds_in_child([&] {
        platform_join(parents.id);
        return true;
    }));
    EXPECT_EQ(parents.post(), 0);
}

TEST(forked_child, is_not_held_by_a_lock_that_another_thread_of_its_parent_had)
{
    struct held {
        cv_lock* lock = _nlock(nullptr);
        cv_semaphore* taken = usnewsema(nullptr, 0);
        cv_semaphore* done = usnewsema(nullptr, 0);
    } shared;
    const int32_t id = sproc(
        [](void* argument) {
            const held& mine = *static_cast<held*>(argument);
            _lock(mine.lock);
            usvsema(mine.taken);
            uspsema(mine.done);
            _ulock(mine.lock);
        },
        0, &shared);
    uspsema(shared.taken);
    EXPECT_TRUE(holds_in_child([&] {
        _lock(shared.lock);
        _ulock(shared.lock);
        return true;
    }));
    usvsema(shared.done);
    platform_join(id);
    _freelock(shared.lock, nullptr);
    usfreesema(shared.taken, nullptr);
    usfreesema(shared.done, nullptr);
}

TEST(forked_child, may_have_objects_and_threads_of_its_own)
{
#ifdef IOCACHE_UNDER_TSAN
    GTEST_SKIP() << "ThreadSanitizer ends a child of a program with threads that starts a thread";
#endif
    server parents;
    EXPECT_TRUE(holds_in_child([] {
        server own;
        return own.post() == 0 && own.post() == 0;
    }));
}

}  // namespace
