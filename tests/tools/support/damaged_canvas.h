// A canvas file in memory, to be broken in one place and written back.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/file_reader.h"
#include "tests/tools/support/canvas_reader.h"

namespace tool_tests {

namespace header_field {
inline constexpr std::size_t x_min = 0x000, x_max = 0x002, orig_x_max = 0x00A, image_kind = 0x014;
inline constexpr std::size_t has_subsampled = 0x01C, kind_mark = 0x022, icon_width = 0x024;
inline constexpr std::size_t tile_width = 0x028, tile_height = 0x02A, tiles_across = 0x02C;
inline constexpr std::size_t scale = 0x330, x_offset = 0x338, icon_offset = 0x340, subsampled_offset = 0x344;
inline constexpr std::size_t tile_table_offset = 0x348, tiles_offset = 0x34C, header_bytes = 0x350;
inline constexpr std::size_t icon_bytes = 0x354, subsampled_bytes = 0x358, tile_table_bytes = 0x35C;
inline constexpr std::size_t tile_bytes = 0x360, tiles_written = 0x364, dirty = 0x368, magic = 0x36C;
inline constexpr std::size_t version = 0x370, width = 0x374, height = 0x378, tqcms_bytes = 0x67C, ink_bytes = 0x684;
}  // namespace header_field

class damaged_canvas {
public:
    explicit damaged_canvas(const std::string& path) : bytes(read_bytes(path)) {}

    std::vector<std::uint8_t> bytes;

    [[nodiscard]] std::int32_t number(std::size_t at) const { return iocache_test::int32_at(bytes, at); }
    damaged_canvas& put16(std::size_t at, std::int32_t value)
    {
        iocache_test::put_big_endian(bytes, at, 2, static_cast<std::uint16_t>(value));
        return *this;
    }
    damaged_canvas& put32(std::size_t at, std::int64_t value)
    {
        iocache_test::put_big_endian(bytes, at, 4, static_cast<std::uint32_t>(value));
        return *this;
    }

    [[nodiscard]] std::size_t entry_place(std::size_t tile) const
    {
        return static_cast<std::size_t>(number(header_field::tile_table_offset)) + 4 * tile;
    }
    [[nodiscard]] std::int32_t entry(std::size_t tile) const { return number(entry_place(tile)); }
    damaged_canvas& put_entry(std::size_t tile, std::int32_t slot) { return put32(entry_place(tile), slot); }

    [[nodiscard]] std::int32_t slots() const { return number(header_field::tiles_written); }
    [[nodiscard]] std::size_t slot_place(std::int32_t slot) const
    {
        return static_cast<std::size_t>(number(header_field::tiles_offset)) +
               static_cast<std::size_t>(slot) * static_cast<std::size_t>(number(header_field::tile_bytes));
    }
    // Makes the file end at a slot.
    damaged_canvas& cut_at_slot(std::int32_t slot, std::ptrdiff_t more = 0)
    {
        bytes.resize(static_cast<std::size_t>(static_cast<std::ptrdiff_t>(slot_place(slot)) + more));
        return *this;
    }
    damaged_canvas& fill(std::size_t at, std::size_t count, std::uint8_t value)
    {
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), count, value);
        return *this;
    }
    // Region by its two fields.
    damaged_canvas& fill_region(std::size_t offset_field, std::size_t bytes_field, std::uint8_t value)
    {
        return fill(static_cast<std::size_t>(number(offset_field)), static_cast<std::size_t>(number(bytes_field)),
                    value);
    }
};

}  // namespace tool_tests
