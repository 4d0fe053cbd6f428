// What is wrong with a file, before anything it says is used to allocate or to index. All sums are 64 bits wide.

#include <sys/stat.h>

#include <array>
#include <span>
#include <utility>

#include "iocache/canvas/open_checks.h"
#include "iocache/setup/setup.h"

namespace {

using namespace iocache::canvas;

// By canvas number: the file's tile table has an entry that a cut off append left, and no impossible one beside.
std::array<bool, canvas_slots> has_cut_off_append{};

}  // namespace

bool iocache::canvas::sizes_are_sane(const cv_header& header)
{
    const int64_t bytes_per_pixel = header.image_kind != 0 ? 4 : 1;
    const int64_t icon = int64_t{header.icon_width} * header.icon_height * bytes_per_pixel;
    // Which leaves no room for a negative icon_bytes.
    const bool icon_fits = header.icon_width < 0 || header.icon_height < 0 ? false : icon <= header.icon_bytes;
    return icon_fits && header.tile_table_bytes >= 0 && header.subsampled_bytes >= 0 && header.tiles_written >= 0 &&
           header.tiles_offset >= 0 && header.x_max >= header.x_min && header.y_max >= header.y_min &&
           header.tile_height > 0;
}

bool iocache::canvas::table_holds_grid(const cv_canvas& record)
{
    const int64_t entries = record.header->tile_table_bytes / int64_t{sizeof(int32_t)};
    return tile_count(record) <= entries && record.header->tiles_written <= entries;
}

bool iocache::canvas::file_holds_its_tiles(const cv_canvas& record)
{
    struct stat file = {};
    if (stat(record.file_name, &file) != 0) return false;
    const cv_header& header = *record.header;
    return file.st_size >= int64_t{header.tiles_written} * record.tile_bytes + header.tiles_offset;
}

// Only as many entries as there are slots are looked at, as the format has it.
bool iocache::canvas::first_entries_are_slots(const cv_canvas& record)
{
    const int32_t slots = record.header->tiles_written;
    for (const int32_t entry : std::span(record.tile_table, static_cast<size_t>(slots))) {
        if (entry >= slots) return false;
    }
    return true;
}

void iocache::canvas::forget_impossible_entries(cv_canvas& record)
{
    const int32_t slots = record.header->tiles_written;
    bool is_cut_off = false;
    bool is_damaged = false;
    int64_t tile = 0;
    for (int32_t& entry : std::span(record.tile_table, static_cast<size_t>(tile_count(record)))) {
        if (entry < never_written || entry >= slots) {
            setup::print("Canvas %d %s : tile %lld has no valid slot and is taken as never written\n", record.index,
                         record.base_name, static_cast<long long>(tile));
            (entry == slots ? is_cut_off : is_damaged) = true;
            entry = never_written;
        }
        ++tile;
    }
    has_cut_off_append[static_cast<size_t>(record.index)] = is_cut_off && !is_damaged;
}

bool iocache::canvas::take_cut_off_append(const cv_canvas& record)
{
    return std::exchange(has_cut_off_append[static_cast<size_t>(record.index)], false);
}
