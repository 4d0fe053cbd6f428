// Canvas records that a quick exit left, or an orderly one could not close.
#ifndef IOCACHE_TESTS_SETUP_LEFT_RECORDS_H
#define IOCACHE_TESTS_SETUP_LEFT_RECORDS_H

#include <vector>

#include <iocache/iocache.h>

namespace iocache_test {

// To be called after the exit. The library never frees such records, because a host may still look at them; here they
// are kept, so that a search for lost memory finds the real losses only.
inline void keep_left_records()
{
    static auto& records = *new std::vector<cv_canvas*>;  // never destroyed: the search comes last
    for (int32_t slot = 0; slot < 50; ++slot) {
        if (canvastable[slot] == nullptr) continue;
        canvas_close_file(slot);
        records.push_back(canvastable[slot]);
    }
}

}  // namespace iocache_test

#endif
