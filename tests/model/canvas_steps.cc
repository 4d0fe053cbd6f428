// Canvases that come, go, and change their names; what their files carry beside pixels.
#include <cstring>
#include <filesystem>

#include "tests/model/steps.h"
#include "tests/model/watched_disk.h"
#include "tests/support/file_reader.h"

namespace iocache_test::steps {

namespace {

constexpr int32_t most_canvases = 50;
constexpr int32_t most_side = 500;
constexpr int32_t long_side = 1500;
constexpr int32_t short_side = 200;
constexpr int32_t tile_side = 256;
constexpr size_t ink_bytes = 6144;
constexpr size_t tqcms_bytes = 153'600;
constexpr size_t name_bytes = 64;

// Sizes from two numbers, the rest from a third: one in seven is long and thin, one in three has negative bounds, one
// in two a shifted grid.
model_extent chosen_extent(const step& one)
{
    const auto& [a, b, c, unused] = one.numbers;
    const bool is_long = c % 7 == 6;
    model_extent e{};
    e.width = 1 + share_of(a, is_long ? long_side : most_side);
    e.height = 1 + share_of(b, is_long ? short_side : most_side);
    e.x_min = c % 3 == 2 ? -(c % 190) : 0;
    e.y_min = c % 3 == 2 ? -(c % 170) : 0;
    e.x_offset = -e.x_min + (c % 2 == 1 ? c % tile_side : 0);
    e.y_offset = -e.y_min + (c % 4 == 1 ? (c * 7) % tile_side : 0);
    return e;
}

int32_t make_canvas(const model_canvas& model)
{
    const model_extent& e = model.extent();
    return canvas_new(model.path().c_str(), model.kind(), e.x_min, e.y_min, e.x_max(), e.y_max(), e.x_offset,
                      e.y_offset);
}

int32_t lowest_free(world& w)
{
    int32_t slot = 0;
    while (slot < most_canvases && w.paper(slot) != nullptr) ++slot;
    return slot;
}

// A new canvas, not saved; -1 when there is no more room for one.
int32_t make_open(world& w, int32_t kind, const model_extent& extent)
{
    model_canvas model(w.new_path(), kind, extent);
    file_note* const note = w.free_note();
    note->set_path(model.path());
    note->kind = kind;
    note->extent = extent;
    note->now = file_note::state::coming;
    const int32_t slot = lowest_free(w);
    const int32_t canvas = make_canvas(model);
    if (slot == most_canvases) {
        note->now = file_note::state::none;
        require(canvas == -1, "the fifty-first canvas answers " + std::to_string(canvas));
        w.expect_message("Create canvas : No more canvasses available !");
        return -1;
    }
    require(canvas == slot, "a new canvas answers " + std::to_string(canvas));
    w.add_open(canvas, std::move(model), note);
    note->now = file_note::state::there;
    return canvas;
}

bool has_room_for_canvas(world& w, const step& one)
{
    const auto open = static_cast<int32_t>(w.open_canvases().size());
    // One too many only now and then.
    return open < std::min(w.what().most_canvases, most_canvases) || (open == most_canvases && one.canvas % 5 == 0);
}

void note_going(file_note& note)
{
    if (!note.is_saved) note.now = file_note::state::going;
}

// False when the library rightly refuses.
bool close_with(world& w, int32_t canvas, int32_t (*function)(int32_t))
{
    w.let_go_of_everything();
    const sheet& paper = *w.paper(canvas);
    const int32_t child = paper.zoom_child;
    const bool is_refused = child >= 0 && w.paper(child)->is_counted;
    if (!is_refused) {
        note_going(*paper.note);
        if (child >= 0) note_going(*w.paper(child)->note);
    }
    const int32_t result = function(canvas);
    require(result == (is_refused ? -255 : 0), "closing answers " + std::to_string(result));
    if (is_refused) {
        w.expect_message("Cannot close canvas : Open zoom canvasses");
        return false;
    }
    if (child >= 0) w.was_closed(child);
    w.was_closed(canvas);
    return true;
}

int32_t open_with(const std::string& path, int32_t form)
{
    if (form % 3 == 0) return canvas_old(path.c_str());
    return form % 3 == 1 ? canvas_old_io(path.c_str()) : canvas_old_both(path.c_str(), 1);
}

}  // namespace

void create(world& w, const step& one)
{
    if (!has_room_for_canvas(w, one)) return;
    w.did_something();
    const int32_t canvas = make_open(w, one.numbers[3] % 2, chosen_extent(one));
    if (canvas < 0 || one.numbers[3] % 4 >= 3) return;
    require(cv_mark_canvas_save(canvas) == 0, "marking fails");
    w.paper(canvas)->note->is_saved = true;
}

// As a host with many small images does.
void create_several(world& w, const step& one)
{
    constexpr int32_t small_side = 60;
    constexpr int32_t most_at_once = 30;
    const int32_t wanted = 1 + share_of(one.numbers[0], most_at_once);
    for (int32_t i = 0; i < wanted && has_room_for_canvas(w, one); ++i) {
        w.did_something();
        const model_extent small{0, 0, 1 + share_of(one.numbers[1], small_side), 1 + i, 0, 0};
        const int32_t canvas = make_open(w, i % 2, small);
        if (canvas < 0) return;
        require(cv_mark_canvas_save(canvas) == 0, "marking fails");
        w.paper(canvas)->note->is_saved = true;
    }
}

void open(world& w, const step& one)
{
    std::vector<closed_file>& closed = w.closed_files();
    if (closed.empty() || !has_room_for_canvas(w, one)) return;
    w.did_something();
    const auto which = static_cast<size_t>(one.canvas) % closed.size();
    const std::string path = closed[which].model.path();
    const int32_t slot = lowest_free(w);
    const int32_t canvas = open_with(path, one.numbers[0]);
    if (slot == most_canvases) {
        require(canvas == -1, "the fifty-first canvas opens");
        w.expect_message("Create canvas : No more canvasses available !");
        return;
    }
    require(canvas == slot, path + " opens as " + std::to_string(canvas) + ": " + host().last_message());
    closed_file file = std::move(closed[which]);
    w.forget_closed(which);
    file.note->is_saved = true;
    w.add_open(canvas, std::move(file.model), file.note);
    if (!file.needs_look) return;
    // What is known is taken over only when everything can be read.
    if (watched_disk::is_full()) w.make_room();
    w.take_over(canvas);
}

void open_again(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (canvas < 0) return;
    w.did_something();
    const std::string path = w.paper(canvas)->model.path();
    require(open_with(path, one.numbers[0]) == canvas, "an open file opens once more");
    require(canvas_new(path.c_str(), 1, 0, 0, 9, 9, 0, 0) == canvas, "an open file is made once more");
    if (w.closed_files().empty() || lowest_free(w) == most_canvases) return;
    const std::string closed = w.closed_files().front().model.path();
    require(canvas_new(closed.c_str(), 1, 0, 0, 9, 9, 0, 0) == -20, "a file that is there is made once more");
    w.expect_message("Create canvas : file already exists");
}

void close(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (canvas < 0 || (watched_disk::host_refuses() && w.paper(canvas)->zoom_child >= 0)) return;
    w.did_something();
    close_with(w, canvas, canvas_close);
}

// Stores what Rbuf holds as reduced image.
void close_3d(world& w, const step& one)
{
    const int32_t canvas = w.chosen_plain(one);
    if (canvas < 0 || watched_disk::host_refuses()) return;
    w.did_something();
    const std::string path = w.paper(canvas)->model.path();
    const bool is_saved = w.paper(canvas)->note->is_saved;
    const cv_canvas& record = *canvastable[canvas];
    const bool is_reduced = record.geom_orig.subsampled == 1;
    const auto bytes_stored = static_cast<size_t>(record.header->subsampled_bytes);
    std::vector<uint8_t> image(bytes_stored);
    fill_pattern(image.data(), image.size(), 1 + one.numbers[0]);
    std::memcpy(Rbuf, image.data(), image.size());
    close_with(w, canvas, canvas_close_3d);
    if (is_saved && is_reduced)
        require(canvas_file(path).reduced_image() == image, "the file has another reduced image than was given");
}

void mark(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (canvas < 0) return;
    w.did_something();
    const bool saves = one.numbers[0] % 4 != 3;
    require((saves ? cv_mark_canvas_save(canvas) : cv_mark_canvas_nosave(canvas)) == 0, "marking fails");
    w.paper(canvas)->note->is_saved = saves;
}

// An open canvas, or a file that is closed.
void rename(world& w, const step& one)
{
    const std::string path = w.new_path();
    if (one.numbers[0] % 2 == 1 && !w.closed_files().empty()) {
        closed_file& file = w.closed_files()[static_cast<size_t>(one.canvas) % w.closed_files().size()];
        file.note->set_next_path(path);
        require(cv_rename_file(0, file.model.path().c_str(), path.c_str()) == 0, "a closed file cannot be renamed");
        file.model.set_path(path);
        file.note->set_path(path);
        file.note->next_path = {};
        return w.did_something();
    }
    const int32_t canvas = w.chosen(one);
    if (canvas < 0) return;
    w.did_something();
    sheet& paper = *w.paper(canvas);
    paper.note->set_next_path(path);
    if (!w.succeeded(canvas_rename_file(canvas, path.c_str()), "a renaming")) return;
    paper.model.set_path(path);
    paper.note->set_path(path);
    paper.note->next_path = {};
    require(std::string(canvastable[canvas]->file_name) == path, "a renamed canvas has another name");
}

// Of a canvas that is open and written back: the copy is a file that nobody closed.
void copy(world& w, const step& one)
{
    const int32_t canvas = w.chosen_plain(one);
    if (canvas < 0 || watched_disk::is_full() || w.closed_files().size() > 20) return;
    w.let_go_of(canvas);
    w.did_something();
    require(cv_flush_tiles_keep(canvas) == 0, "writing back fails");
    const sheet& paper = *w.paper(canvas);
    model_canvas model = paper.model;
    model.set_path(w.new_path());
    file_note* const note = w.free_note();
    note->set_path(model.path());
    note->kind = paper.note->kind;
    note->extent = paper.note->extent;
    note->now = file_note::state::coming;
    require(copy_file_to_file(paper.model.path().c_str(), model.path().c_str()) == 0, "a file cannot be copied");
    for (size_t tile = 0; tile < model.tile_count(); ++tile) {
        note->tiles[tile].written = paper.note->tiles[tile].written.load();
        note->tiles[tile].on_its_way = paper.note->tiles[tile].on_its_way.load();
    }
    note->ink = paper.note->ink;
    note->tqcms = paper.note->tqcms;
    note->name = paper.note->name;
    note->blocks_change = paper.note->blocks_change.load();
    note->now = file_note::state::there;
    w.add_closed(std::move(model), note, true);
}

namespace {

std::vector<uint8_t> pattern(size_t count, int32_t number)
{
    std::vector<uint8_t> bytes(count);
    fill_pattern(bytes.data(), bytes.size(), number);
    return bytes;
}

bool holds(const uint8_t* found, const std::vector<uint8_t>& expected)
{
    return found != nullptr && std::memcmp(found, expected.data(), expected.size()) == 0;
}

void check_blocks(int32_t canvas, const file_note& note)
{
    if (note.blocks_change) return;  // a kill came while they were changed
    if (note.kind == 1) {
        require(holds(cv_ink_color_def_get(canvas), pattern(ink_bytes, note.ink)), "the ink block differs");
        require(holds(cv_tqcms_proc_get(canvas), pattern(tqcms_bytes, note.tqcms)), "the colour table differs");
    } else {
        require(cv_ink_color_def_get(canvas) == nullptr && cv_errno == 1, "a mask has an ink block");
    }
    const std::string name = note.name == 0 ? "" : "table " + std::to_string(note.name);
    require(strnlen(cv_tqcms_procname_get(canvas), name_bytes) == name.size() && cv_tqcms_procname_get(canvas) == name,
            "the table's name differs");
}

}  // namespace

void blocks(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (canvas < 0) return;
    w.did_something();
    file_note& note = *w.paper(canvas)->note;
    check_blocks(canvas, note);
    note.blocks_change = true;
    note.ink = 1 + one.numbers[0];
    note.tqcms = 1 + one.numbers[1];
    note.name = 1 + one.numbers[2];
    if (note.kind == 1) {
        require(cv_ink_color_def_set(canvas, pattern(ink_bytes, note.ink).data()) == 0, "the ink block is refused");
        require(cv_tqcms_proc_set(canvas, pattern(tqcms_bytes, note.tqcms).data()) == 0, "the table is refused");
    }
    require(cv_tqcms_procname_set(canvas, ("table " + std::to_string(note.name)).c_str()) == 0, "a name is refused");
    note.blocks_change = false;
    check_blocks(canvas, note);
}

// A canvas of the same shape that keeps tiles as they were before their first change from now on.
void zoom(world& w, const step& one)
{
    const int32_t canvas = w.chosen_plain(one);
    if (canvas < 0 || watched_disk::host_refuses() || lowest_free(w) == most_canvases) return;
    w.let_go_of(canvas);
    w.did_something();
    const model_extent extent = w.paper(canvas)->model.extent();
    const int32_t child = make_open(w, w.paper(canvas)->model.kind(), extent);
    const bool is_counted = one.numbers[0] % 2 == 0;
    w.paper(canvas)->zoom_child = child;
    w.paper(child)->zoom_parent = canvas;
    w.paper(child)->is_counted = is_counted;
    if (is_counted) {
        canvastable[canvas]->open_zooms = 1;
        canvastable[child]->is_zoom = canvastable[canvas];
    }
    canvastable[canvas]->zoom_child = canvastable[child];
}

void unlink_zoom(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (canvas < 0) return;
    w.did_something();
    sheet& paper = *w.paper(canvas);
    require(cv_unlink_zoom(canvas) == (paper.is_counted ? 0 : -255), "parting a zoom canvas answers something else");
    if (!paper.is_counted) return;
    paper.is_counted = false;
    require(canvastable[paper.zoom_parent]->open_zooms == 0, "a canvas counts a zoom canvas that has parted");
}

}  // namespace iocache_test::steps
