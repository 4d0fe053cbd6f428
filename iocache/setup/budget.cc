// How much memory the tile cache may use: the machine's, less what the host keeps, but never below a floor.

#include <cstdlib>

#include "iocache/platform/platform.h"
#include "iocache/setup/setup.h"

int32_t total_main_memory = 0;
int32_t decr_main_memory = 0;
int64_t max_size_tiles = 0;

namespace {

using namespace iocache;

constexpr int64_t mebibyte = 1'048'576;
constexpr int32_t memory_class = 3;  // inventory class and type of the main-memory record
constexpr int32_t main_memory_type = 1;
constexpr int32_t shared_buffer_mebibytes = 5;  // added when the host has its large shared buffer
constexpr int32_t kept_memory_item = 49;
constexpr int32_t default_kept_mebibytes = 32;
constexpr int32_t default_floor_mebibytes = 20;

int32_t from_environment(const char* name, int32_t otherwise)
{
    const char* const text = std::getenv(name);
    return text != nullptr ? std::atoi(text) : otherwise;  // text without a number counts as 0
}

// The 1 is added even to an exact number of MiB; of several records the last counts. 0 without a record.
int32_t machine_mebibytes()
{
    int32_t mebibytes = 0;
    setinvent();
    while (const cv_inventory* const record = getinvent()) {
        if (record->inv_class == memory_class && record->inv_type == main_memory_type)
            mebibytes = static_cast<int32_t>(record->inv_state / mebibyte) + 1;
    }
    endinvent();
    return mebibytes;
}

}  // namespace

int64_t iocache::setup::measure_budget()
{
    total_main_memory = machine_mebibytes();
    if (Zbuf != nullptr) total_main_memory += shared_buffer_mebibytes;

    decr_main_memory = configured_number(kept_memory_item, default_kept_mebibytes);
    decr_main_memory = from_environment("CV_NON_CACHE_MEM", decr_main_memory);
    const int64_t floor_bytes = from_environment("CV_MIN_MAIN_MEM", default_floor_mebibytes) * mebibyte;

    const int64_t budget = (int64_t{total_main_memory} - decr_main_memory) * mebibyte;
    return budget <= floor_bytes ? floor_bytes : budget;
}
