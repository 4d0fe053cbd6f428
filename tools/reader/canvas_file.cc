// Reading a canvas file by its layout.
#include "tools/reader/canvas_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include <fmt/format.h>

#include "iocache/canvas/file_layout.h"
#include "tools/failure.h"

namespace iocache::tools {

namespace {

constexpr std::size_t header_size = canvas::header_bytes;

failure no_canvas(const std::string& path)
{
    return {exit_code::unsupported, path + ": not a canvas"};
}

// Floor of the base-2 logarithm, by which the library divides; the argument is positive.
std::int64_t shift_of(std::int64_t size)
{
    std::int64_t shift = 0;
    while ((size >> (shift + 1)) != 0) ++shift;
    return shift;
}

// Reading a file that is one's own need not change its time of access. Others' files do not allow that, and lose nothing.
void leave_no_trace(const file_descriptor& file)
{
    const int flags = ::fcntl(file.get(), F_GETFL);
    if (flags >= 0) ::fcntl(file.get(), F_SETFL, flags | O_NOATIME);
}

std::int64_t grid_size(std::int64_t low, std::int64_t high, std::int64_t offset, std::int64_t tile_size)
{
    if (tile_size < 1 || high < low || high - low + offset < 0) return 0;
    return ((high - low + offset) >> shift_of(tile_size)) + 1;
}

}  // namespace

canvas_file::canvas_file(const std::string& path)
    : path_(path),
      file_(open_for_reading(path)),
      bytes_(file_bytes(file_, path))
{
    leave_no_trace(file_);
    if (bytes_ < std::int64_t{header_size}) throw no_canvas(path);
    read_at(0, stored_header_);
    std::array<std::uint8_t, header_size> bytes = stored_header_;
    canvas::swap_header(bytes);
    std::memcpy(&header_, bytes.data(), bytes.size());
    if (header_.magic != canvas::magic_number) throw no_canvas(path);
}

void canvas_file::read_at(std::int64_t offset, std::span<std::uint8_t> target) const
{
    std::size_t done = 0;
    while (done < target.size()) {
        const ssize_t count = ::pread(file_.get(), target.data() + done, target.size() - done,
                                      static_cast<off_t>(offset + static_cast<std::int64_t>(done)));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw system_failure(path_, "cannot read");
        if (count == 0) throw failure(exit_code::not_readable, path_ + ": cannot read: the file ends too early");
        done += static_cast<std::size_t>(count);
    }
}

canvas_kind canvas_file::kind() const
{
    return header_.image_kind != 0 ? canvas_kind::picture : canvas_kind::mask;
}

rectangle canvas_file::bounds() const
{
    return {header_.x_min, header_.y_min, header_.x_max - header_.x_min + 1, header_.y_max - header_.y_min + 1};
}

std::int64_t canvas_file::tiles_across() const
{
    return grid_size(header_.x_min, header_.x_max, header_.x_offset, header_.tile_width);
}

std::int64_t canvas_file::tiles_down() const
{
    return grid_size(header_.y_min, header_.y_max, header_.y_offset, header_.tile_height);
}

file_region canvas_file::tile_table() const
{
    return {"tile table", header_.tile_table_offset, header_.tile_table_bytes};
}

file_region canvas_file::tiles() const
{
    return {"tiles", header_.tiles_offset, std::int64_t{header_.tiles_written} * header_.tile_bytes};
}

std::vector<file_region> canvas_file::regions() const
{
    return {{"header", 0, header_.header_bytes},
            {"icon", header_.icon_offset, header_.icon_bytes},
            {"ink colours", header_.ink_offset, header_.ink_bytes},
            {"colour processing", header_.tqcms_offset, header_.tqcms_bytes},
            {"reduced image", header_.subsampled_offset, header_.subsampled_bytes},
            tile_table(),
            tiles()};
}

bool canvas_file::holds(const file_region& region) const
{
    return region.bytes >= 0 && region.offset >= 0 && region.offset + region.bytes <= bytes_;
}

std::vector<std::string> canvas_file::problems() const
{
    std::vector<std::string> found;
    const rectangle whole = bounds();
    const std::int64_t entries = tiles_across() * tiles_down();
    if (whole.width < 1 || whole.height < 1) found.emplace_back("the bounds are empty");
    if (entries < 1) found.emplace_back("the tile grid is empty");
    if (header_.tile_bytes < 1) found.emplace_back("a tile has no bytes");
    if (header_.tiles_written < 0) found.emplace_back("the number of tiles written is negative");
    for (const file_region& region : regions()) {
        if (!holds(region)) found.push_back(fmt::format("the file does not hold all of its {}", region.name));
    }
    if (entries > header_.tile_table_bytes / std::int64_t{sizeof(std::int32_t)}) {
        found.emplace_back("the tile table is too small for the tile grid");
    } else if (holds(tile_table())) {
        std::int64_t wild = 0;
        for_each_tile([&](std::int64_t, std::int32_t slot) {
            if (slot < canvas::never_written || slot >= header_.tiles_written) ++wild;
        });
        if (wild != 0) found.push_back(fmt::format("{} tiles are said to lie in slots that do not exist", wild));
    }
    return found;
}

bool canvas_file::is_converted_when_opened() const
{
    return header_.version_filetype == canvas::older_version && kind() == canvas_kind::mask;
}

void canvas_file::check_version() const
{
    if (is_converted_when_opened()) {
        throw failure(exit_code::unsupported,
                      path_ + ": a mask of an older version; iocache convert-old brings it up to date");
    }
}

void canvas_file::for_each_tile(const std::function<void(std::int64_t, std::int32_t)>& visit) const
{
    constexpr std::int64_t entries_at_once = 4096;
    const std::int64_t entries = tiles_across() * tiles_down();
    std::vector<std::int32_t> slots(static_cast<std::size_t>(std::min(entries, entries_at_once)));
    for (std::int64_t first = 0; first < entries; first += entries_at_once) {
        const std::span<std::int32_t> piece =
            std::span(slots).first(static_cast<std::size_t>(std::min(entries_at_once, entries - first)));
        read_at(header_.tile_table_offset + first * std::int64_t{sizeof(std::int32_t)},
                {reinterpret_cast<std::uint8_t*>(piece.data()), piece.size_bytes()});
        canvas::swap_table(piece);
        for (std::size_t i = 0; i < piece.size(); ++i) visit(first + static_cast<std::int64_t>(i), piece[i]);
    }
}

std::int64_t canvas_file::occupied_tiles() const
{
    std::int64_t occupied = 0;
    for_each_tile([&](std::int64_t, std::int32_t slot) { occupied += slot >= 0 ? 1 : 0; });
    return occupied;
}

}  // namespace iocache::tools
