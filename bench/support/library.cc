// The library takes its settings from the environment, so that is set first.
#include "bench/support/library.h"

#include <cstdlib>

#include <iocache/iocache.h>
#include <iocache/iocache_host.h>

namespace iocache_bench {

namespace {

// More than any machine has: what the cache then gets is the floor, to the byte.
constexpr const char* memory_left_alone_mib = "2000000";
constexpr int32_t workers_item = 29;
constexpr int32_t largest_side_item = 41;
constexpr int32_t largest_side_units = 33;  // times 1024 pixels: the format's largest canvas is below

void set_environment(const char* name, const std::string& value)
{
    ::setenv(name, value.c_str(), 1);
}

}  // namespace

running_library::running_library(const library_settings& settings)
{
    set_environment("CV_NON_CACHE_MEM", memory_left_alone_mib);
    set_environment("CV_MIN_MAIN_MEM", std::to_string(settings.cache_mib));
    ::unsetenv("TQ_NUMPROC");
    if (settings.how == mode::process) {
        set_environment("CV_CACHE_PROCESS", "1");
    } else {
        ::unsetenv("CV_CACHE_PROCESS");
        set_environment("TQ_NUMPROC", "1");
    }
    iocache_host_set_number(largest_side_item, largest_side_units);
    if (settings.workers > 0) iocache_host_set_number(workers_item, settings.workers);
    cv_master_init();
}

running_library::~running_library()
{
    cv_master_exit();
}

const char* name_of(mode how)
{
    return how == mode::process ? "process" : "in-line";
}

}  // namespace iocache_bench
