// Reading the table in one go: a grid of 16-bit coordinates has few tiles.
#include "tools/reader/slot_table.h"

#include <algorithm>

#include "iocache/canvas/file_layout.h"

namespace iocache::tools {

std::vector<std::int32_t> slot_table::uses(std::int64_t slots) const
{
    std::vector<std::int32_t> counts(static_cast<std::size_t>(std::max<std::int64_t>(slots, 0)));
    for (const std::int32_t slot : entries) {
        if (slot >= 0 && slot < slots) ++counts[static_cast<std::size_t>(slot)];
    }
    return counts;
}

std::int64_t slot_table::largest_below(std::int64_t limit) const
{
    std::int64_t largest = -1;
    for (const std::int32_t slot : entries) {
        if (slot < limit) largest = std::max<std::int64_t>(largest, slot);
    }
    return largest;
}

slot_table read_slot_table(const canvas_file& file, const file_map& map)
{
    constexpr auto entry_bytes = std::int64_t{sizeof(std::int32_t)};
    slot_table table;
    table.entries.assign(static_cast<std::size_t>(map.tiles()), canvas::never_written);
    const std::int64_t there =
        std::clamp<std::int64_t>((file.bytes() - map.table.offset) / entry_bytes, 0, map.tiles());
    table.is_cut_off = there < map.tiles();
    const std::span<std::int32_t> part = std::span(table.entries).first(static_cast<std::size_t>(there));
    file.read_at(map.table.offset, {reinterpret_cast<std::uint8_t*>(part.data()), part.size_bytes()});
    canvas::swap_table(part);
    return table;
}

}  // namespace iocache::tools
