// Starting, stopping and resuming: what is the same whatever steps a script has.
#include "tests/model/world.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include <unistd.h>

#include "tests/model/watched_disk.h"
#include "tests/support/painting.h"

namespace iocache_test {

namespace {

constexpr int32_t small_frame = 128;  // so that small canvases have a reduced image
constexpr size_t most_closed = 24;

int say_nothing(const char* /*format*/, ...)
{
    return 0;
}

}  // namespace

void fill_pattern(uint8_t* into, size_t count, int32_t number)
{
    uint32_t state = static_cast<uint32_t>(number) * 0x9E3779B9U;
    for (size_t i = 0; i < count; ++i) {
        state = state * 1'664'525U + 1'013'904'223U;
        into[i] = number == 0 ? uint8_t{0} : static_cast<uint8_t>(state >> 24U);
    }
}

run_pixels pattern_pixels(const model_canvas& canvas, const run& where, int32_t number)
{
    run_pixels pixels = canvas.room_for(where);
    fill_pattern(pixels.colour.data(), pixels.colour.size(), number + 1);
    fill_pattern(pixels.alpha.data(), pixels.alpha.size(), number + 2);
    return pixels;
}

world::world(const script& what, std::string folder, model_notes& notes)
    : what_(what),
      folder_(std::move(folder)),
      notes_(notes),
      how_(what.how),
      zones_(what.zones)
{}

void world::start()
{
    setenv("CV_NO_CLOSE_SYNC", "1", 1);
    prepare(how_, {.cache_bytes = 0, .workers = 2});
    cv_master_init();
    cv_alloc_init(zones_ * picture_tile_bytes);
    unlink(cv_tile_sema_file);  // nothing takes it away after a kill
    cv_printf = say_nothing;
    cv_max_lres_hor = cv_max_lres_vert = small_frame;
    require(host().messages().empty(), "at the start: " + host().last_message());
}

void world::run(size_t first_step)
{
    first_step_ = first_step;
    start();
    find_files_again();
    for (size_t i = first_step; i < what_.steps.size(); ++i) {
        notes_.step = i;
        make(what_.steps[i]);
    }
    notes_.step = what_.steps.size();
    stop();
    start();
    look_at_remaining_files();
    cv_master_exit();
}

void world::make(const step& one)
{
    host().clear();
    expected_message_.reset();
    step_kinds()[one.what].act(*this, one);
    check_host();
}

void world::expect_message(const std::string& text)
{
    expected_message_ = text;
}

void world::check_host()
{
    require(host().kills() == 0, "the host was told to end: " + host().last_message());
    if (watched_disk::host_refuses()) return;
    if (expected_message_) {
        require(host().last_message() == *expected_message_,
                "the message is '" + host().last_message() + "' instead of '" + *expected_message_ + "'");
    } else {
        require(host().messages().empty(), "the library tells: " + host().last_message());
    }
    if (how_ == mode::in_line)
        require(static_cast<size_t>(locked_tiles()) == held_.size(), "other tiles are locked than those held");
}

bool world::succeeded(int32_t result, const char* what) const
{
    const bool may_fail = watched_disk::host_refuses();
    require(result == 0 || (may_fail && result == -255), std::string(what) + " answers " + std::to_string(result));
    return result == 0;
}

std::vector<int32_t> world::open_canvases() const
{
    std::vector<int32_t> numbers;
    for (size_t i = 0; i < sheets_.size(); ++i) {
        if (sheets_[i]) numbers.push_back(static_cast<int32_t>(i));
    }
    return numbers;
}

int32_t world::chosen(const step& one, int32_t further) const
{
    const std::vector<int32_t> all = open_canvases();
    return all.empty() ? -1 : all[static_cast<size_t>(one.canvas + further) % all.size()];
}

bool world::is_plain(int32_t canvas) const
{
    const sheet& paper = *sheets_[static_cast<size_t>(canvas)];
    return paper.zoom_child < 0 && paper.zoom_parent < 0 && !paper.half;
}

int32_t world::chosen_plain(const step& one, int32_t further) const
{
    const int32_t canvas = chosen(one, further);
    return canvas >= 0 && is_plain(canvas) ? canvas : -1;
}

file_note* world::free_note()
{
    const auto found =
        std::ranges::find_if(notes_.files, [](const file_note& note) { return note.now == file_note::state::none; });
    require(found != notes_.files.end(), "no room for another note");
    found->kind = 0;
    found->next_path = {};
    found->is_saved = false;
    found->ink = found->tqcms = found->name = 0;
    found->blocks_change = false;
    for (oracle::tile& tile : found->tiles) tile.written = tile.on_its_way = 0;
    return &*found;
}

void world::add_open(int32_t canvas, model_canvas model, file_note* note)
{
    require(model.tile_count() <= most_noted_tiles, "the model has more tiles than notes");
    watched_disk::watch(canvas, note);
    sheets_[static_cast<size_t>(canvas)].emplace(sheet{std::move(model), note});
    const auto open = static_cast<int64_t>(open_canvases().size());
    if (open > notes_.most_open) notes_.most_open = open;
}

void world::add_closed(model_canvas model, file_note* note, bool needs_look)
{
    closed_.push_back({std::move(model), note, needs_look});
    if (closed_.size() <= most_closed) return;
    remove_file(closed_.front());
    closed_.erase(closed_.begin());
}

void world::remove_file(closed_file& which)
{
    which.note->now = file_note::state::going;
    std::filesystem::remove(which.model.path());
    which.note->now = file_note::state::none;
}

void world::forget_closed(size_t which)
{
    closed_.erase(closed_.begin() + static_cast<std::ptrdiff_t>(which));
}

void world::let_go_of(int32_t canvas)
{
    for (const held_tile& held : held_) {
        if (held.canvas != canvas) continue;
        const std::vector<uint8_t> expected = paper(canvas)->model.tile(held.number);
        const bool is_same = std::memcmp(held.tile->buffer, expected.data(), expected.size()) == 0;
        std::atomic_ref(held.tile->locked).store(0, std::memory_order_release);
        require(is_same, "a locked tile changed");
    }
    std::erase_if(held_, [canvas](const held_tile& held) { return held.canvas == canvas; });
}

void world::let_go_of_everything()
{
    for (const int32_t canvas : open_canvases()) let_go_of(canvas);
}

void world::restart(mode how, int32_t zones)
{
    stop();
    how_ = how;
    zones_ = zones;
    start();
}

}  // namespace iocache_test
