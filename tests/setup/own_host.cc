#include "tests/setup/own_host.h"

namespace {

int32_t the_lock = 0;

}  // namespace

iocache_test::own_host& iocache_test::the_host()
{
    static own_host host;
    return host;
}

using iocache_test::the_host;

int32_t config_get(int32_t item, const char** text, int32_t* number)
{
    const auto found = the_host().numbers.find(item);
    if (found == the_host().numbers.end()) return -1;
    *text = "";
    *number = found->second;
    return 0;
}

int32_t m_get_numprocs()
{
    return the_host().processors;
}

int32_t MP_set_nr_procs(int32_t count)
{
    the_host().events.push_back("set workers " + std::to_string(count));
    the_host().workers = the_host().granted.value_or(count);
    return the_host().workers;
}

int32_t MP_init()
{
    the_host().events.emplace_back("start workers");
    return the_host().init_result;
}

int32_t MP_get_nr_procs()
{
    return the_host().workers;
}

void MP_def_lock(void** lock)
{
    the_host().events.emplace_back("define lock");
    the_host().lock_defined_at = lock;
    *lock = &the_lock;
}

void MP_free_lock(void* lock)
{
    the_host().events.emplace_back("free lock");
    the_host().lock_freed = lock;
}

void MP_exit()
{
    // Whether the tile access is already down is what the order of the exit is about.
    the_host().events.emplace_back(cv_tile_access_sema == nullptr ? "end workers" : "end workers too early");
}
