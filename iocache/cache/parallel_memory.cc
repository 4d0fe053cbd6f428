// Copies and fills of contiguous rows on all of the host's workers: each claims the next row until none is left. The
// parameters are the host's globals, so two of these must not run at once.

#include <cstring>

#include "iocache/cache/cache.h"

namespace {

// The next row to work on, or false behind the last. MP_line is shared; cnt_lock guards it.
bool claim_row(size_t& row)
{
    MP_set_lock(cnt_lock);
    const auto claimed = static_cast<uint32_t>(MP_line);
    MP_line = static_cast<int32_t>(claimed + 1U);
    MP_unset_lock(cnt_lock);
    row = claimed;
    return claimed < static_cast<uint32_t>(MP_height);
}

void copy_rows(void* /*args*/)
{
    const auto width = static_cast<size_t>(MP_wid);
    for (size_t row = 0; claim_row(row);) std::memcpy(MP_target + row * width, MP_source + row * width, width);
    MP_barrier();
}

void fill_rows(void* /*args*/)
{
    const auto width = static_cast<size_t>(MP_wid);
    for (size_t row = 0; claim_row(row);) std::memset(MP_target + row * width, MP_x, width);
    MP_barrier();
}

int32_t run_on_all_workers(MP_function worker, void* target, int32_t width, int32_t height)
{
    for (int32_t i = 0; i < nr_procs; ++i) {
        MP_def_proc_fun(i, worker);
        MP_def_proc_args(i, &proc_args[i]);
    }
    MP_line = 0;
    MP_target = static_cast<uint8_t*>(target);
    MP_height = height;
    MP_wid = width;
    return MP_run_procs();
}

}  // namespace

int32_t MP_memcpy(void* target, const void* source, int32_t width, int32_t height)
{
    MP_source = static_cast<uint8_t*>(const_cast<void*>(source));  // the host's global is not const; nothing writes
    return run_on_all_workers(copy_rows, target, width, height);
}

int32_t MP_memset(void* target, int32_t value, int32_t width, int32_t height)
{
    MP_x = value;
    return run_on_all_workers(fill_rows, target, width, height);
}
