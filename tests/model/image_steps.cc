// Reduced images, icons, whole images for the screen, and margins.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "tests/model/steps.h"
#include "tests/model/watched_disk.h"
#include "tests/reduced/reduced_model.h"

namespace iocache_test::steps {

namespace {

constexpr int32_t small_frame = 128;
constexpr icon_size usual_icon{100, 100};
constexpr size_t picture_window_bytes = 4'194'304;
constexpr size_t mask_window_bytes = 1'048'576;
constexpr size_t alpha_place_in_xbuf = 4'194'304;

reduced_model frame_of(const model_canvas& canvas)
{
    return reduced_model(shape_of(canvas), {small_frame, small_frame});
}

// Puts the sampled pixels of a part of the canvas where they belong: colour plane, then alpha plane.
void put_part(const model_canvas& canvas, const reduced_model& frame, const rectangle& part, bytes& image)
{
    if (part.is_empty()) return;
    const size_t pixel_bytes = canvas.pixel_bytes();
    for (const int32_t y : frame.rows().between(part.top, part.bottom)) {
        size_t to = frame.place(part.left, y);
        for (const int32_t x : frame.columns().between(part.left, part.right)) {
            if (to >= frame.pixels()) return;  // nothing lands behind the image
            const run_pixels pixel = canvas.load_pixel(x, y);
            std::copy(pixel.colour.begin(), pixel.colour.end(),
                      image.begin() + static_cast<std::ptrdiff_t>(to * pixel_bytes));
            if (canvas.is_picture()) image[pixel_bytes * frame.pixels() + to] = pixel.alpha[0];
            ++to;
        }
    }
}

uint8_t* own_buffer(const model_canvas& canvas)
{
    return canvas.is_picture() ? cv_visu_pic : cv_visu_mask;
}

bool own_buffer_holds(const model_canvas& canvas, const bytes& image)
{
    return std::memcmp(own_buffer(canvas), image.data(), image.size()) == 0;
}

// A canvas that is the host's current one, with empty buffers for its reduced image; -1 when there is none to use.
int32_t make_current(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (canvas < 0 || watched_disk::host_refuses()) return -1;
    const sheet& paper = *w.paper(canvas);
    if (paper.zoom_parent >= 0 || paper.half) return -1;
    w.let_go_of(canvas);
    w.did_something();
    cv_canvas* const record = canvastable[canvas];
    (paper.model.is_picture() ? current_canvas : current_mask) = canvas;
    (paper.model.is_picture() ? current_cp : current_mp) = record;
    require(canvas_make_tables(canvas) == 0, "the tables cannot be made");
    std::memset(own_buffer(paper.model), 0, frame_of(paper.model).image_bytes());
    return canvas;
}

// The reduced image of the whole canvas, in the library's own buffer and, when it is kept, in the file.
bytes resampled(const model_canvas& canvas)
{
    const reduced_model frame = frame_of(canvas);
    require((canvas.is_picture() ? cv_resample_picture() : cv_resample_mask()) == 0, "resampling fails");
    bytes image(frame.image_bytes());
    put_part(canvas, frame, frame.visited(), image);
    require(own_buffer_holds(canvas, image), "the reduced image differs");
    return image;
}

}  // namespace

void resample(world& w, const step& one)
{
    const int32_t canvas = make_current(w, one);
    if (canvas < 0) return;
    const model_canvas& model = w.paper(canvas)->model;
    const bytes image = resampled(model);
    if (!frame_of(model).is_subsampled()) return;
    std::memset(own_buffer(model), 0, image.size());
    require(cv_read_subsampled(canvas) == 0, "the stored reduced image cannot be read");
    require(own_buffer_holds(model, image), "the stored reduced image differs");
}

void update_tile(world& w, const step& one)
{
    const int32_t canvas = make_current(w, one);
    if (canvas < 0) return;
    const model_canvas& model = w.paper(canvas)->model;
    const auto [x, y] = chosen_pixel(model, one);
    const auto tile = static_cast<int32_t>(model.tile_of(x, y));
    cv_update_virt_subsampled_tile(canvas, tile);
    const reduced_model frame = frame_of(model);
    bytes image(frame.image_bytes());
    put_part(model, frame, shape_of(model).part_in_tile(tile), image);
    require(own_buffer_holds(model, image), "one tile of the reduced image differs");
}

// A line or column that the host is about to store.
void sample_line(world& w, const step& one)
{
    const int32_t canvas = make_current(w, one);
    if (canvas < 0) return;
    const model_canvas& model = w.paper(canvas)->model;
    step inside = one;
    inside.numbers[3] = 0;  // of the image, not of the margins
    const run where = chosen_run(model, inside);
    const run_pixels pixels = model.load(where);
    const int32_t result =
        where.is_row
            ? cv_subsample_line(canvas, pixels.colour.data(), pixels.alpha.data(), where.y, where.x, where.x_end())
            : cv_subsample_column(canvas, pixels.colour.data(), pixels.alpha.data(), where.x, where.y, where.y_end());
    require(result == 0, "a line cannot be sampled");
    const reduced_model frame = frame_of(model);
    bytes image(frame.image_bytes());
    put_part(model, frame, {where.x, where.y, where.x_end(), where.y_end()}, image);
    require(own_buffer_holds(model, image), "a sampled line differs");
}

void icon(world& w, const step& one)
{
    const int32_t canvas = make_current(w, one);
    if (canvas < 0) return;
    const model_canvas& model = w.paper(canvas)->model;
    const bytes image = resampled(model);
    cv_canvas* const record = canvastable[canvas];
    bytes expected(static_cast<size_t>(record->header->icon_bytes));
    std::memset(record->icon, 0, expected.size());
    const reduced_model frame = frame_of(model);
    put_icon(expected, usual_icon, image, frame.width(), frame.height(), model.pixel_bytes());
    model.is_picture() ? cv_make_pic_icon(record) : cv_make_mask_icon(record);
    require(std::memcmp(record->icon, expected.data(), expected.size()) == 0, "the icon differs");
    require(cv_write_icon(canvas) == 0, "the icon cannot be written");
    std::memset(record->icon, 0, expected.size());
    require(cv_read_icon(canvas) == 0, "the icon cannot be read");
    require(std::memcmp(record->icon, expected.data(), expected.size()) == 0, "the stored icon differs");
}

namespace {

struct free_memory {
    void operator()(uint8_t* memory) const { std::free(memory); }
};

// Every pixel of the image: colour plane, then alpha plane.
bytes whole_image(const model_canvas& model)
{
    const model_extent& e = model.extent();
    bytes colour;
    bytes alpha;
    for (int32_t y = e.y_min; y <= e.y_max(); ++y) {
        const run_pixels line = model.load({true, e.x_min, y, e.width});
        colour.insert(colour.end(), line.colour.begin(), line.colour.end());
        alpha.insert(alpha.end(), line.alpha.begin(), line.alpha.end());
    }
    colour.insert(colour.end(), alpha.begin(), alpha.end());
    return colour;
}

void show_visualisation(int32_t canvas, const model_canvas& model)
{
    const reduced_model frame = frame_of(model);
    const bytes expected = frame.is_subsampled() ? resampled(model) : whole_image(model);
    int32_t width = 0;
    int32_t height = 0;
    const std::unique_ptr<uint8_t, free_memory> shown(cv_get_visualisation(canvas, &width, &height));
    if (!model.is_picture()) return require(shown == nullptr, "a mask has a visualisation");
    require(shown != nullptr && width == frame.width() && height == frame.height(), "the visualisation has no size");
    const size_t compared = frame.is_subsampled() ? expected.size() : frame.pixels() * model.pixel_bytes();
    require(std::memcmp(shown.get(), expected.data(), compared) == 0, "the visualisation differs");
}

void show_in_xbuf(int32_t canvas, const model_canvas& model)
{
    const reduced_model frame = frame_of(model);
    const int32_t result = cv_get_lowres_visu(canvas);
    if (frame.is_subsampled()) return require(result == -255, "a reduced image is shown whole");
    require(result == 0, "a small image is not shown");
    const bytes expected = whole_image(model);
    const size_t colour_bytes = frame.pixels() * model.pixel_bytes();
    require(std::memcmp(Xbuf, expected.data(), colour_bytes) == 0, "a small image is shown wrongly");
    require(std::memcmp(Xbuf + alpha_place_in_xbuf, expected.data() + colour_bytes, expected.size() - colour_bytes) ==
                0,
            "a small image is shown with wrong alpha");
}

}  // namespace

void show(world& w, const step& one)
{
    const int32_t canvas = make_current(w, one);
    if (canvas < 0) return;
    const model_canvas& model = w.paper(canvas)->model;
    show_visualisation(canvas, model);
    show_in_xbuf(canvas, model);
}

void clear_sides(world& w, const step& one)
{
    const int32_t canvas = w.chosen_plain(one);
    if (canvas < 0 || watched_disk::host_refuses()) return;
    w.let_go_of(canvas);
    w.did_something();
    cv_clear_side(canvas);
    w.paper(canvas)->model.clear_margins();
}

// Reduced image and icon again, as for a file that was not closed; pixels stay.
void remake(world& w, const step& one)
{
    const int32_t canvas = make_current(w, one);
    if (canvas < 0) return;
    cv_remake_dirty_file(canvas);
}

void window(world& w, const step& one)
{
    const int32_t canvas = make_current(w, one);
    if (canvas < 0 || watched_disk::is_full()) return;
    cv_canvas* const record = canvastable[canvas];
    const model_canvas& model = w.paper(canvas)->model;
    bytes expected(model.is_picture() ? picture_window_bytes : mask_window_bytes);
    fill_pattern(expected.data(), expected.size(), 1 + one.numbers[0]);
    std::memcpy(own_buffer(model), expected.data(), expected.size());
    require(canvas_write_subsampled_window(record) == 0, "the window cannot be written");
    std::memset(own_buffer(model), 0, expected.size());
    require(canvas_read_subsampled_window(record) == 0, "the window cannot be read");
    require(own_buffer_holds(model, expected), "the window differs");
    require(canvas_unlink_subs_window(canvas) == 0, "the window's file cannot be deleted");
}

}  // namespace iocache_test::steps
