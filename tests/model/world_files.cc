// What becomes of files: closed, left behind by a kill, or written to a full disk.
#include <algorithm>
#include <cstring>
#include <filesystem>

#include "tests/model/watched_disk.h"
#include "tests/model/world.h"
#include "tests/support/painting.h"

namespace iocache_test {

namespace {

constexpr int32_t tile_side = 256;

// A whole tile, margins included, as the library shows it.
std::vector<uint8_t> shown_tile(int32_t canvas, const model_canvas& model, size_t number)
{
    std::vector<uint8_t> tile(model.tile_bytes());
    const auto across = static_cast<size_t>(model.tiles_across());
    const int32_t left = static_cast<int32_t>(number % across) * tile_side - model.extent().x_offset;
    const int32_t top = static_cast<int32_t>(number / across) * tile_side - model.extent().y_offset;
    const size_t line_bytes = tile_side * model.pixel_bytes();
    for (int32_t line = 0; line < tile_side; ++line) {
        const auto at = static_cast<size_t>(line);
        uint8_t* const alpha = model.is_picture() ? &tile[tile_side * line_bytes + at * tile_side] : nullptr;
        const int32_t result =
            cv_getline(canvas, &tile[at * line_bytes], alpha, top + line, left, left + tile_side - 1);
        require(result == 0, model.path() + ": tile " + std::to_string(number) + " cannot be read");
    }
    return tile;
}

bool is_nothing(const std::vector<uint8_t>& tile)
{
    return std::ranges::all_of(tile, [](uint8_t byte) { return byte == 0; });
}

// What is known of a tile in the file agrees with what it shows.
bool agrees(const oracle::tile& note, const std::vector<uint8_t>& tile)
{
    if (note.on_its_way != 0) return true;  // was being written
    if (note.written == 0) return is_nothing(tile);
    return content_number(tile) == note.written;
}

}  // namespace

void world::take_over(int32_t canvas)
{
    sheet& paper = *sheets_[static_cast<size_t>(canvas)];
    for (size_t number = 0; number < paper.model.tile_count(); ++number) {
        oracle::tile& note = paper.note->tiles[number];
        std::vector<uint8_t> tile = shown_tile(canvas, paper.model, number);
        ++notes_.tiles_looked_at;
        require(agrees(note, tile),
                paper.model.path() + ": tile " + std::to_string(number) + " is not what was written back");
        const bool has_slot = canvastable[canvas]->tile_table[number] >= 0;
        note.written = has_slot ? content_number(tile) : 0;
        note.on_its_way = 0;
        paper.model.set_drawn(number, has_slot ? model_canvas::drawn::yes : model_canvas::drawn::no);
        paper.model.set_tile(number, std::move(tile));
    }
    paper.half.reset();
}

void world::was_closed(int32_t canvas)
{
    watched_disk::watch(canvas, nullptr);
    sheet paper = std::move(*sheets_[static_cast<size_t>(canvas)]);
    sheets_[static_cast<size_t>(canvas)].reset();
    for (const int32_t other : open_canvases()) {
        sheet& one = *sheets_[static_cast<size_t>(other)];
        if (one.zoom_child == canvas) one.zoom_child = -1;
        if (one.zoom_parent == canvas) one.zoom_parent = -1;
    }
    if (!paper.note->is_saved) {
        require(!std::filesystem::exists(paper.model.path()), paper.model.path() + " was not saved and is there");
        paper.note->now = file_note::state::none;
        return;
    }
    const bool needs_look = watched_disk::host_refuses() || paper.half;
    if (!needs_look) {
        const std::string difference = paper.model.difference_to_file();
        require(difference.empty(), difference);
    }
    paper.note->now = file_note::state::there;
    add_closed(std::move(paper.model), paper.note, needs_look);
}

void world::stop()
{
    make_room();
    let_go_of_everything();
    const std::vector<int32_t> open = open_canvases();
    for (const int32_t canvas : open) {
        file_note& note = *sheets_[static_cast<size_t>(canvas)]->note;
        if (!note.is_saved) note.now = file_note::state::going;
    }
    cv_master_exit();
    for (const int32_t canvas : open) was_closed(canvas);
    require(first_tile == nullptr || locked_tiles() == 0, "a tile stays locked");
}

namespace {

// A kill may come between a window's file and its end.
void remove_windows(const std::string& folder)
{
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().string().ends_with('s')) std::filesystem::remove(entry.path());
    }
}

}  // namespace

