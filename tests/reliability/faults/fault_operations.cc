#include "tests/reliability/faults/fault_operations.h"

#include "tests/canvas/canvas_test.h"

namespace {

using namespace iocache_test;

constexpr int32_t drawn_line = 5;
constexpr int32_t drawn_column = 7;
constexpr int32_t new_line = 290;

void nothing(fault_trial& /*unused*/) {}

}  // namespace

void fault_trial::draw_line() const
{
    cv_storeline(canvas, line.data(), is_picture ? alpha.data() : nullptr, drawn_line, 0, fault_width - 1);
}

void fault_trial::draw_new_tiles() const
{
    cv_storeline(canvas, line.data(), is_picture ? alpha.data() : nullptr, new_line, new_from_x, fault_width - 1);
    draw_line();
}

void fault_trial::make_current() const
{
    (is_picture ? current_canvas : current_mask) = canvas;
    (is_picture ? current_cp : current_mp) = canvastable[canvas];
    canvas_make_tables(canvas);
}

bytes iocache_test::pixels_of(int32_t number, bool is_picture)
{
    const size_t width = fault_width;
    bytes all;
    for (int32_t y = 0; y < fault_height; ++y) {
        bytes line(width * (is_picture ? 5 : 1));
        if (cv_getline(number, line.data(), is_picture ? &line[4 * width] : nullptr, y, 0, fault_width - 1) != 0)
            return {};
        all.insert(all.end(), line.begin(), line.end());
    }
    return all;
}

bool iocache_test::is_drawn_on(size_t place, bool is_picture)
{
    const size_t line_bytes = size_t{fault_width} * (is_picture ? 5 : 1);
    const size_t in_line = place % line_bytes;
    const size_t colour_bytes = size_t{fault_width} * (is_picture ? 4 : 1);
    const size_t column = in_line < colour_bytes ? in_line / (is_picture ? 4 : 1) : in_line - colour_bytes;
    const size_t line = place / line_bytes;
    return line == drawn_line || column == drawn_column || (line >= new_from_y && column >= new_from_x);
}

const std::vector<fault_operation>& iocache_test::fault_operations()
{
    static bytes buffer(size_t{fault_width} * 5);
    static const auto read_line = [](fault_trial& t) {
        cv_getline(t.canvas, buffer.data(), buffer.data(), 200, 0, fault_width - 1);
    };
    static const auto draw = [](fault_trial& t) { t.draw_line(); };
    static const auto draw_new = [](fault_trial& t) { t.draw_new_tiles(); };
    static const auto make_current = [](fault_trial& t) { t.make_current(); };
    static const std::vector<fault_operation> all{
        {"create a picture", "", false, nothing,
         [](fault_trial& t) {
             t.canvas = canvas_new(t.path.c_str(), 1, 0, 0, fault_width - 1, fault_height - 1, 0, 0);
         }},
        {"create a mask", "", false, nothing,
         [](fault_trial& t) {
             t.canvas = canvas_new(t.path.c_str(), 0, 0, 0, fault_width - 1, fault_height - 1, 0, 0);
         }},
        {"open a picture", "picture", false, nothing, [](fault_trial& t) { t.open(); }},
        {"open a mask", "mask", false, nothing, [](fault_trial& t) { t.open(); }},
        {"open a picture that was not closed", "dirty picture", false, nothing, [](fault_trial& t) { t.open(); }},
        {"open a mask that was not closed", "dirty mask", false, nothing, [](fault_trial& t) { t.open(); }},
        {"open a mask of version 1", "version 1", false, nothing, [](fault_trial& t) { t.open(); }},
        {"open a file of blocks", "blocks", false, nothing, [](fault_trial& t) { t.open(); }},
        {"read a line", "picture", true, nothing, read_line},
        {"read a line of a mask", "mask", true, nothing, read_line},
        {"draw a line", "picture", true, nothing, draw},
        {"draw a line on a mask", "mask", true, nothing, draw},
        {"draw on new tiles", "picture", true, nothing, draw_new},
        {"draw on new tiles of a mask", "mask", true, nothing, draw_new},
        {"close with new tiles", "picture", true, draw_new, [](fault_trial& t) { canvas_close(t.canvas); }},
        {"close with new tiles of a mask", "mask", true, draw_new, [](fault_trial& t) { canvas_close(t.canvas); }},
        {"read a column", "picture", true, nothing,
         [](fault_trial& t) { cv_getcolumn(t.canvas, buffer.data(), buffer.data(), 300, 0, fault_height - 1); }},
        {"draw a column", "picture", true, nothing,
         [](fault_trial& t) {
             cv_storecolumn(t.canvas, t.line.data(), t.alpha.data(), drawn_column, 0, fault_height - 1);
         }},
        {"read a pixel", "picture", true, nothing,
         [](fault_trial& t) {
             uint32_t alpha = 0;
             cv_ask_value_pixel(canvastable[t.canvas], 599, 299, &alpha);
         }},
        {"close a changed picture", "picture", true, draw, [](fault_trial& t) { canvas_close(t.canvas); }},
        {"close a changed mask", "mask", true, draw, [](fault_trial& t) { canvas_close(t.canvas); }},
        {"close with a new reduced image", "picture", true, draw, [](fault_trial& t) { canvas_close_3d(t.canvas); }},
        {"close everything", "picture", true, draw, [](fault_trial&) { canvas_close_all(); }},
        {"flush", "picture", true, draw, [](fault_trial& t) { cv_flush_tiles_keep(t.canvas); }},
        {"flush everything", "picture", true, draw, [](fault_trial&) { canvas_flush_all(); }},
        {"rename", "picture", true, draw,
         [](fault_trial& t) {
             canvas_rename_file(t.canvas, (t.path + "2").c_str());
             if (!exists(t.path)) t.path += "2";
         }},
        {"resample a picture", "picture", true, make_current, [](fault_trial&) { cv_resample_picture(); }},
        {"resample a mask", "mask", true, make_current, [](fault_trial&) { cv_resample_mask(); }},
        {"show", "picture", true, make_current,
         [](fault_trial& t) {
             int32_t width = 0;
             int32_t height = 0;
             cv_get_visualisation(t.canvas, &width, &height);
         }},
        {"clear the margins", "picture", true, nothing, [](fault_trial& t) { cv_clear_side(t.canvas); }},
        {"read and write blocks", "picture", true, nothing,
         [](fault_trial& t) {
             cv_tqcms_proc_get(t.canvas);
             cv_tqcms_proc_set(t.canvas, tqcms_proc);
             cv_ink_color_def_get(t.canvas);
             cv_ink_color_def_set(t.canvas, ink_color_def);
             cv_tqcms_procname_set(t.canvas, "some name");
         }},
        {"write and read the window", "picture", true, nothing,
         [](fault_trial& t) {
             canvas_write_subsampled_window(canvastable[t.canvas]);
             canvas_read_subsampled_window(canvastable[t.canvas]);
             canvas_unlink_subs_window(t.canvas);
         }},
        {"copy a file", "mask", false, nothing,
         [](fault_trial& t) { copy_file_to_file(t.path.c_str(), (t.path + ".copy").c_str()); }},
        {"move a file to another disk", "mask", false, nothing,
         [](fault_trial& t) {
             cv_rename_file(0, t.path.c_str(), t.elsewhere.c_str());
             if (!exists(t.path)) t.path = t.elsewhere;
         }},
    };
    return all;
}
