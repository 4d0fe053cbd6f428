// The copy is made whole first and completed then; it is read back by the same reader as any file.
#include "tools/repair/repaired_copy.h"

#include <array>
#include <cstring>

#include "iocache/canvas/file_layout.h"
#include "tools/interrupt.h"
#include "tools/progress.h"
#include "tools/reader/small_images.h"

namespace iocache::tools {

namespace {

// Zeros up to the end of a region: what filled it up may be part of the damage.
void write_region(replacement_file& copy, const file_region& region, std::vector<std::uint8_t> bytes)
{
    bytes.resize(static_cast<std::size_t>(region.bytes));
    copy.write_at(region.offset, bytes);
}

// The pixels of a tile in doubt may be another tile's: nothing of them is taken for a margin.
std::vector<bool> tiles_in_doubt(const repair_plan& plan)
{
    std::vector<bool> in_doubt(plan.entries.size());
    for (const unclear_match& match : plan.unclear) {
        if (match.tile != no_tile) in_doubt[static_cast<std::size_t>(match.tile)] = true;
    }
    return in_doubt;
}

void complete(replacement_file& copy, const repair_plan& plan)
{
    const std::vector<bool> in_doubt = tiles_in_doubt(plan);
    const canvas_file file(copy.working_path());
    const file_map map(file.header());
    const slot_table table = read_slot_table(file, map);
    reduced_builder builder(map);
    progress bar("repair", map.tiles());
    for (std::int64_t tile = 0; tile < map.tiles(); ++tile) {
        check_interrupt();
        bar.advance(1);
        const std::int32_t slot = table.entries[static_cast<std::size_t>(tile)];
        std::vector<std::uint8_t> bytes;
        if (slot >= 0) {
            bytes = read_slot(file, map, slot);
            const bool may_clear = !in_doubt[static_cast<std::size_t>(tile)];
            if (may_clear && clear_margin(map, tile, bytes) > 0) copy.write_at(map.slot_offset(slot), bytes);
        }
        if (builder.is_possible()) builder.take(tile, bytes);
    }
    if (!builder.is_possible()) return;
    if (map.has_reduced()) {
        std::vector<std::uint8_t> image = builder.planes().colour;
        image.insert(image.end(), builder.planes().alpha.begin(), builder.planes().alpha.end());
        write_region(copy, map.reduced, std::move(image));
    }
    std::vector<std::uint8_t> icon = stored_icon_pixels(file, map);
    put_icon(icon, map, builder.planes());
    write_region(copy, map.icon, std::move(icon));
}

}  // namespace

void write_header(replacement_file& copy, const cv_header& header)
{
    std::array<std::uint8_t, canvas::header_bytes> bytes{};
    std::memcpy(bytes.data(), &header, bytes.size());
    canvas::swap_header(bytes);
    copy.write_at(0, bytes);
}

void write_table(replacement_file& copy, const file_map& map, std::vector<std::int32_t> entries)
{
    canvas::swap_table(entries);
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(entries.data());
    write_region(copy, map.table, {bytes, bytes + entries.size() * sizeof(std::int32_t)});
}

void write_repaired(const canvas_file& damaged, const repair_plan& plan, replacement_file& copy)
{
    const file_map map(plan.header);
    const std::int64_t end = map.slot_offset(plan.header.tiles_written);
    copy.copy_from(damaged, end);
    copy.resize(end);
    write_header(copy, plan.header);
    write_table(copy, map, plan.entries);
    complete(copy, plan);
}

}  // namespace iocache::tools
