// The request block: several tiles at once, tiles that stay locked, and questions that fetch nothing.
#include <algorithm>
#include <cstring>

#include "tests/model/steps.h"
#include "tests/model/watched_disk.h"

namespace iocache_test::steps {

namespace {

constexpr int32_t tile_side = 256;
constexpr int32_t one_tile_first = 41;
constexpr size_t most_held = 2;

void let_go(cv_tile* tile)
{
    std::atomic_ref(tile->locked).store(0, std::memory_order_release);
}

struct wanted_tile {
    int32_t canvas;
    pixel_place at;
};

void fill_slot(size_t slot, const wanted_tile& wanted, bool writes)
{
    cv_tile_request& request = parg.req[slot];
    request.canvas = wanted.canvas;
    request.x = request.x_end = wanted.at.x;
    request.y = request.y_end = wanted.at.y;
    request.write = writes ? 1 : 0;
}

void check_slot(size_t slot, const wanted_tile& wanted, const sheet& paper)
{
    const cv_tile_request& request = parg.req[slot];
    const auto [x, y] = wanted.at;
    const run_pixels expected = paper.model.load_pixel(x, y);
    require(request.tile != nullptr && request.tile->canvas == canvastable[wanted.canvas], "a request has no tile");
    require(request.run_x == 1 && request.run_y == 1, "a request for one pixel has a longer run");
    require(std::memcmp(request.pixel, expected.colour.data(), expected.colour.size()) == 0,
            "the pixel of a request differs");
    require((request.alfa_pixel != nullptr) == paper.model.is_picture(), "a request has the wrong planes");
    if (request.alfa_pixel != nullptr) require(*request.alfa_pixel == expected.alpha[0], "a request's alpha differs");
    require(request.line_bytes == tile_side * static_cast<int32_t>(paper.model.pixel_bytes()), "wrong line length");
}

void paint_slot(size_t slot, const wanted_tile& wanted, world& w, int32_t number)
{
    sheet& paper = *w.paper(wanted.canvas);
    const run where{true, wanted.at.x, wanted.at.y, 1};
    const run_pixels pixels = pattern_pixels(paper.model, where, number);
    std::memcpy(parg.req[slot].pixel, pixels.colour.data(), pixels.colour.size());
    if (paper.model.is_picture()) *parg.req[slot].alfa_pixel = pixels.alpha[0];
    paper.model.store(where, pixels);
}

}  // namespace

// Two or three slots, or one of the three alone.
void request_tiles(world& w, const step& one)
{
    int32_t form = one.numbers[2] % 5;
    // A request for a single slot that meets a full disk is never answered by the cache process.
    if (form >= 2 && watched_disk::is_full()) form %= 2;
    const bool writes = one.numbers[3] % 2 == 1 && !watched_disk::host_refuses();
    const size_t first = form < 2 ? 0 : static_cast<size_t>(form - 2);
    const size_t last = form < 2 ? static_cast<size_t>(form + 1) : first;
    std::array<wanted_tile, 3> wanted{};
    for (size_t slot = first; slot <= last; ++slot) {
        const int32_t canvas = w.chosen_plain(one, static_cast<int32_t>(slot));
        if (canvas < 0) return;
        wanted.at(slot) = {canvas, chosen_pixel(w.paper(canvas)->model, one)};
    }
    for (size_t slot = first; slot <= last; ++slot) {
        w.let_go_of(wanted.at(slot).canvas);
        fill_slot(slot, wanted.at(slot), writes);
    }
    parg.opcode = form < 2 ? form + 2 : one_tile_first + static_cast<int32_t>(first);
    w.did_something();
    if (!w.succeeded(cv_tile_access(), "a request")) {
        for (size_t slot = first; slot <= last; ++slot)
            require(parg.req[slot].tile == nullptr, "a request that failed has a tile");
        return;
    }
    for (size_t slot = first; slot <= last; ++slot) check_slot(slot, wanted.at(slot), *w.paper(wanted.at(slot).canvas));
    for (size_t slot = first; writes && slot <= last; ++slot)
        paint_slot(slot, wanted.at(slot), w, one.numbers[3] + static_cast<int32_t>(slot));
    for (size_t slot = first; slot <= last; ++slot) let_go(parg.req[slot].tile);
}

// A tile that stays locked until something else is done with its canvas.
void hold(world& w, const step& one)
{
    const int32_t canvas = w.chosen_plain(one);
    if (canvas < 0 || w.held_tiles().size() >= most_held) return;
    w.let_go_of(canvas);
    w.did_something();
    const wanted_tile wanted{canvas, chosen_pixel(w.paper(canvas)->model, one)};
    fill_slot(0, wanted, false);
    parg.opcode = 1;
    if (!w.succeeded(cv_tile_access(), "a request")) return;
    check_slot(0, wanted, *w.paper(canvas));
    w.held_tiles().push_back({canvas, w.paper(canvas)->model.tile_of(wanted.at.x, wanted.at.y), parg.req[0].tile});
}

void release(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (canvas < 0) return;
    w.let_go_of(canvas);
}

void query_place(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (canvas < 0) return;
    w.did_something();
    const model_canvas& model = w.paper(canvas)->model;
    const model_extent& e = model.extent();
    const auto [x, y] = chosen_pixel(model, one);
    const auto number = static_cast<int32_t>(model.tile_of(x, y));
    std::array<int32_t, 6> found{};
    require(cv_ask_virt_param(canvas, found.data(), &found[1]) == 0 &&
                cv_ask_tile_dimensions(canvas, &found[2], &found[3]) == 0 &&
                cv_ask_tile_sizes(canvas, &found[4], &found[5]) == 0,
            "a question about a canvas fails");
    const std::array<int32_t, 6> expected{e.width,   e.height, model.tiles_across(), model.tiles_down(),
                                          tile_side, tile_side};
    require(found == expected, "a canvas has other sizes");
    require(cv_ask_tilenr(canvas, x, y) == number, "a pixel has another tile number");
    const bool is_inside = (x + e.x_offset) % tile_side < tile_side - 1 && (y + e.y_offset) % tile_side < tile_side - 1;
    require(cv_ask_tile_and_offset(canvas, x, y) == (is_inside ? number : -1), "a pixel lies elsewhere in its tile");
    const rectangle part = shape_of(model).part_in_tile(number);
    rectangle limits{};
    cv_ask_tile_limits(canvas, number, &limits.left, &limits.top, &limits.right, &limits.bottom);
    require(limits.right == part.right && limits.bottom == part.bottom, "a tile ends elsewhere");
    const int32_t left = number % model.tiles_across() * tile_side - e.x_offset;
    const int32_t top = number / model.tiles_across() * tile_side - e.y_offset;
    require(limits.left == std::max(left, 0) && limits.top == std::max(top, 0), "a tile begins elsewhere");
    require(canvas_if_already_open(model.path().c_str()) == canvas, "an open file is not known as open");
}

void query_existence(world& w, const step& one)
{
    using drawn = model_canvas::drawn;
    const int32_t canvas = w.chosen(one);
    if (canvas < 0 || w.paper(canvas)->half) return;
    w.did_something();
    const model_canvas& model = w.paper(canvas)->model;
    const auto [x, y] = chosen_pixel(model, one);
    bool is_empty = true;
    for (size_t tile = 0; tile < model.tile_count(); ++tile) {
        if (model.is_drawn(tile) == drawn::not_known) return;
        is_empty = is_empty && model.is_drawn(tile) == drawn::no;
    }
    require(cv_test_if_canvas_empty(canvas) == (is_empty ? 0 : -255), "a canvas is not as empty as it was drawn");
    parg.req[0].canvas = canvas;
    parg.req[0].x = x;
    parg.req[0].y = y;
    parg.req[0].x_end = model.extent().x_max();
    parg.req[0].y_end = model.extent().y_max();
    const bool is_there = model.is_drawn(model.tile_of(x, y)) == drawn::yes;
    require(cv_if_tile_exist() == (is_there ? 0 : -255), "a tile does not exist as it was drawn");
    if (is_there) return;
    const rectangle part = shape_of(model).part_in_tile(static_cast<int32_t>(model.tile_of(x, y)));
    require(parg.req[0].run_x == part.right - x + 1 && parg.req[0].run_y == part.bottom - y + 1,
            "the run of nothing has another length");
}

}  // namespace iocache_test::steps
