#include "document.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <stdexcept>

#include <iocache/iocache_host.h>

#include "screen_colour.h"
#include "session.h"

namespace {

using namespace paint;

constexpr uint8_t own_reduced_image = 1;  // the dirty bit of the canvas's own reduced image

[[noreturn]] void give_up(const std::string& path)
{
    const std::string told = last_message();
    throw std::runtime_error(path + ": " + (told.empty() ? "cannot be opened" : told));
}

// The library would take a file of another kind for one of an older format and convert it.
bool is_canvas(const std::string& path)
{
    constexpr std::array<char, 4> magic = {0x00, 0x06, 0x51, static_cast<char>(0xBD)};
    constexpr std::streamoff magic_offset = 0x36C;
    std::ifstream file(path, std::ios::binary);
    std::array<char, 4> found{};
    return file.seekg(magic_offset).read(found.data(), found.size()) && found == magic;
}

// Place in the frame of a table's entry; an entry that is not sampled names the next one that is.
int32_t frame_place(int16_t entry)
{
    return static_cast<uint16_t>(entry) >> 4U;
}
// Place of the last pixel up to this entry that is sampled.
int32_t last_frame_place(int16_t entry)
{
    constexpr uint32_t sampled = 15;
    return frame_place(entry) - ((static_cast<uint16_t>(entry) & sampled) != 0 ? 0 : 1);
}

}  // namespace

std::unique_ptr<paint::document> paint::document::create(const std::string& path, int32_t width, int32_t height,
                                                         canvas_kind kind, at_close closing)
{
    const int32_t number = canvas_new(path.c_str(), static_cast<int32_t>(kind), 0, 0, width - 1, height - 1, 0, 0);
    if (number < 0) give_up(path);
    if (closing == at_close::keep_file) cv_mark_canvas_save(number);
    return std::unique_ptr<document>(new document(number));
}

std::unique_ptr<paint::document> paint::document::open(const std::string& path)
{
    if (!is_canvas(path)) throw std::runtime_error(path + ": there is no canvas of this name");
    const int32_t number = canvas_old(path.c_str());
    if (number < 0) give_up(path);
    return std::unique_ptr<document>(new document(number));
}

paint::document::document(int32_t number) : number_(number)
{
    become_current();
    load_reduced_image();
}

paint::document::~document()
{
    if (number_ >= 0) close();
}

void paint::document::become_current() const
{
    cv_canvas* const record = canvastable[number_];
    if (is_picture()) {
        current_canvas = number_;
        current_cp = record;
    } else {
        current_mask = number_;
        current_mp = record;
    }
    canvas_make_tables(number_);
}

// A canvas within the frame has no stored reduced image: it is its own. Its tiles are few.
void paint::document::load_reduced_image()
{
    std::ranges::fill(reduced_image(), uint8_t{0});
    if (record().geom.subsampled != 0 && cv_read_subsampled(number_) == 0) return;
    const int32_t tiles = record().tiles_across * record().tiles_down;
    for (int32_t tile = 0; tile < tiles; ++tile) cv_update_virt_subsampled_tile(number_, tile);
}

paint::area paint::document::bounds() const
{
    const cv_geometry& view = record().geom;
    return {view.x_min, view.y_min, view.x_max, view.y_max};
}

bool paint::document::read_line(int32_t y, int32_t x_first, int32_t x_last, pixel_line& line) const
{
    const auto pixels = static_cast<size_t>(int64_t{x_last} - x_first + 1);
    line.colour.resize(pixels * static_cast<size_t>(record().bytes_per_pixel));
    line.alpha.resize(is_picture() ? pixels : 0);
    return cv_getline(number_, line.colour.data(), line.alpha.data(), y, x_first, x_last) == 0;
}

// The canvas changes, though no member does. NOLINTNEXTLINE(readability-make-member-function-const)
bool paint::document::store_line(int32_t y, int32_t x_first, int32_t x_last, const pixel_line& line)
{
    return cv_storeline(number_, line.colour.data(), line.alpha.data(), y, x_first, x_last) == 0;
}

