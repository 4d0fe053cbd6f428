// What must be there after a power cut: the tiles of the last synchronised close, but for what was written over them
// since; of a conversion or a repair, the file as it was or the finished one.
#ifndef IOCACHE_TESTS_RELIABILITY_POWER_PROMISES_H
#define IOCACHE_TESTS_RELIABILITY_POWER_PROMISES_H

#include <array>

#include "tests/reliability/power/call_log.h"
#include "tests/reliability/power/power_workloads.h"

namespace iocache_test {

// The contents that a tile may have: the promised one, and what was written over it, whole or some of its sectors.
// None: nothing is promised of it.
using tile_versions = std::vector<bytes>;
using expected_tiles = std::array<tile_versions, power_tile_count>;
using stored_tiles = std::array<bytes, power_tile_count>;  // empty: never written

// Whether the file says that it is a canvas.
bool is_canvas(const bytes& file);
// The whole tiles of a file; none when it is no canvas.
stored_tiles tiles_in(const bytes& file);
bool is_made_of(const bytes& tile, const tile_versions& versions);

class promises {
public:
    promises(const power_workload& workload, const call_log& log);

    // What the canvas must show when the power lasts for the calls before `cut`.
    expected_tiles at(size_t cut) const;
    // How many closes have made promises by then.
    size_t closes_before(size_t cut) const;
    // Whether the files are as promised before anybody opens them.
    bool holds_for(const disk& now) const;

private:
    struct close {
        size_t from;
        size_t file;
        bytes contents;
        stored_tiles tiles;
    };
    promise what_;
    bool keeps_original_;
    std::string name_;
    const call_log& log_;
    std::vector<close> closes_;
    stored_tiles final_tiles_;
    bytes original_;

    void add_close(size_t from, const std::string& path);
    void add_rewrites(const close& one, size_t cut, expected_tiles& expected) const;
};

}  // namespace iocache_test

#endif
