// Counting transfers, and dying at one.
#include "tests/support/killed_process.h"

#include <csignal>
#include <cstdio>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/real_function.h"

namespace iocache_test::killing {

std::atomic<int> last_transfer{0};
std::atomic<int> transfers_done{0};
moment last_moment = moment::before;
void (*on_transfer)(std::size_t bytes, int number) = nullptr;

void die()
{
    kill(getpid(), SIGKILL);
    for (;;) pause();
}

int run_child(const std::function<void()>& body)
{
    const pid_t child = fork();
    if (child == 0) {
        body();
        last_transfer = 0;  // what the way out writes is nobody's transfer
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

bool was_killed(int status)
{
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

namespace {

auto* real_fwrite()
{
    static auto* const forward = real<decltype(std::fwrite)>("fwrite");
    return forward;
}

}  // namespace

}  // namespace iocache_test::killing

extern "C" size_t fwrite(const void* data, size_t size, size_t count, FILE* stream)
{
    using namespace iocache_test::killing;
    const int last = last_transfer.load();
    if (last == 0 || stream == stdout || stream == stderr) return real_fwrite()(data, size, count, stream);
    const int number = transfers_done.fetch_add(1) + 1;
    if (on_transfer != nullptr) on_transfer(size * count, number);
    const bool is_last = number == last;
    if (is_last && last_moment == moment::before) die();
    if (is_last && last_moment == moment::in_the_middle) {
        real_fwrite()(data, 1, size * count / 2, stream);
        die();
    }
    const size_t written = real_fwrite()(data, size, count, stream);
    if (is_last) die();
    return written;
}