// After a quick exit or a kill every file is as if nobody had closed it.
void world::find_files_again()
{
    remove_windows(folder_);
    for (file_note& note : notes_.files) {
        const file_note::state state = note.now;
        if (state == file_note::state::none) continue;
        const bool was_renamed = note.next_path[0] != '\0' && std::filesystem::exists(note.next_path.data());
        if (was_renamed) note.path = note.next_path;
        note.next_path = {};
        const std::string path = note.path.data();
        if (state == file_note::state::there) {
            closed_.push_back({model_canvas(path, note.kind, note.extent), &note, true});
            continue;
        }
        std::filesystem::remove(path);  // it was being made, or dropped
        note.now = file_note::state::none;
    }
}

void world::leave_in_a_hurry()
{
    let_go_of_everything();
    watched_disk::make_room();
    cv_master_exit_quit();
    for (const int32_t canvas : open_canvases()) {
        watched_disk::watch(canvas, nullptr);
        sheets_[static_cast<size_t>(canvas)].reset();
    }
    closed_.clear();
    find_files_again();
    start();
}

void world::look_at_remaining_files()
{
    for (closed_file& file : closed_) {
        if (file.needs_look) {
            const int32_t canvas = canvas_old(file.model.path().c_str());
            require(canvas >= 0, file.model.path() + " does not open: " + host().last_message());
            add_open(canvas, std::move(file.model), file.note);
            take_over(canvas);
            require(canvas_close(canvas) == 0, "a canvas cannot be closed");
            watched_disk::watch(canvas, nullptr);
            file.model = std::move(sheets_[static_cast<size_t>(canvas)]->model);
            sheets_[static_cast<size_t>(canvas)].reset();
        }
        const std::string difference = file.model.difference_to_file();
        require(difference.empty(), difference);
        remove_file(file);
    }
    closed_.clear();
}

void world::keep_for_zoom(sheet& parent, size_t tile)
{
    if (parent.zoom_child < 0) return;
    sheet& child = *sheets_[static_cast<size_t>(parent.zoom_child)];
    if (child.model.is_drawn(tile) != model_canvas::drawn::no) return;
    child.model.set_tile(tile, parent.model.tile(tile));
    child.model.set_drawn(tile, model_canvas::drawn::yes);
}

void world::make_room()
{
    watched_disk::make_room();
    cv_disk_full_return(0);
    for (const int32_t canvas : open_canvases()) settle_half_stored(canvas, *sheets_[static_cast<size_t>(canvas)]);
}

namespace {

bool is_same_pixel(const run_pixels& a, const run_pixels& b, size_t position, size_t pixel_bytes)
{
    const size_t at = position * pixel_bytes;
    if (std::memcmp(&a.colour[at], &b.colour[at], pixel_bytes) != 0) return false;
    return a.alpha.empty() || a.alpha[position] == b.alpha[position];
}

run_pixels get_run(int32_t canvas, const model_canvas& model, const run& where)
{
    run_pixels found = model.room_for(where);
    const int32_t result =
        where.is_row ? cv_getline(canvas, found.colour.data(), found.alpha.data(), where.y, where.x, where.x_end())
                     : cv_getcolumn(canvas, found.colour.data(), found.alpha.data(), where.x, where.y, where.y_end());
    require(result == 0, "pixels cannot be read when there is room again");
    return found;
}

}  // namespace

// The pixels before the place at which the store failed are the new ones, the others the old ones.
void world::settle_half_stored(int32_t canvas, sheet& paper)
{
    if (!paper.half) return;
    const auto [where, pixels] = *paper.half;
    paper.half.reset();
    model_canvas& model = paper.model;
    const run_pixels found = get_run(canvas, model, where);
    const run_pixels old = model.load(where);
    const auto length = static_cast<size_t>(where.length);
    size_t stored = 0;
    while (stored < length && is_same_pixel(found, pixels, stored, model.pixel_bytes())) ++stored;
    for (size_t i = stored; i < length; ++i)
        require(is_same_pixel(found, old, i, model.pixel_bytes()),
                "a store that failed left a pixel that is neither old nor new");
    // New and old pixels may be the same ones: whether a tile that was not drawn on before has been is not known then.
    std::vector<size_t> in_doubt = model.tiles_of(where);
    std::erase_if(in_doubt, [&](size_t tile) { return model.is_drawn(tile) != model_canvas::drawn::no; });
    if (stored > 0) model.store(where.first(static_cast<int32_t>(stored)), pixels);
    for (const size_t tile : in_doubt) model.set_drawn(tile, model_canvas::drawn::not_known);
}

}  // namespace iocache_test
