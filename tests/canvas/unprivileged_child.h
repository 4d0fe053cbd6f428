// A part of a test in a process of its own that no privilege helps past a file's permissions.
#ifndef IOCACHE_TESTS_CANVAS_UNPRIVILEGED_CHILD_H
#define IOCACHE_TESTS_CANVAS_UNPRIVILEGED_CHILD_H

#include <cstdio>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace iocache_test {

// Runs the body there; its failed expectations fail this test. No thread may run yet.
template <class Body> void as_nobody_special(Body body)
{
    constexpr uid_t nobody = 65'534;
    constexpr int failed = 1;
    constexpr int still_privileged = 2;
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (geteuid() == 0 && (setresgid(nobody, nobody, nobody) != 0 || setresuid(nobody, nobody, nobody) != 0))
            _exit(still_privileged);
        body();
        std::fflush(nullptr);
        _exit(::testing::Test::HasFailure() ? failed : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
    if (WEXITSTATUS(status) == still_privileged) GTEST_SKIP() << "privileges cannot be given up";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "see the failures above";
}

}  // namespace iocache_test

#endif
