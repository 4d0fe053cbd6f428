#include "tests/reliability/full_disk/full_disk_experiment.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "tests/canvas/canvas_test.h"
#include "tests/reliability/noted_writes.h"
#include "tests/reliability/shown_tile.h"

namespace {

using namespace iocache_test;

constexpr unsigned most_seconds = 60;

int say_nothing(const char* /*format*/, ...)
{
    return 0;
}

const full_disk_work* at_work = nullptr;  // in the child that works
full_disk_outcome* at_work_noted = nullptr;

// Texts that tell the time, in a header.
struct text_place {
    size_t offset;
    size_t bytes;
};
constexpr std::array<text_place, 2> dates{{{0x224, 20}, {0x258, 20}}};

bytes without_dates(bytes file)
{
    for (const text_place& date : dates) {
        if (file.size() >= date.offset + date.bytes)
            std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(date.offset), date.bytes, uint8_t{0});
    }
    return file;
}

int64_t written_tiles(const oracle& notes)
{
    return std::ranges::count_if(notes.tiles, [](const oracle::tile& tile) { return tile.written != 0; });
}

}  // namespace

// The host's own program that makes room.
extern "C" IOCACHE_API int32_t start_another_program(const char* /*name*/)
{
    if (at_work == nullptr) return -1;
    ++at_work_noted->asked;
    return at_work->answer == host_answer::makes_room && at_work->make_room() ? 0 : -1;
}

full_disk_experiment::full_disk_experiment(const full_disk_workload& workload, bool is_picture, mode how,
                                           const small_disk& disk, const std::string& elsewhere)
    : workload_(workload),
      how_(how),
      disk_(disk)
{
    work_.canvas = disk.file("canvas");
    work_.elsewhere = elsewhere;
    work_.is_picture = is_picture;
    work_.make_room = [&disk] { return disk.make_room(); };
    make_reference();
}

void full_disk_experiment::sweep()
{
    for (int64_t pages = 0; try_both(pages); ++pages) {}
}

void full_disk_experiment::sample(std::mt19937& random)
{
    try_both(static_cast<int64_t>(random()) % enough_pages_);
}

child_end full_disk_experiment::with_library(const std::function<void()>& body)
{
    const auto child = [&] {
        const running_library library(how_, {(work_.is_picture ? 2 : 1) * picture_tile_bytes, 1});
        unlink(cv_tile_sema_file);  // nothing takes it away after an accident
        cv_printf = say_nothing;
        cv_max_lres_hor = cv_max_lres_vert = full_frame;
        iocache_host_set_option("new_file_folder", disk_.file("").c_str());
        note_writes_in(&outcome_->notes);
        at_work = &work_;
        at_work_noted = &*outcome_;
        body();
        return 0;
    };
    return run_in_child(child, most_seconds);
}

void full_disk_experiment::prepare()
{
    disk_.clear();
    std::filesystem::remove(work_.elsewhere);
    outcome_->notes.forget();
    outcome_->asked = 0;
    outcome_->trouble[0] = '\0';
    if (before_.empty() && elsewhere_.empty()) {
        const child_end end = with_library([&] { workload_.prepare(work_); });
        if (end.exit_code != 0) throw std::runtime_error(std::string(workload_.name) + " cannot be prepared");
    } else {
        if (!before_.empty()) write_whole_file(work_.canvas, before_);
        if (!elsewhere_.empty()) write_whole_file(work_.elsewhere, elsewhere_);
        for (size_t i = 0; i < prepared_.size(); ++i) outcome_->notes.tiles[i].written = prepared_[i];
    }
}

child_end full_disk_experiment::run()
{
    outcome_->is_done = false;
    return with_library([&] { outcome_->is_done = workload_.run(work_); });
}

void full_disk_experiment::make_reference()
{
    prepare();
    for (size_t i = 0; i < prepared_.size(); ++i) prepared_[i] = outcome_->notes.tiles[i].written;
    if (exists(work_.canvas)) before_ = read_whole_file(work_.canvas);
    if (exists(work_.elsewhere)) elsewhere_ = read_whole_file(work_.elsewhere);
    if (run().exit_code != 0 || !outcome_->is_done || outcome_->asked != 0)
        throw std::runtime_error(std::string(workload_.name) + " does not come to its end");
    reference_ = read_whole_file(work_.canvas);
    // Both files at once, and what each takes beyond its last page.
    enough_pages_ = static_cast<int64_t>(before_.size() + reference_.size()) / small_disk::page_bytes + 2;
}

