// The header against itself.
#include <algorithm>
#include <array>
#include <string_view>

#include <fmt/format.h>

#include "iocache/canvas/file_layout.h"
#include "tools/verify/checks.h"

namespace iocache::tools {

namespace {

constexpr std::int16_t usual_tile_width = 256;

// What a wrong number of the header leads to.
enum class consequence { places, shape, own, nobody };

struct numbers_of {
    consequence leads_to;
    const char* meaning;
    std::vector<std::string_view> fields;
};

const std::array<numbers_of, 4>& groups()
{
    static const std::array<numbers_of, 4> all{{
        {consequence::places,
         "Readers look for pixels, table or icon in the wrong place: the canvas may not open, or show rubbish. "
         "The pixels themselves are where they were.",
         {"icon_offset", "subsampled_offset", "tile_table_offset", "tiles_offset", "icon_bytes", "subsampled_bytes",
          "tile_table_bytes", "tqcms_offset", "tqcms_bytes", "ink_offset", "ink_bytes"}},
        {consequence::shape,
         "The canvas may not open, or open with another size or as the wrong kind.",
         {"x_min", "x_max", "y_min", "y_max", "image_kind", "icon_width", "icon_height", "tile_width", "tile_height",
          "x_offset", "y_offset"}},
        {consequence::own,
         "Opening computes this number anew, so the image is safe; other programs that read it may be misled.",
         {"has_subsampled", "has_subsampled2", "tiles_across", "tiles_down", "scale", "tile_bytes", "header_bytes",
          "width", "height", "orig_x_min", "orig_x_max", "orig_y_min", "orig_y_max"}},
        {consequence::nobody, "Nothing that reads canvases depends on this number.", {"reserved_022"}},
    }};
    return all;
}

std::string text_of(const cv_header& header, const canvas::file_field& field)
{
    if (field.name == "scale") return fmt::format("{:.6g}", header.scale);
    return fmt::format("{}", integer_of(header, field));
}

bool same(const cv_header& one, const cv_header& other, const canvas::file_field& field)
{
    const auto* const a = reinterpret_cast<const std::uint8_t*>(&one) + field.offset;
    const auto* const b = reinterpret_cast<const std::uint8_t*>(&other) + field.offset;
    return std::equal(a, a + field.bytes, b);
}

void check_numbers(const cv_header& found, const cv_header& sound, std::vector<finding>& findings)
{
    for (const numbers_of& group : groups()) {
        for (const canvas::file_field& field : canvas::header_fields) {
            if (std::ranges::find(group.fields, field.name) == group.fields.end() || same(found, sound, field))
                continue;
            findings.push_back({weight::damage, fmt::format("header-{}", field.name),
                                fmt::format("the header's {} is {} and ought to be {}", field.name,
                                            text_of(found, field), text_of(sound, field)),
                                group.meaning});
        }
    }
}

void check_regions(const canvas_file& file, const cv_header& sound, std::vector<finding>& findings)
{
    const file_map map(sound);
    for (const file_region& region : {map.icon, map.ink, map.tqcms, map.reduced, map.table}) {
        const std::int64_t end = region.offset + region.bytes;
        if (region.bytes == 0 || end <= file.bytes()) continue;
        findings.push_back({weight::damage, "region-cut-off",
                            fmt::format("the file ends before the end of its {}", region.name),
                            "Something cut the file off. What stood behind the end is gone.", end - file.bytes()});
    }
}

}  // namespace

void check_header(const canvas_file& file, const sound_header& sound, std::vector<finding>& findings)
{
    const cv_header& found = file.header();
    if (sound.state == header_state::no_bounds) {
        findings.push_back(
            {weight::damage, "no-bounds",
             fmt::format("the bounds x {}..{}, y {}..{} contradict the size {} x {} and their own copies", found.x_min,
                         found.x_max, found.y_min, found.y_max, found.width, found.height),
             "Nothing in the file tells how large the image is, so it cannot be repaired without being "
             "told. A canvas wider or higher than 32767 pixels that was written this way never opened."});
        return;
    }
    if (sound.state == header_state::not_a_grid) {
        findings.push_back({weight::damage, "no-grid", "the bounds and offsets make no tile grid",
                            "It cannot be told which tile belongs where, and the canvas does not open."});
        return;
    }
    check_numbers(found, sound.header, findings);
    check_regions(file, sound.header, findings);
    if (found.dirty != 0) {
        findings.push_back({weight::damage, "not-closed", "the canvas was written to and not closed",
                            "The program that painted it ended early, or still has it open. Tiles that reached the "
                            "file are there; opening makes the reduced image and the icon again."});
    }
    if (sound.header.tile_width != usual_tile_width) {
        findings.push_back({weight::notice, "unusual-tiles",
                            fmt::format("tiles are {} pixels wide", sound.header.tile_width),
                            "Only programs configured for this tile size open the canvas."});
    }
}

}  // namespace iocache::tools
