// Lines, columns and single pixels.
#include <algorithm>
#include <cstring>

#include "tests/model/steps.h"
#include "tests/model/watched_disk.h"

namespace iocache_test::steps {

namespace {

constexpr uint32_t untouched = 0xABCDEF;
constexpr uint32_t cutout_shift = 24;
constexpr int32_t picture_pixel_code = 31;
constexpr int32_t mask_pixel_code = 32;

int32_t get(int32_t canvas, const run& where, run_pixels& into)
{
    return where.is_row ? cv_getline(canvas, into.colour.data(), into.alpha.data(), where.y, where.x, where.x_end())
                        : cv_getcolumn(canvas, into.colour.data(), into.alpha.data(), where.x, where.y, where.y_end());
}

int32_t put(int32_t canvas, const run& where, const run_pixels& pixels)
{
    return where.is_row
               ? cv_storeline(canvas, pixels.colour.data(), pixels.alpha.data(), where.y, where.x, where.x_end())
               : cv_storecolumn(canvas, pixels.colour.data(), pixels.alpha.data(), where.x, where.y, where.y_end());
}

std::string name_of(const run& where)
{
    return std::string(where.is_row ? "row" : "column") + " from " + std::to_string(where.x) + ", " +
           std::to_string(where.y) + ", " + std::to_string(where.length) + " pixels";
}

// A zoom canvas is read only where it has tiles: what is read is in memory, and what is in memory is not kept again.
bool may_read(const sheet& paper, const run& where)
{
    if (paper.zoom_parent < 0) return true;
    const std::vector<size_t> tiles = paper.model.tiles_of(where);
    return std::ranges::all_of(tiles,
                               [&](size_t tile) { return paper.model.is_drawn(tile) == model_canvas::drawn::yes; });
}

// While requests may fail, canvases that keep tiles of others are left alone, and those with a store that failed.
bool may_use(world& w, int32_t canvas)
{
    if (canvas < 0 || w.paper(canvas)->half) return false;
    return !watched_disk::host_refuses() || w.is_plain(canvas);
}

uint32_t word_of(const run_pixels& pixel)
{
    if (pixel.alpha.empty()) return pixel.colour[0];
    uint32_t word = 0;
    std::memcpy(&word, pixel.colour.data(), sizeof word);
    return word;
}

// The part of a run that lies in the grid; the run begins there.
int32_t length_in_grid(const model_canvas& canvas, const run& where)
{
    int32_t length = 0;
    while (length < where.length &&
           canvas.is_in_grid(where.x + (where.is_row ? length : 0), where.y + (where.is_row ? 0 : length)))
        ++length;
    return length;
}

// A run that ends outside the grid.
run run_beyond(const model_canvas& canvas, const step& one)
{
    run where = chosen_run(canvas, one);
    constexpr int32_t longer_than_any_grid = 3000;
    where.length = longer_than_any_grid;
    return where;
}

}  // namespace

void store(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (!may_use(w, canvas)) return;
    w.let_go_of(canvas);
    w.did_something();
    sheet& paper = *w.paper(canvas);
    const run where = chosen_run(paper.model, one);
    const run_pixels pixels = pattern_pixels(paper.model, where, one.numbers[3]);
    if (!w.succeeded(put(canvas, where, pixels), "a store")) {
        paper.half = {where, pixels};
        return;
    }
    for (const size_t tile : paper.model.tiles_of(where)) w.keep_for_zoom(paper, tile);
    paper.model.store(where, pixels);
}

void load(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (!may_use(w, canvas)) return;
    const sheet& paper = *w.paper(canvas);
    const run where = chosen_run(paper.model, one);
    if (!may_read(paper, where)) return;
    w.let_go_of(canvas);
    w.did_something();
    run_pixels pixels = paper.model.room_for(where);
    if (!w.succeeded(get(canvas, where, pixels), "a load")) return;
    require(pixels == paper.model.load(where), "canvas " + std::to_string(canvas) + ": " + name_of(where) + " differ");
}

void load_beyond(world& w, const step& one)
{
    const int32_t canvas = w.chosen_plain(one);
    if (canvas < 0 || watched_disk::host_refuses()) return;
    w.let_go_of(canvas);
    w.did_something();
    const sheet& paper = *w.paper(canvas);
    const run where = run_beyond(paper.model, one);
    run_pixels pixels = paper.model.room_for(where);
    require(get(canvas, where, pixels) == -255, "a line that leaves the grid is read");
    const run inside = where.first(length_in_grid(paper.model, where));
    run_pixels expected = paper.model.load(inside);
    expected.colour.resize(pixels.colour.size());
    expected.alpha.resize(pixels.alpha.size());
    require(pixels == expected, "a line that leaves the grid is not read up to there");
}

void store_beyond(world& w, const step& one)
{
    const int32_t canvas = w.chosen_plain(one);
    if (canvas < 0 || watched_disk::host_refuses()) return;
    w.let_go_of(canvas);
    w.did_something();
    sheet& paper = *w.paper(canvas);
    const run where = run_beyond(paper.model, one);
    const run_pixels pixels = pattern_pixels(paper.model, where, one.numbers[3]);
    require(put(canvas, where, pixels) == -255, "a line that leaves the grid is stored");
    paper.model.store(where.first(length_in_grid(paper.model, where)), pixels);
}

namespace {

using ask_function = uint32_t(cv_canvas*, int32_t, int32_t, uint32_t*);

// mask_shift: where the byte of a mask may be found as well.
void ask(world& w, const step& one, ask_function* function, uint32_t mask_shift)
{
    const int32_t canvas = w.chosen(one);
    if (!may_use(w, canvas)) return;
    const sheet& paper = *w.paper(canvas);
    const auto [x, y] = chosen_pixel(paper.model, one);
    if (!may_read(paper, {true, x, y, 1})) return;
    w.let_go_of(canvas);
    w.did_something();
    const run_pixels expected = paper.model.load_pixel(x, y);
    uint32_t alpha = untouched;
    const uint32_t value = function(canvastable[canvas], x, y, &alpha);
    if (watched_disk::host_refuses() && value == 0 && alpha == untouched) return;
    const uint32_t word = word_of(expected);
    if (paper.model.is_picture()) {
        require(value == word && alpha == expected.alpha[0], "a pixel differs");
    } else {
        require((value == word || value == word << mask_shift) && alpha == untouched, "a pixel of a mask differs");
    }
}

}  // namespace

void ask_pixel(world& w, const step& one)
{
    ask(w, one, cv_ask_value_pixel, 0);
}

void ask_cutout(world& w, const step& one)
{
    ask(w, one, cv_ask_value_cutout, cutout_shift);
}

void request_pixel(world& w, const step& one)
{
    const int32_t canvas = w.chosen_plain(one);
    if (canvas < 0) return;
    w.let_go_of(canvas);
    w.did_something();
    const sheet& paper = *w.paper(canvas);
    const auto [x, y] = chosen_pixel(paper.model, one);
    parg.opcode = paper.model.is_picture() ? picture_pixel_code : mask_pixel_code;
    parg.req[0].canvas = canvas;
    parg.req[0].x = x;
    parg.req[0].y = y;
    const auto value = static_cast<uint32_t>(cv_tile_access());
    const auto failed = static_cast<uint32_t>(-255);
    if (watched_disk::host_refuses() && value == failed) return;
    require(value == word_of(paper.model.load_pixel(x, y)), "the value of a requested pixel differs");
}

run chosen_run(const model_canvas& canvas, const step& one)
{
    constexpr int32_t in_grid_every = 4;
    constexpr int32_t tile_side = 256;
    const auto& [a, b, c, d] = one.numbers;
    const model_extent& e = canvas.extent();
    const bool in_grid = d % in_grid_every == in_grid_every - 1;
    const int32_t width = in_grid ? canvas.tiles_across() * tile_side : e.width;
    const int32_t height = in_grid ? canvas.tiles_down() * tile_side : e.height;
    const int32_t x = share_of(a, width);
    const int32_t y = share_of(b, height);
    const bool is_row = c % 2 == 0;
    const int32_t most = is_row ? width - x : height - y;
    return {is_row, (in_grid ? -e.x_offset : e.x_min) + x, (in_grid ? -e.y_offset : e.y_min) + y,
            1 + share_of(c, most)};
}

pixel_place chosen_pixel(const model_canvas& canvas, const step& one)
{
    const model_extent& e = canvas.extent();
    return {e.x_min + share_of(one.numbers[0], e.width), e.y_min + share_of(one.numbers[1], e.height)};
}

}  // namespace iocache_test::steps
