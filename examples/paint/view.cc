#include "view.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <vector>

#include "screen_colour.h"

namespace {

using namespace paint;
using clock_type = std::chrono::steady_clock;

constexpr std::chrono::milliseconds time_to_fill{8};  // in a frame
constexpr size_t most_squares = 160;                  // 256 KiB each, twice: as bytes and as a texture
constexpr int32_t chequer_side = 8;
constexpr uint8_t chequer_light = 235;
constexpr uint8_t chequer_dark = 205;
constexpr ImU32 white = IM_COL32_WHITE;

texture make_chequer()
{
    constexpr int32_t side = 2 * chequer_side;
    std::array<uint8_t, size_t{side} * side * rgba_bytes> pixels{};
    for (int32_t i = 0; i < side * side; ++i) {
        const bool dark = (i % side < chequer_side) != (i / side < chequer_side);
        const auto at = std::span(pixels).subspan(static_cast<size_t>(i) * rgba_bytes).first<rgba_bytes>();
        mask_to_rgba(dark ? chequer_dark : chequer_light, at);
    }
    texture result(side, side, texture::beyond_edges::repeat);
    result.upload({0, 0, side - 1, side - 1}, pixels.data(), side);
    return result;
}

struct screen_area {
    ImVec2 low, high;
};

// Where pixels of the canvas stand on the screen.
screen_area on_screen(const area& pixels, const camera& from, const viewport& port)
{
    const point low = from.to_screen({static_cast<double>(pixels.left), static_cast<double>(pixels.top)}, port);
    const point high = from.to_screen({pixels.right + 1.0, pixels.bottom + 1.0}, port);
    return {{static_cast<float>(low.x), static_cast<float>(low.y)},
            {static_cast<float>(high.x), static_cast<float>(high.y)}};
}

void draw_chequer(ImDrawList& list, const texture& chequer, const screen_area& where)
{
    constexpr float side = 2.0F * chequer_side;
    const ImVec2 repeats = {(where.high.x - where.low.x) / side, (where.high.y - where.low.y) / side};
    list.AddImage(chequer.id(), where.low, where.high, {0.0F, 0.0F}, repeats, white);
}

}  // namespace

paint::view::view(const document& of)
    : document_(of),
      reduced_(of.reduced_width(), of.reduced_height()),
      chequer_(make_chequer())
{
    reduced_changed({0, 0, of.reduced_width() - 1, of.reduced_height() - 1});
}

void paint::view::reduced_changed(const area& pixels)
{
    if (pixels.is_empty()) return;
    const size_t row_bytes = static_cast<size_t>(pixels.width()) * rgba_bytes;
    std::vector<uint8_t> rgba(row_bytes * static_cast<size_t>(pixels.height()));
    for (int32_t y = pixels.top; y <= pixels.bottom; ++y) {
        const auto row = std::span(rgba).subspan(static_cast<size_t>(y - pixels.top) * row_bytes, row_bytes);
        document_.reduced_row_as_rgba(y, pixels.left, row);
    }
    reduced_.upload(pixels, rgba.data(), pixels.width());
}

void paint::view::canvas_changed(const area& pixels)
{
    if (pixels.is_empty()) return;
    for (auto& [place, kept] : squares_) kept.pixels.make_stale(pixels, document_.bounds());
}

void paint::view::draw(const camera& from, const viewport& port)
{
    ++frame_;
    busy_ = false;
    const area visible = from.visible(port).common_with(document_.bounds());
    if (visible.is_empty()) return;

    ImDrawList& list = *ImGui::GetBackgroundDrawList();
    const auto left = static_cast<float>(port.left);
    const auto top = static_cast<float>(port.top);
    list.PushClipRect({left, top}, {left + static_cast<float>(port.width), top + static_cast<float>(port.height)});
    draw_chequer(list, chequer_, on_screen(visible, from, port));
    if (needs_detail(from)) {
        draw_detail(list, from, port);
    } else {
        draw_reduced(list, from, port, visible);
    }
    list.PopClipRect();
}

// The reduced image of a canvas within the frame is the canvas itself.
bool paint::view::needs_detail(const camera& from) const
{
    const cv_geometry& geometry = document_.record().geom;
    return geometry.subsampled != 0 && (1 << detail_level(from.zoom())) < geometry.scale;
}

void paint::view::draw_reduced(ImDrawList& list, const camera& from, const viewport& port, const area& pixels) const
{
    const area canvas = document_.bounds();
    const double scale = document_.record().geom.scale;
    const auto place = [&](int32_t x, int32_t y) {
        return ImVec2{static_cast<float>((x - canvas.left) / scale / document_.reduced_width()),
                      static_cast<float>((y - canvas.top) / scale / document_.reduced_height())};
    };
    const screen_area where = on_screen(pixels, from, port);
    list.AddImage(reduced_.id(), where.low, where.high, place(pixels.left, pixels.top),
                  place(pixels.right + 1, pixels.bottom + 1), white);
}

void paint::view::draw_square(ImDrawList& list, const camera& from, const viewport& port, const square& drawn) const
{
    const detail_place& place = drawn.pixels.place();
    const area whole = place.canvas_pixels(document_.bounds());
    const area part = whole.common_with(document_.bounds());
    const screen_area where = on_screen(part, from, port);
    const auto end = [&](int32_t pixels) { return static_cast<float>(pixels) / static_cast<float>(whole.width()); };
    list.AddImage(drawn.image.id(), where.low, where.high, {0.0F, 0.0F}, {end(part.width()), end(part.height())},
                  white);
}

void paint::view::draw_detail(ImDrawList& list, const camera& from, const viewport& port)
{
    const auto until = clock_type::now() + time_to_fill;
    const area canvas = document_.bounds();
    const int32_t level = detail_level(from.zoom());
    const area wanted = detail_squares(level, from.visible(port), canvas);
    for (int32_t row = wanted.top; row <= wanted.bottom; ++row) {
        for (int32_t column = wanted.left; column <= wanted.right; ++column) {
            const detail_place place = {level, column, row};
            square& found = squares_.try_emplace(place, place).first->second;
            found.last_used = frame_;
            fill(found, until);
            if (found.is_shown) {
                draw_square(list, from, port, found);
            } else {
                draw_reduced(list, from, port, place.canvas_pixels(canvas).common_with(canvas));
            }
        }
    }
    forget_old_squares();
}

void paint::view::fill(square& wanted, clock_type::time_point until)
{
    if (wanted.pixels.is_complete()) return;
    while (!wanted.pixels.is_complete()) {
        if (clock_type::now() >= until) {
            busy_ = true;
            return;
        }
        wanted.pixels.sample_next_line(document_);  // a line that cannot be read stays as it was
    }
    constexpr area everything = {0, 0, detail_side - 1, detail_side - 1};
    wanted.image.upload(everything, wanted.pixels.rgba().data(), detail_side);
    wanted.is_shown = true;
}

// What this frame shows always stays.
void paint::view::forget_old_squares()
{
    while (squares_.size() > most_squares) {
        const auto oldest =
            std::ranges::min_element(squares_, {}, [](const auto& entry) { return entry.second.last_used; });
        if (oldest->second.last_used == frame_) return;
        squares_.erase(oldest);
    }
}
