// Built in the library's own buffers, which hold the image of any canvas in the standard frame.
#include "tools/canvas/reduced_image.h"

#include <algorithm>
#include <cstring>

#include <iocache/iocache.h>

#include "tools/canvas/session.h"
#include "tools/failure.h"
#include "tools/interrupt.h"
#include "tools/progress.h"

namespace iocache::tools {

namespace {

constexpr std::int32_t no_canvas = -1;
constexpr std::size_t region_unit = 512;  // regions of a file are rounded up to it

[[nodiscard]] bool is_picture(const open_canvas& canvas)
{
    return canvas.kind() == canvas_kind::picture;
}

rectangle reduced_size(const open_canvas& canvas)
{
    const cv_geometry& whole = canvas.record().geom_orig;
    return {0, 0, whole.lres_width, whole.lres_height};
}

std::size_t reduced_bytes(const open_canvas& canvas)
{
    return reduced_size(canvas).pixels() * (colour_bytes(canvas.kind()) + (is_picture(canvas) ? 1 : 0));
}

// The library goes by the frame, the file by its header; the two have to agree.
void check_stored_size(const open_canvas& canvas)
{
    const std::size_t wanted = (reduced_bytes(canvas) + region_unit - 1) / region_unit * region_unit;
    if (static_cast<std::int64_t>(wanted) != canvas.record().header->subsampled_bytes) {
        throw failure(exit_code::unsupported, canvas.path() + ": a reduced image of this size is not supported");
    }
}

}  // namespace

reduced_image::reduced_image(open_canvas& canvas) : canvas_(canvas), number_(canvas.record().index)
{
    if (has_stored_image(canvas)) check_stored_size(canvas);
    make_current(number_, canvastable[number_]);
    canvas_make_tables(number_);
    std::memset(is_picture(canvas) ? cv_visu_pic : cv_visu_mask, 0, reduced_bytes(canvas));
}

reduced_image::~reduced_image()
{
    make_current(no_canvas, nullptr);
}

void reduced_image::make_current(std::int32_t number, cv_canvas* record) const
{
    (is_picture(canvas_) ? current_canvas : current_mask) = number;
    (is_picture(canvas_) ? current_cp : current_mp) = record;
}

void reduced_image::take(const canvas_block& block)
{
    const auto width = static_cast<std::size_t>(block.place.width);
    const std::size_t line_bytes = width * colour_bytes(canvas_.kind());
    const auto last = static_cast<std::int32_t>(block.place.right() - 1);
    for (std::int32_t row = 0; row < block.place.height; ++row) {
        const auto line = static_cast<std::size_t>(row);
        const void* const alpha = block.alpha.empty() ? nullptr : block.alpha.data() + line * width;
        cv_subsample_line(number_, block.colour.data() + line * line_bytes, alpha, block.place.y + row, block.place.x,
                          last);
    }
}

void reduced_image::take_tiles()
{
    const cv_canvas& record = canvas_.record();
    const std::int32_t tiles = record.tiles_across * record.tiles_down;
    progress bar("refresh", tiles);
    forget_library_message();
    for (std::int32_t tile = 0; tile < tiles; ++tile) {
        check_interrupt();
        if (record.tile_table[tile] >= 0) cv_update_virt_subsampled_tile(number_, tile);
        bar.advance(1);
    }
    // The update of a tile has no result; a tile that cannot be read is told as a message.
    if (!library_message().empty()) throw library_failure(canvas_.path(), "cannot read");
}

void reduced_image::store()
{
    forget_library_message();
    cv_canvas* const record = canvastable[number_];
    if (is_picture(canvas_)) {
        cv_make_pic_icon(record);
    } else {
        cv_make_mask_icon(record);
    }
    const bool image_written = !has_stored_image(canvas_) || cv_write_subsampled(number_) == 0;
    if (!image_written || cv_write_icon(number_) != 0) throw library_failure(canvas_.path(), "cannot write");
}

bool has_stored_image(const open_canvas& canvas)
{
    return canvas.record().geom_orig.subsampled == 1;
}

canvas_block stored_image(const open_canvas& canvas)
{
    check_stored_size(canvas);
    canvas_block image;
    image.shape(reduced_size(canvas), canvas.kind());
    std::vector<std::uint8_t> region(static_cast<std::size_t>(canvas.record().header->subsampled_bytes));
    forget_library_message();
    if (cv_read_subsampled_buffer(canvastable[canvas.record().index], region.data()) != 0) {
        throw library_failure(canvas.path(), "cannot read");
    }
    const auto alpha = region.begin() + static_cast<std::ptrdiff_t>(image.colour.size());
    std::copy(region.begin(), alpha, image.colour.begin());
    std::copy_n(alpha, image.alpha.size(), image.alpha.begin());
    return image;
}

canvas_block stored_icon(const open_canvas& canvas)
{
    const cv_header& header = *canvas.record().header;
    if (header.icon_width < 1 || header.icon_height < 1) {
        throw failure(exit_code::unsupported, canvas.path() + ": the canvas has no icon");
    }
    canvas_block icon;
    icon.place = {0, 0, header.icon_width, header.icon_height};
    const std::size_t bytes = icon.place.pixels() * colour_bytes(canvas.kind());
    icon.colour.assign(canvas.record().icon, canvas.record().icon + bytes);
    return icon;
}

}  // namespace iocache::tools
