// The region of tile memory and its two books: mapped once at start, kept until the next start or the end.

#include <atomic>
#include <cstdlib>

#include "iocache/platform/platform.h"
#include "iocache/setup/setup.h"
#include "iocache/zones/watched_memory.h"
#include "iocache/zones/zones.h"

uint8_t* cv_alloc_adress = nullptr;
int32_t cv_alloc_zones = 0;
int32_t cv_alloc_zones_initial = 0;
uint8_t* cv_alloc_code = nullptr;
uint32_t* cv_alloc_bits = nullptr;

namespace {

using namespace iocache;

constexpr setup::failure no_memory{-256, 999012, "malloc_problem"};

// The first zone, or null: for the cache process, which looks as it starts and has no other business here then.
std::atomic<void*> first_zone = nullptr;

int64_t mapped_bytes = 0;  // of the region at cv_alloc_adress, to give it back at a second start

// A second start in one process takes the place of the first, whose tiles are gone by then.
void release_earlier_region()
{
    first_zone.store(nullptr);
    zones::end_watching();
    if (cv_alloc_adress != nullptr) platform_unmap_region(cv_alloc_adress, mapped_bytes);
    std::free(cv_alloc_code);
    std::free(cv_alloc_bits);
    cv_alloc_adress = nullptr;
    cv_alloc_code = nullptr;
    cv_alloc_bits = nullptr;
}

}  // namespace

void iocache::zones::prepare_first_zone()
{
    if (void* const zone = first_zone.load()) platform::ask_for_memory(zone, zone_bytes);
}

int32_t cv_alloc_init(int64_t size)
{
    release_earlier_region();
    cv_alloc_adress = static_cast<uint8_t*>(platform_map_region(size));
    mapped_bytes = size;

    cv_alloc_zones_initial = static_cast<int32_t>(size / zones::zone_bytes);
    cv_alloc_zones = cv_alloc_zones_initial;
    // One byte more than none, so that a budget below one zone is not mistaken for exhausted memory.
    const int64_t entries = cv_alloc_zones > 0 ? cv_alloc_zones : 1;
    cv_alloc_code = static_cast<uint8_t*>(platform_allocate(entries));
    cv_alloc_bits = static_cast<uint32_t*>(platform_allocate(entries * static_cast<int64_t>(sizeof(uint32_t))));

    if (cv_alloc_adress == nullptr || cv_alloc_code == nullptr || cv_alloc_bits == nullptr) {
        cv_alloc_zones = 0;  // no search may find a zone that is not there; what was allocated stays, as hosts expect
        const int32_t result = setup::fail(no_memory);
        setup::print("%s", no_memory.message);
        setup::kill_host();
        return result;
    }
    zones::begin_watching(size);
    if (cv_alloc_zones > 0) first_zone.store(cv_alloc_adress);
    return 0;
}
