// A host that forks while a header is on its way to a file: the child has no thread that would ever end that write.
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include "tests/cache/forced_test.h"

namespace {

using namespace iocache_test;

class forked_header : public forced_test {};

TEST_P(forked_header, child_may_write_one_itself)
{
    start_with_zones(2);
    const int32_t picture = new_picture("picture", 300, 300);
    const int32_t mask = new_mask("mask", 300, 300);
    std::atomic<bool> is_writing{false};
    std::atomic<bool> may_go_on{false};
    hooks::on_write = [&](int64_t, size_t) {
        is_writing = true;
        wait_for([&] { return may_go_on.load(); });
        return false;
    };
    std::thread other([&] { EXPECT_EQ(cv_tqcms_procname_set(picture, "coated"), 0); });
    ASSERT_TRUE(wait_for([&] { return is_writing.load(); }));
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        may_go_on = true;
        _exit(cv_tqcms_procname_set(mask, "grey") == 0 ? 0 : 1);
    }
    may_go_on = true;
    other.join();
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "hung, or died of signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(text_at(read_whole_file(path("mask")), 0x636, 64), "grey");
}

INSTANTIATE_TEST_SUITE_P(, forked_header, both_modes(), mode_name);

}  // namespace
