// The layout of a canvas file: the only place that knows it. Reading, writing and checking walk these lists.
//
// A file is seven regions, always in this order: header, icon, ink colour definitions, colour-processing table,
// reduced image, tile table, tiles. Each begins where the header says; an empty region takes no room. Numbers stand
// most significant byte first; pixels, the two opaque blocks and texts are bytes and are never swapped.
//
// Depends on nothing but the public header and what the processor can do, so that tools can read files without the
// library's state.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include <iocache/iocache.h>

#include "iocache/platform/wide_loads.h"

namespace iocache::canvas {

inline constexpr int32_t header_bytes = 4096;
inline constexpr std::string_view red_xyz_text = "0.6161  0.3471  0.0368";  // every canvas has it in its first sector
inline constexpr int32_t ink_bytes = 6144;
inline constexpr int32_t tqcms_bytes = 153'600;
inline constexpr int32_t region_unit = 512;  // icon, reduced image and tile table are rounded up to this
inline constexpr int32_t magic_number = 414'141;
inline constexpr int32_t current_version = 32;
inline constexpr int32_t older_version = 1;
inline constexpr int32_t never_written = -1;  // tile table entry of a tile without a slot; reads as zeros
inline constexpr int32_t icon_region_offset = header_bytes;

constexpr int64_t round_up_region(int64_t bytes)
{
    return (bytes + region_unit - 1) / region_unit * region_unit;
}

// One number of the header. Texts are bytes and need no entry.
struct file_field {
    size_t offset;
    size_t bytes;
    std::string_view name;
};

inline constexpr auto header_fields = std::to_array<file_field>({
    {0x000, 2, "x_min"},  // bounds are inclusive; 16 bits are the format's own limit
    {0x002, 2, "x_max"},
    {0x004, 2, "y_min"},
    {0x006, 2, "y_max"},
    {0x008, 2, "orig_x_min"},
    {0x00A, 2, "orig_x_max"},
    {0x00C, 2, "orig_y_min"},
    {0x00E, 2, "orig_y_max"},
    {0x010, 2, "reserved_010"},
    {0x012, 2, "reserved_012"},
    {0x014, 2, "image_kind"},
    {0x016, 2, "reserved_016"},
    {0x018, 2, "reserved_018"},
    {0x01A, 2, "reserved_01a"},
    {0x01C, 2, "has_subsampled"},
    {0x01E, 2, "has_subsampled2"},
    {0x020, 2, "reserved_020"},
    {0x022, 2, "reserved_022"},
    {0x024, 2, "icon_width"},
    {0x026, 2, "icon_height"},
    {0x028, 2, "tile_width"},
    {0x02A, 2, "tile_height"},
    {0x02C, 2, "tiles_across"},
    {0x02E, 2, "tiles_down"},
    {0x0A0, 4, "reserved_0a0"},
    {0x330, 8, "scale"},  // double; 1.0 when there is no reduced image
    {0x338, 4, "x_offset"},
    {0x33C, 4, "y_offset"},
    {0x340, 4, "icon_offset"},
    {0x344, 4, "subsampled_offset"},
    {0x348, 4, "tile_table_offset"},
    {0x34C, 4, "tiles_offset"},
    {0x350, 4, "header_bytes"},
    {0x354, 4, "icon_bytes"},
    {0x358, 4, "subsampled_bytes"},
    {0x35C, 4, "tile_table_bytes"},
    {0x360, 4, "tile_bytes"},
    {0x364, 4, "tiles_written"},  // slots handed out so far; never falls
    {0x368, 4, "dirty"},          // 1 from the first tile write until a clean close
    {0x36C, 4, "magic"},
    {0x370, 4, "version_filetype"},
    {0x374, 4, "width"},
    {0x378, 4, "height"},
    {0x380, 4, "x_size"},
    {0x384, 4, "y_size"},
    {0x388, 4, "x_resolution"},
    {0x38C, 4, "y_resolution"},
    {0x5F0, 4, "reserved_5f0"},
    {0x5F8, 8, "tone_low"},
    {0x600, 8, "tone_mid"},
    {0x608, 8, "tone_high"},
    {0x610, 4, "reserved_610"},
    {0x614, 4, "reserved_614"},
    {0x618, 4, "reserved_618"},
    {0x678, 4, "tqcms_offset"},
    {0x67C, 4, "tqcms_bytes"},
    {0x680, 4, "ink_offset"},
    {0x684, 4, "ink_bytes"},
});

constexpr bool in_order_within(std::span<const file_field> fields, size_t record_bytes)
{
    size_t end = 0;
    for (const file_field& field : fields) {
        if (field.offset < end) return false;
        end = field.offset + field.bytes;
    }
    return end <= record_bytes;
}

static_assert(in_order_within(header_fields, header_bytes), "header fields overlap or leave the record");
static_assert(sizeof(cv_header) == header_bytes);
static_assert(sizeof(cv_geometry) == 72);
static_assert(offsetof(cv_header, image_kind) == 0x014);
static_assert(offsetof(cv_header, tiles_down) == 0x02E);
static_assert(offsetof(cv_header, gamma_text) == 0x030);
static_assert(offsetof(cv_header, red_xyz) == 0x040);
static_assert(offsetof(cv_header, green_xyz) == 0x058);
static_assert(offsetof(cv_header, blue_xyz) == 0x070);
static_assert(offsetof(cv_header, white_xyz) == 0x088);
static_assert(offsetof(cv_header, header_part) == 0x1A4);
static_assert(offsetof(cv_header, host_name) == 0x1E4);
static_assert(offsetof(cv_header, create_user) == 0x204);
static_assert(offsetof(cv_header, create_date) == 0x224);
static_assert(offsetof(cv_header, user) == 0x238);
static_assert(offsetof(cv_header, date) == 0x258);
static_assert(offsetof(cv_header, aspect_tag) == 0x26C);
static_assert(offsetof(cv_header, color_model) == 0x28C);
static_assert(offsetof(cv_header, color_model_letter) == 0x2AC);
static_assert(offsetof(cv_header, scale) == 0x330);
static_assert(offsetof(cv_header, tiles_written) == 0x364);
static_assert(offsetof(cv_header, magic) == 0x36C);
static_assert(offsetof(cv_header, x_unit) == 0x37C);
static_assert(offsetof(cv_header, y_resolution) == 0x38C);
static_assert(offsetof(cv_header, tone_low) == 0x5F8);
static_assert(offsetof(cv_header, tqcms_procname) == 0x636);
static_assert(offsetof(cv_header, ink_bytes) == 0x684);

// Turns the numbers of a header between native and file order, in place; its own inverse.
inline void swap_header(std::span<uint8_t, header_bytes> header)
{
    if constexpr (std::endian::native == std::endian::big) return;
    for (const file_field& field : header_fields) {
        const auto bytes = header.subspan(field.offset, field.bytes);
        for (size_t i = 0, j = bytes.size() - 1; i < j; ++i, --j) std::swap(bytes[i], bytes[j]);
    }
}

// The same for the entries of a tile table.
inline void swap_table(std::span<int32_t> entries)
{
    if constexpr (std::endian::native == std::endian::big) return;
    platform::with_wide_loads([=]() __attribute__((always_inline)) {
        for (int32_t& entry : entries) entry = static_cast<int32_t>(__builtin_bswap32(static_cast<uint32_t>(entry)));
    });
}

}  // namespace iocache::canvas
