// Work on a disk that gets full in the middle of it.
#ifndef IOCACHE_TESTS_RELIABILITY_FULL_DISK_WORKLOADS_H
#define IOCACHE_TESTS_RELIABILITY_FULL_DISK_WORKLOADS_H

#include <functional>
#include <string>
#include <vector>

#include "tests/support/library.h"

namespace iocache_test {

// 3 x 2 tiles without margins, and large enough for a reduced image.
inline constexpr int32_t full_tile_side = 256;
inline constexpr int32_t full_tiles_across = 3;
inline constexpr int32_t full_tiles_down = 2;
inline constexpr int32_t full_tile_count = full_tiles_across * full_tiles_down;
inline constexpr int32_t full_frame = 128;

// What a host does about a call that failed for lack of room outside of a request.
enum class host_answer { makes_room, gives_up };

struct full_disk_work {
    std::string canvas;     // on the small disk
    std::string elsewhere;  // a file on another one
    bool is_picture = true;
    host_answer answer = host_answer::makes_room;
    std::function<bool()> make_room;

    // Does it again once there is room. False: it failed for good.
    bool insist(const std::function<bool()>& call) const;
};

struct full_disk_workload {
    const char* name;
    std::function<void(const full_disk_work&)> prepare;  // with room
    // False when it did not come to its end.
    std::function<bool(const full_disk_work&)> run;
    bool replaces_file = false;  // which stays as it was until the new one is finished
};

const std::vector<full_disk_workload>& full_disk_workloads();

}  // namespace iocache_test

#endif
