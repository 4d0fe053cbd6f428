// The library beside the oracle: everything that a step needs to do the same to both and to compare them.
//
// What always holds between two steps: every open canvas shows, pixel by pixel, what its sheet of paper shows; every
// closed file holds it; nothing of the request block is locked but the tiles in held_tiles.
#ifndef IOCACHE_TESTS_MODEL_WORLD_H
#define IOCACHE_TESTS_MODEL_WORLD_H

#include <array>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/model/model_canvas.h"
#include "tests/model/notes.h"
#include "tests/model/script.h"

namespace iocache_test {

struct mismatch : std::runtime_error {
    using std::runtime_error::runtime_error;
};
inline void require(bool holds, const std::string& otherwise)
{
    if (!holds) throw mismatch(otherwise);
}

// An open canvas.
struct sheet {
    model_canvas model;
    file_note* note;
    int32_t zoom_child = -1;   // canvas that keeps tiles as they were
    int32_t zoom_parent = -1;  // canvas of which this one keeps tiles
    bool is_counted = false;   // by its parent, which cannot be closed then
    struct half_stored {
        run where;
        run_pixels pixels;
    };
    std::optional<half_stored> half = {};  // a store that failed on a full disk: nobody knows how far it came
};

struct closed_file {
    model_canvas model;
    file_note* note;
    bool needs_look = false;  // what it holds is known from its note alone
};

struct held_tile {
    int32_t canvas;
    size_t number;
    cv_tile* tile;
};

class world {
public:
    world(const script& what, std::string folder, model_notes& notes);

    // Runs the steps from this one on, then ends everything and looks at every file.
    void run(size_t first_step);

    // What steps use.
    model_notes& notes() { return notes_; }
    const script& what() const { return what_; }
    std::vector<int32_t> open_canvases() const;
    sheet* paper(int32_t canvas)
    {
        return sheets_[static_cast<size_t>(canvas)] ? &*sheets_[static_cast<size_t>(canvas)] : nullptr;
    }
    // The canvas that a step means; -1 when there is none.
    int32_t chosen(const step& one, int32_t further = 0) const;
    // The same, when nothing that it takes part in forbids plain use.
    int32_t chosen_plain(const step& one, int32_t further = 0) const;
    bool is_plain(int32_t canvas) const;
    // 0, or -255 while the host refuses to make room.
    bool succeeded(int32_t result, const char* what) const;
    void expect_message(const std::string& text);
    void note_full_disk() { disk_was_full_ = true; }
    bool disk_was_full() const { return disk_was_full_; }
    void did_something() { ++notes_.operations; }

    std::string new_path() { return folder_ + "/" + std::to_string(first_step_) + "-" + std::to_string(next_file_++); }
    file_note* free_note();
    std::vector<closed_file>& closed_files() { return closed_; }
    std::vector<held_tile>& held_tiles() { return held_; }
    void let_go_of(int32_t canvas);
    void let_go_of_everything();

    void add_open(int32_t canvas, model_canvas model, file_note* note);
    void add_closed(model_canvas model, file_note* note, bool needs_look);
    void forget_closed(size_t which);
    void remove_file(closed_file& which);
    // The canvas has been closed by the library: its file is whole, or gone.
    void was_closed(int32_t canvas);
    // Takes over what the library shows of a canvas, after comparing it with what is known to be in the file.
    void take_over(int32_t canvas);
    // Before a write to this tile: a zoom canvas keeps it as it was.
    void keep_for_zoom(sheet& parent, size_t tile);
    void make_room();
    void restart(mode how, int32_t zones);
    void leave_in_a_hurry();

private:
    const script& what_;
    std::string folder_;
    model_notes& notes_;
    std::array<std::optional<sheet>, 50> sheets_;
    std::vector<closed_file> closed_;
    std::vector<held_tile> held_;
    std::optional<std::string> expected_message_;
    mode how_;
    int32_t zones_;
    size_t first_step_ = 0;
    int next_file_ = 0;
    bool disk_was_full_ = false;

    void start();
    void stop();
    void make(const step& one);
    void check_host();
    void find_files_again();
    void look_at_remaining_files();
    void settle_half_stored(int32_t canvas, sheet& paper);
};

// Patterns: bytes that differ between numbers; 0 stands for zeros.
void fill_pattern(uint8_t* into, size_t count, int32_t number);
run_pixels pattern_pixels(const model_canvas& canvas, const run& where, int32_t number);

}  // namespace iocache_test

#endif
