// A child process that a file's permissions bind, also when the tests run as root. To be made before the library starts:
// only the forking thread lives on in it.
#ifndef IOCACHE_TESTS_FILES_UNPRIVILEGED_H
#define IOCACHE_TESTS_FILES_UNPRIVILEGED_H

#include <cstdio>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace iocache_test {

// Runs the action there; its failures are printed and fail the test here.
template <class Action> void run_unprivileged(Action action)
{
    constexpr uid_t nobody = 65'534;
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (geteuid() == 0 && setresuid(nobody, nobody, nobody) != 0) _exit(2);
        action();
        std::fflush(nullptr);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0) << "see the failures above";
}

}  // namespace iocache_test

#endif
