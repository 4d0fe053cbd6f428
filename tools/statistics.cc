// Takes what the library makes public and what the system counts for every process.
#include "tools/statistics.h"

#include <cstdio>
#include <fstream>
#include <iterator>

#include <fmt/format.h>
#include <iocache/iocache.h>

namespace iocache::tools {

namespace {

double mebibytes(std::int64_t bytes)
{
    return static_cast<double>(bytes) / static_cast<double>(mebibyte);
}

// One number of a file of "NAME: NUMBER" lines, or -1.
std::int64_t counted(const char* file, const std::string& name)
{
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name + ":")) return std::stoll(line.substr(name.size() + 1));
    }
    return -1;
}

struct tile_counts {
    std::int64_t in_file = 0;
    std::int64_t in_memory = 0;
};

tile_counts count_tiles(const cv_canvas& record)
{
    tile_counts counts;
    const std::int64_t tiles = std::int64_t{record.tiles_across} * record.tiles_down;
    for (std::int64_t i = 0; i < tiles; ++i) {
        counts.in_file += record.tile_table[i] >= 0 ? 1 : 0;
        counts.in_memory += record.tile_cache[i] != nullptr ? 1 : 0;
    }
    return counts;
}

}  // namespace

void statistics::note_cache(const open_canvas& canvas, const session& running)
{
    if (!wanted_) return;
    // Everything is written and the cache process waits: nothing changes while this looks.
    cv_flush_tiles_keep(canvas.record().index);
    const tile_counts counts = count_tiles(canvas.record());
    const std::int64_t tiles = std::int64_t{canvas.record().tiles_across} * canvas.record().tiles_down;
    cache_ = fmt::format("cache          {:.1f} MiB, {}, {} worker{}\n"
                         "tiles          {} in the grid, {} in the file, {} in memory at the end\n",
                         mebibytes(running.cache_bytes()), cv_access_process == 1 ? "in-line" : "with a cache process",
                         nr_procs, nr_procs == 1 ? "" : "s", tiles, counts.in_file, counts.in_memory);
}

void statistics::print() const
{
    if (!wanted_) return;
    const std::chrono::duration<double> elapsed = clock::now() - start_;
    constexpr std::int64_t kibibyte = 1024;
    fmt::print("{}transfers      {:.1f} MiB read, {:.1f} MiB written\n"
               "peak memory    {:.1f} MiB\n"
               "elapsed        {:.2f} s\n",
               cache_, mebibytes(counted("/proc/self/io", "rchar")), mebibytes(counted("/proc/self/io", "wchar")),
               mebibytes(counted("/proc/self/status", "VmHWM") * kibibyte), elapsed.count());
}

}  // namespace iocache::tools
