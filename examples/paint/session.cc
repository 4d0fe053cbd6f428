#include "session.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>

#include <iocache/iocache.h>
#include <iocache/iocache_host.h>

namespace {

constexpr int32_t workers_item = 29;
constexpr int32_t largest_side_item = 41;
constexpr int32_t largest_side = 32;  // times 1024: the bounds of a file are 16 bits wide

std::mutex message_guard;
std::string message;

void remember(const char* text)
{
    std::fprintf(stderr, "paint: %s\n", text);
    const std::lock_guard held(message_guard);
    message = text;
}

// The library takes the machine's memory less what is kept out, but never less than a floor. With more kept out than
// any machine has, the floor is the budget.
void set_cache_size(int32_t mebibytes)
{
    setenv("CV_NON_CACHE_MEM", "100000000", 1);
    setenv("CV_MIN_MAIN_MEM", std::to_string(mebibytes).c_str(), 1);
}

// Requests run in the caller when there is one worker and nobody asks for the cache process.
void set_mode(paint::cache_mode mode)
{
    if (mode == paint::cache_mode::process) {
        setenv("CV_CACHE_PROCESS", "1", 1);
        return;
    }
    unsetenv("CV_CACHE_PROCESS");
    unsetenv("TQ_NUMPROC");
    iocache_host_set_number(workers_item, 1);
}

}  // namespace

paint::session::session(int32_t cache_mebibytes, cache_mode mode)
{
    iocache_host_on_message(remember);
    iocache_host_set_number(largest_side_item, largest_side);
    set_cache_size(cache_mebibytes);
    set_mode(mode);
    cv_master_init();
}

paint::session::~session()
{
    cv_master_exit();
    iocache_host_on_message(nullptr);
}

std::string paint::last_message()
{
    const std::lock_guard held(message_guard);
    return message;
}