// The bits are set while this thread waits for a request, or by this thread itself. Between two requests nobody else
// touches them.
paint::area paint::document::refresh_reduced_image()
{
    const auto tiles = static_cast<size_t>(record().tiles_across) * static_cast<size_t>(record().tiles_down);
    const std::span flags(record().tile_flags, tiles);
    area changed;
    for (size_t i = 0; i < tiles; ++i) {
        if ((flags[i] & own_reduced_image) == 0) continue;
        const auto tile = static_cast<int32_t>(i);
        cv_update_virt_subsampled_tile(number_, tile);
        flags[i] = static_cast<uint8_t>(flags[i] & ~own_reduced_image);
        changed = changed.joined_with(reduced_area_of_tile(tile));
    }
    return changed;
}

paint::area paint::document::reduced_area_of_tile(int32_t tile) const
{
    const cv_canvas& canvas = record();
    const int32_t left = tile % canvas.tiles_across * canvas.tile_width - canvas.geom.x_offset;
    const int32_t top = tile / canvas.tiles_across * canvas.tile_height - canvas.geom.y_offset;
    const area part = bounds().common_with({left, top, left + canvas.tile_width - 1, top + canvas.tile_height - 1});
    if (part.is_empty()) return {};
    const area places = {frame_place(cv_xsubtbl[part.left]) - canvas.geom.frame_x,
                         frame_place(cv_ysubtbl[part.top]) - canvas.geom.frame_y,
                         last_frame_place(cv_xsubtbl[part.right]) - canvas.geom.frame_x,
                         last_frame_place(cv_ysubtbl[part.bottom]) - canvas.geom.frame_y};
    return places.common_with({0, 0, reduced_width() - 1, reduced_height() - 1});
}

size_t paint::document::reduced_pixels() const
{
    return static_cast<size_t>(reduced_width()) * static_cast<size_t>(reduced_height());
}

// Colour plane and, for a picture, the alpha plane behind it: cv_visu_alfa stays null.
std::span<uint8_t> paint::document::reduced_image() const
{
    if (is_picture()) return std::span(cv_visu_pic).first(reduced_pixels() * (colour_bytes + 1));
    return std::span(cv_visu_mask).first(reduced_pixels());
}

void paint::document::reduced_row_as_rgba(int32_t y, int32_t x_first, std::span<uint8_t> rgba) const
{
    const std::span<const uint8_t> image = reduced_image();
    size_t pixel = static_cast<size_t>(y) * static_cast<size_t>(reduced_width()) + static_cast<size_t>(x_first);
    for (; !rgba.empty(); rgba = rgba.subspan(rgba_bytes), ++pixel) {
        const auto target = rgba.first<rgba_bytes>();
        if (is_picture()) {
            const auto inks = image.subspan(pixel * colour_bytes).first<colour_bytes>();
            picture_to_rgba(inks, image[reduced_pixels() * colour_bytes + pixel], target);
        } else {
            mask_to_rgba(image[pixel], target);
        }
    }
}

bool paint::document::save()
{
    refresh_reduced_image();
    cv_canvas* const canvas = canvastable[number_];
    if (is_picture()) {
        cv_make_pic_icon(canvas);
    } else {
        cv_make_mask_icon(canvas);
    }
    const bool tiles_written = cv_flush_tiles_keep(number_) == 0;
    const bool image_written = canvas->geom_orig.subsampled == 0 || cv_write_subsampled(number_) == 0;
    return cv_write_icon(number_) == 0 && image_written && tiles_written;
}

// The library stores reduced image and icon at close from the host's shared buffer.
bool paint::document::close()
{
    refresh_reduced_image();
    std::ranges::copy(reduced_image(), Rbuf);
    const int32_t closing = number_;
    number_ = -1;
    current_cp = current_mp = nullptr;
    return canvas_close_3d(closing) == 0;
}
