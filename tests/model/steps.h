// The steps of scripts, by the files that hold them. A step does the same to the library and to the oracle and throws
// mismatch where they disagree.
#ifndef IOCACHE_TESTS_MODEL_STEPS_H
#define IOCACHE_TESTS_MODEL_STEPS_H

#include "tests/model/world.h"
#include "tests/support/painting.h"

namespace iocache_test::steps {

// pixel_steps.cc
void store(world& w, const step& one);
void load(world& w, const step& one);
void load_beyond(world& w, const step& one);
void store_beyond(world& w, const step& one);
void ask_pixel(world& w, const step& one);
void ask_cutout(world& w, const step& one);
void request_pixel(world& w, const step& one);
// request_steps.cc
void request_tiles(world& w, const step& one);
void hold(world& w, const step& one);
void release(world& w, const step& one);
void query_place(world& w, const step& one);
void query_existence(world& w, const step& one);
// canvas_steps.cc
void create(world& w, const step& one);
void create_several(world& w, const step& one);
void open(world& w, const step& one);
void open_again(world& w, const step& one);
void close(world& w, const step& one);
void close_3d(world& w, const step& one);
void mark(world& w, const step& one);
void rename(world& w, const step& one);
void copy(world& w, const step& one);
void blocks(world& w, const step& one);
void zoom(world& w, const step& one);
void unlink_zoom(world& w, const step& one);
// cache_steps.cc
void flush(world& w, const step& one);
void flush_keep(world& w, const step& one);
void flush_all(world& w, const step& one);
void drop(world& w, const step& one);
void prewrite(world& w, const step& one);
void meet(world& w, const step& one);
void disk_fills(world& w, const step& one);
void disk_has_room(world& w, const step& one);
void restart(world& w, const step& one);
void quit(world& w, const step& one);
void kill(world& w, const step& one);
// image_steps.cc
void resample(world& w, const step& one);
void update_tile(world& w, const step& one);
void sample_line(world& w, const step& one);
void icon(world& w, const step& one);
void show(world& w, const step& one);
void clear_sides(world& w, const step& one);
void remake(world& w, const step& one);
void window(world& w, const step& one);

// A number of a step as a share of what there is: 0 up to whole - 1.
inline int32_t share_of(int32_t number, int32_t whole)
{
    return static_cast<int32_t>(int64_t{number} * whole / number_limit);
}

// The run that a step means: a row or a column, inside the image, or inside the grid when its last number says so.
run chosen_run(const model_canvas& canvas, const step& one);
// The pixel that a step means, inside the image.
struct pixel_place {
    int32_t x, y;
};
pixel_place chosen_pixel(const model_canvas& canvas, const step& one);

// The canvas's bounds and grid, without its pixels.
inline painting shape_of(const model_canvas& canvas)
{
    const model_extent& e = canvas.extent();
    return {.kind = canvas.kind(),
            .x_min = e.x_min,
            .y_min = e.y_min,
            .x_max = e.x_max(),
            .y_max = e.y_max(),
            .x_offset = e.x_offset,
            .y_offset = e.y_offset};
}

}  // namespace iocache_test::steps

#endif
