// Where several numbers say the same, the ones that agree are believed.
#include "tools/reader/sound_header.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <limits>

#include "iocache/canvas/file_layout.h"
#include "tools/reader/file_map.h"
#include "tools/reader/slot_table.h"

namespace iocache::tools {

namespace {

constexpr std::int16_t picture_kind = 3;
constexpr std::int16_t picture_mark = 64;  // a word that repeats the kind
constexpr std::int16_t standard_tile = 256;
constexpr std::int16_t standard_icon = 100;
constexpr std::int32_t standard_frame = 1024;
constexpr std::int64_t most_entries = std::int64_t{1} << 28;

std::int64_t whole_pixel_bytes(bool picture)
{
    return picture ? 5 : 1;
}

bool fits_field(std::int64_t value)
{
    return value >= 0 && value <= std::numeric_limits<std::int32_t>::max();
}

// Four places tell a picture from a mask. Three of them are 0 in a mask, and where a disk has lost a sector; so where they
// stand against each other, the size of a tile decides, which is never 0.
bool says_picture(const cv_header& found)
{
    const std::int64_t told = std::int64_t{found.tile_width} * found.tile_height;
    const std::int64_t pixels = told > 0 ? told : std::int64_t{standard_tile} * standard_tile;
    const int size_says = found.tile_bytes == pixels                             ? -1
                          : found.tile_bytes == pixels * whole_pixel_bytes(true) ? 1
                                                                                 : 0;
    int votes = size_says;
    votes += found.image_kind != 0 ? 1 : -1;
    votes += found.reserved_022 != 0 ? 1 : -1;
    votes += found.ink_bytes != 0 && found.tqcms_bytes != 0 ? 1 : -1;
    if (votes != 0) return votes > 0;
    return size_says != 0 ? size_says > 0 : found.image_kind != 0;
}

void set_kind(cv_header& header, bool picture)
{
    // Readers take any value but 0 for a picture.
    if (!picture) header.image_kind = 0;
    if (picture && header.image_kind == 0) header.image_kind = picture_kind;
    if ((header.reserved_022 != 0) != picture) header.reserved_022 = picture ? picture_mark : std::int16_t{0};
    header.ink_bytes = picture ? canvas::ink_bytes : 0;
    header.tqcms_bytes = picture ? canvas::tqcms_bytes : 0;
}

// All bounds and the count of tiles are 0, as where a disk has lost a sector, and the length says more than one pixel.
bool bounds_are_lost(const cv_header& found)
{
    const auto is_zero = [](std::int16_t value) { return value == 0; };
    const std::initializer_list<std::int16_t> lost = {
        found.x_min,      found.x_max,      found.y_min,      found.y_max,        found.orig_x_min,
        found.orig_x_max, found.orig_y_min, found.orig_y_max, found.tiles_across, found.tiles_down};
    return std::ranges::all_of(lost, is_zero) && (found.width > 1 || found.height > 1);
}

// A grid without an offset begins at 0, and so does the image. One with an offset does not tell where.
bool bring_bounds_back(cv_header& header)
{
    constexpr std::int32_t most = std::numeric_limits<std::int16_t>::max() + 1;
    const auto is_length = [](std::int32_t length) { return length >= 1 && length <= most; };
    if (header.x_offset != 0 || header.y_offset != 0 || !is_length(header.width) || !is_length(header.height))
        return false;
    header.x_max = header.orig_x_max = static_cast<std::int16_t>(header.width - 1);
    header.y_max = header.orig_y_max = static_cast<std::int16_t>(header.height - 1);
    return true;
}

// One direction: two pairs of bounds and a length. False when no two of them agree.
bool settle_bounds(std::int16_t& low, std::int16_t& high, std::int16_t& low_copy, std::int16_t& high_copy,
                   std::int32_t& length)
{
    const std::int64_t own = std::int64_t{high} - low + 1;
    const std::int64_t copied = std::int64_t{high_copy} - low_copy + 1;
    const bool same = low == low_copy && high == high_copy;
    if (own >= 1 && (same || own == length)) {
        low_copy = low;
        high_copy = high;
    } else if (copied >= 1 && copied == length) {
        low = low_copy;
        high = high_copy;
    } else {
        return false;
    }
    length = high - low + 1;
    return true;
}

void settle_tile_size(cv_header& header, std::int64_t pixel_bytes)
{
    const auto bytes = [&] { return std::int64_t{header.tile_width} * header.tile_height * pixel_bytes; };
    const bool positive = header.tile_width > 0 && header.tile_height > 0;
    const bool standard = std::int64_t{standard_tile} * standard_tile * pixel_bytes == header.tile_bytes;
    if (!positive || (bytes() != header.tile_bytes && standard) || !fits_field(bytes())) {
        header.tile_width = standard_tile;
        header.tile_height = standard_tile;
    }
    header.tile_bytes = static_cast<std::int32_t>(bytes());
}

void settle_icon_size(cv_header& header, std::int64_t colour_bytes)
{
    const auto bytes = [&] {
        return canvas::round_up_region(std::int64_t{header.icon_width} * header.icon_height * colour_bytes);
    };
    constexpr std::int64_t standard = std::int64_t{standard_icon} * standard_icon;
    const bool usable = header.icon_width >= 0 && header.icon_height >= 0 && fits_field(bytes());
    const bool is_standard = canvas::round_up_region(standard * colour_bytes) == header.icon_bytes;
    if (!usable || (bytes() != header.icon_bytes && is_standard)) {
        header.icon_width = standard_icon;
        header.icon_height = standard_icon;
    }
    header.icon_bytes = static_cast<std::int32_t>(bytes());
}

// The grid's offset has no copy. One that contradicts both the tile count and the table is taken for 0 if that fits.
void settle_offset(std::int32_t& offset, std::int32_t length, std::int16_t tile, std::int32_t stored_tiles)
{
    const auto count = [&](std::int64_t at) { return ((std::int64_t{length} - 1 + at) >> tile_shift(tile)) + 1; };
    if (count(offset) != stored_tiles && count(0) == stored_tiles) offset = 0;
}

bool settle_grid(cv_header& header)
{
    const std::int64_t table_entries = header.tile_table_bytes / std::int64_t{sizeof(std::int32_t)};
    const file_map before(header);
    if (before.tiles() < 1 || before.tiles() > table_entries) {
        settle_offset(header.x_offset, header.width, header.tile_width, header.tiles_across);
        settle_offset(header.y_offset, header.height, header.tile_height, header.tiles_down);
    }
    const file_map map(header);
    constexpr std::int64_t most_tiles = std::numeric_limits<std::int16_t>::max();
    if (map.tiles() < 1 || map.across > most_tiles || map.down > most_tiles || map.tiles() > most_entries) return false;
    header.tiles_across = static_cast<std::int16_t>(map.across);
    header.tiles_down = static_cast<std::int16_t>(map.down);
    header.tile_table_bytes =
        static_cast<std::int32_t>(canvas::round_up_region(map.tiles() * std::int64_t{sizeof(std::int32_t)}));
    return true;
}

std::int64_t reduced_bytes(const cv_header& header)
{
    const file_map map(header);
    return canvas::round_up_region(map.reduced_width * map.reduced_height *
                                   whole_pixel_bytes(map.kind == canvas_kind::picture));
}

// Believes the stored scale when the stored size agrees with it; else the standard frame decides.
void settle_reduced(cv_header& header)
{
    const bool has_own_scale = std::isfinite(header.scale) && header.scale > 1.0 && header.subsampled_bytes > 0 &&
                               reduced_bytes(header) == header.subsampled_bytes;
    const bool has_none = header.scale == 1.0 && header.subsampled_bytes == 0;
    if (!has_own_scale && !has_none) {
        header.scale = std::max({1.0, static_cast<double>(header.width) / standard_frame,
                                 static_cast<double>(header.height) / standard_frame});
    }
    const bool present = header.scale > 1.0;
    header.has_subsampled = header.has_subsampled2 = present ? 1 : 0;
    header.subsampled_bytes = present ? static_cast<std::int32_t>(reduced_bytes(header)) : 0;
}

void chain_regions(cv_header& header)
{
    header.header_bytes = canvas::header_bytes;
    header.icon_offset = canvas::icon_region_offset;
    header.ink_offset = header.icon_offset + header.icon_bytes;
    header.tqcms_offset = header.ink_offset + header.ink_bytes;
    header.subsampled_offset = header.tqcms_offset + header.tqcms_bytes;
    header.tile_table_offset = header.subsampled_offset + header.subsampled_bytes;
    header.tiles_offset = header.tile_table_offset + header.tile_table_bytes;
}

// How many entries of the table at that place make no sense.
std::int64_t nonsense_entries(const canvas_file& file, const cv_header& layout)
{
    const file_map map(layout);
    if (map.table.offset < canvas::header_bytes || map.tiles_offset < canvas::header_bytes) return map.tiles();
    const slot_table table = read_slot_table(file, map);
    const std::int64_t slots = map.slots_begun(file.bytes());
    const std::vector<std::int32_t> uses = table.uses(slots);
    std::int64_t nonsense = table.is_cut_off ? map.tiles() : 0;
    for (const std::int32_t slot : table.entries) {
        const bool named_once = slot >= 0 && slot < slots && uses[static_cast<std::size_t>(slot)] == 1;
        if (slot != canvas::never_written && !named_once) ++nonsense;
    }
    return nonsense;
}

// Regions in order, none inside another, each large enough for what it holds.
bool is_workable(const cv_header& layout, const cv_header& least)
{
    std::int64_t end = canvas::header_bytes;
    for (const file_region& region : {file_map(layout).icon, file_map(layout).ink, file_map(layout).tqcms,
                                      file_map(layout).reduced, file_map(layout).table}) {
        if (region.bytes < 0 || (region.bytes > 0 && region.offset < end)) return false;
        if (region.bytes > 0) end = region.offset + region.bytes;
    }
    return end <= layout.tiles_offset && layout.icon_bytes >= least.icon_bytes &&
           layout.tile_table_bytes >= least.tile_table_bytes && layout.ink_bytes == least.ink_bytes &&
           layout.tqcms_bytes == least.tqcms_bytes && layout.subsampled_bytes >= least.subsampled_bytes &&
           (least.subsampled_bytes > 0) == (layout.subsampled_bytes > 0);
}

void take_layout(cv_header& to, const cv_header& from)
{
    to.icon_offset = from.icon_offset;
    to.ink_offset = from.ink_offset;
    to.tqcms_offset = from.tqcms_offset;
    to.subsampled_offset = from.subsampled_offset;
    to.tile_table_offset = from.tile_table_offset;
    to.tiles_offset = from.tiles_offset;
    to.icon_bytes = from.icon_bytes;
    to.subsampled_bytes = from.subsampled_bytes;
    to.tile_table_bytes = from.tile_table_bytes;
}

}  // namespace

sound_header make_sound(const canvas_file& file)
{
    const cv_header& found = file.header();
    sound_header sound{found};
    cv_header& header = sound.header;
    const bool picture = says_picture(found);
    set_kind(header, picture);
    const bool are_there = !bounds_are_lost(found) || bring_bounds_back(header);
    const bool across = settle_bounds(header.x_min, header.x_max, header.orig_x_min, header.orig_x_max, header.width);
    const bool down = settle_bounds(header.y_min, header.y_max, header.orig_y_min, header.orig_y_max, header.height);
    if (!are_there || !across || !down) {
        sound.state = header_state::no_bounds;
        return sound;
    }
    settle_tile_size(header, whole_pixel_bytes(picture));
    settle_icon_size(header, static_cast<std::int64_t>(picture ? picture_colour_bytes : 1));
    if (!settle_grid(header)) {
        sound.state = header_state::not_a_grid;
        return sound;
    }
    settle_reduced(header);
    const cv_header sizes = header;
    chain_regions(header);
    // Readers go by the offsets that a file gives, so a layout of its own is as good when its table proves it.
    cv_header stored = header;
    take_layout(stored, found);
    if (is_workable(stored, sizes) && nonsense_entries(file, stored) < nonsense_entries(file, header)) header = stored;
    return sound;
}

std::int64_t integer_of(const cv_header& header, const canvas::file_field& field)
{
    const auto* const at = reinterpret_cast<const std::uint8_t*>(&header) + field.offset;
    if (field.bytes == sizeof(std::int16_t)) {
        std::int16_t value = 0;
        std::memcpy(&value, at, sizeof value);
        return value;
    }
    std::int32_t value = 0;
    std::memcpy(&value, at, sizeof value);
    return value;
}

}  // namespace iocache::tools
