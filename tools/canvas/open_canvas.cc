// Every pixel goes through the library's line functions, one column of tiles after the other: the
// rows of a block that share a tile are transferred while that tile is at hand.
#include "tools/canvas/open_canvas.h"

#include <algorithm>
#include <cerrno>

#include <fmt/format.h>

#include "tools/canvas/session.h"
#include "tools/failure.h"
#include "tools/file.h"
#include "tools/reader/canvas_file.h"

namespace iocache::tools {

namespace {

constexpr std::int32_t too_many_pixels = -4;  // canvas_new's results
constexpr std::int32_t file_exists = -20;
constexpr std::int32_t other_tile_size = -96;  // canvas_old's result

// Opening a file that was not closed completes it, and marks it as closed: not under the hands of another program.
void check_unclosed(const std::string& path)
{
    if (!lock_file(path)) {
        throw failure(exit_code::not_readable,
                      path + ": another program has it open, and has changed it; close it there first");
    }
    fmt::print(stderr, "iocache: {}: it was not closed; its reduced image and icon are made again\n", path);
}

}  // namespace

failure library_failure(const std::string& path, const std::string& what)
{
    if (cv_disk_full != 0) { return {exit_code::no_room, fmt::format("{}: {}: the disk is full", path, what)}; }
    const std::string reason = library_message();
    return {exit_code::not_readable,
            reason.empty() ? path + ": " + what : fmt::format("{}: {}: {}", path, what, reason)};
}

open_canvas open_canvas::create(const std::string& path, canvas_kind kind, std::int32_t width, std::int32_t height)
{
    forget_library_message();
    errno = 0;
    const std::int32_t number =
        canvas_new(path.c_str(), static_cast<std::int32_t>(kind), 0, 0, width - 1, height - 1, 0, 0);
    if (number == file_exists) throw failure(exit_code::not_readable, path + ": the file exists already");
    if (number == too_many_pixels) {
        throw failure(
            exit_code::no_room,
            fmt::format("{}: would not fit: {} x {} pixels are more than a canvas can have", path, width, height));
    }
    // The library says which part could not be written, the system why.
    if (number < 0 && is_no_room(errno)) throw system_failure(path, "cannot make a canvas");
    if (number < 0) throw library_failure(path, "cannot make a canvas");
    return {number, path};
}

open_canvas open_canvas::open(const std::string& path)
{
    const canvas_file file(path);
    file.check_version();
    if (file.header().dirty != 0) check_unclosed(path);
    forget_library_message();
    const std::int32_t number = canvas_old(path.c_str());
    if (number < 0) {
        const std::vector<std::string> problems = file.problems();
        if (!problems.empty()) {
            throw failure(exit_code::unsupported, path + ": the canvas is damaged: " + problems.front());
        }
        if (number == other_tile_size) {
            throw failure(exit_code::unsupported, path + ": a canvas of this tile size is not supported");
        }
        throw library_failure(path, "cannot open");
    }
    return {number, path};
}

open_canvas::open_canvas(open_canvas&& other) noexcept : number_(other.number_), path_(std::move(other.path_))
{
    other.number_ = -1;
}

open_canvas::~open_canvas()
{
    if (number_ >= 0) canvas_close(number_);
}

canvas_kind open_canvas::kind() const
{
    return record().kind == 1 ? canvas_kind::picture : canvas_kind::mask;
}

rectangle open_canvas::bounds() const
{
    const cv_geometry& whole = record().geom_orig;
    return {whole.x_min, whole.y_min, whole.width, whole.height};
}

template <class Visit> void open_canvas::for_each_tile_column(const rectangle& place, const Visit& visit) const
{
    const std::int32_t shift = record().tile_shift_x;
    const std::int32_t offset = record().geom_orig.x_offset;
    const auto last = static_cast<std::int32_t>(place.right() - 1);
    for (std::int32_t x = place.x; x <= last;) {
        const std::int32_t next_column = (((x + offset) >> shift) + 1) << shift;
        const std::int32_t end = std::min(last, next_column - offset - 1);
        visit(x, end);
        x = end + 1;
    }
}

void open_canvas::read(canvas_block& block) const
{
    const std::size_t pixel_bytes = colour_bytes(kind());
    block.shape(block.place, kind());
    for_each_tile_column(block.place, [&](std::int32_t first, std::int32_t last) {
        auto at = static_cast<std::size_t>(first - block.place.x);
        for (std::int32_t row = 0; row < block.place.height; ++row, at += static_cast<std::size_t>(block.place.width)) {
            void* const alpha = block.alpha.empty() ? nullptr : block.alpha.data() + at;
            if (cv_getline(number_, block.colour.data() + at * pixel_bytes, alpha, block.place.y + row, first, last) !=
                0) {
                throw library_failure(path_, "cannot read");
            }
        }
    });
}

void open_canvas::write(const canvas_block& block)
{
    const std::size_t pixel_bytes = colour_bytes(kind());
    for_each_tile_column(block.place, [&](std::int32_t first, std::int32_t last) {
        auto at = static_cast<std::size_t>(first - block.place.x);
        for (std::int32_t row = 0; row < block.place.height; ++row, at += static_cast<std::size_t>(block.place.width)) {
            const void* const alpha = block.alpha.empty() ? nullptr : block.alpha.data() + at;
            if (cv_storeline(number_, block.colour.data() + at * pixel_bytes, alpha, block.place.y + row, first,
                             last) != 0) {
                throw library_failure(path_, "cannot write");
            }
        }
    });
}

void open_canvas::keep()
{
    forget_library_message();
    // Closing does not tell whether everything got written; asking for it first does.
    if (cv_flush_tiles_keep(number_) != 0) throw library_failure(path_, "cannot write");
    cv_mark_canvas_save(number_);
    const std::int32_t closing = number_;
    number_ = -1;
    const bool closed = canvas_close(closing) == 0;
    if (!closed || canvas_file(path_).header().dirty != 0) throw library_failure(path_, "cannot write");
}

}  // namespace iocache::tools