bool full_disk_experiment::try_both(int64_t pages)
{
    const bool was_full = try_one(pages, host_answer::makes_room);
    return try_one(pages, host_answer::gives_up) || was_full;
}

bool full_disk_experiment::try_one(int64_t pages, host_answer answer)
{
    work_.answer = answer;
    prepare();
    disk_.fill_up_to(pages);
    const child_end end = run();
    const bool has_ballast = disk_.make_room();
    const bool was_full = answer == host_answer::makes_room ? !has_ballast : !outcome_->is_done;
    ++total_.runs;
    if (end.exit_code != 0) outcome_->note(end.hung() ? "hung" : "died");
    if (answer == host_answer::makes_room) {
        look_at_completed(was_full);
    } else if (was_full) {
        look_at_rest();
    }
    tell(pages);
    return was_full;
}

void full_disk_experiment::look_at_completed(bool was_full)
{
    if (!outcome_->is_done) return outcome_->note("does not come to its end though there is room");
    if (was_full) ++total_.completed;
    if (without_dates(read_whole_file(work_.canvas)) == without_dates(reference_)) return;
    ++total_.other_file;
    // The cache process hands out slots when it finds time: the order of the tiles in the file is its own.
    if (how_ == mode::in_line) return outcome_->note("ends in another file than with room");
    look_at_tiles();
}

// The same tiles, wherever they lie.
void full_disk_experiment::look_at_tiles()
{
    const canvas_file now(work_.canvas);
    write_whole_file(disk_.file("reference"), reference_);
    const canvas_file wanted(disk_.file("reference"));
    const bool is_alike = now.contents().size() == wanted.contents().size() && now.icon() == wanted.icon() &&
                          now.reduced_image() == wanted.reduced_image();
    if (!is_alike) return outcome_->note("ends in another file than with room");
    for (int32_t tile = 0; tile < now.tiles_across() * now.tiles_down(); ++tile) {
        const int32_t column = tile % now.tiles_across();
        const int32_t row = tile / now.tiles_across();
        if (now.tile(column, row) != wanted.tile(column, row)) return outcome_->note("a tile is not as with room");
    }
}

// Nobody made room.
void full_disk_experiment::look_at_rest()
{
    ++total_.gave_up;
    if (workload_.replaces_file) {
        if (read_whole_file(work_.canvas) != before_) outcome_->note("the old file has changed");
        return;
    }
    if (exists(work_.elsewhere)) return look_at_source();
    if (!exists(work_.canvas)) {
        if (written_tiles(outcome_->notes) != 0) outcome_->note("the file is gone");
        return;
    }
    const child_end end = with_library([&] {
        note_writes_in(nullptr);
        open_and_look();
    });
    if (end.exit_code != 0) outcome_->note(end.hung() ? "hung when opened again" : "died when opened again");
    total_.tiles_checked += written_tiles(outcome_->notes);
}

// It was not moved, and must be whole.
void full_disk_experiment::look_at_source()
{
    if (read_whole_file(work_.elsewhere) != elsewhere_) outcome_->note("the file that was to be moved has changed");
}

void full_disk_experiment::open_and_look()
{
    const int32_t canvas = canvas_old(work_.canvas.c_str());
    if (canvas < 0) return outcome_->note("does not open again");
    for (size_t tile = 0; tile < full_tile_count; ++tile) {
        const oracle::tile& note = outcome_->notes.tiles[tile];
        if (note.written == 0 || note.on_its_way != 0) continue;
        if (content_number(shown_tile(canvas, tile)) != note.written)
            outcome_->note("a tile that had been written has changed");
    }
    canvas_close(canvas);
}

void full_disk_experiment::tell(int64_t pages)
{
    if (outcome_->trouble[0] == '\0') return;
    ++total_.troubles;
    std::printf("%s, %s, %s, %lld pages, host %s: %s\n", workload_.name, work_.is_picture ? "picture" : "mask",
                how_ == mode::process ? "process" : "in-line", static_cast<long long>(pages),
                work_.answer == host_answer::makes_room ? "makes room" : "gives up", outcome_->trouble.data());
    std::fflush(stdout);
}
