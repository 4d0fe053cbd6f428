// Writing back, dropping, full disks, and the ends that a run of the library can come to.
#include "tests/model/steps.h"
#include "tests/model/watched_disk.h"

namespace iocache_test::steps {

namespace {

// Tiles that did not fit are written, so that no file is shorter than its header says. False while there is no room.
bool make_up_for_full_disk(world& w)
{
    if (watched_disk::is_full()) return false;
    w.let_go_of_everything();
    return canvas_flush_all() == 0;
}

}  // namespace

void flush(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (canvas < 0) return;
    w.let_go_of(canvas);
    w.did_something();
    w.succeeded(cv_flush_tiles(canvas), "a flush");
}

void flush_keep(world& w, const step& one)
{
    const int32_t canvas = w.chosen(one);
    if (canvas < 0) return;
    w.did_something();
    w.succeeded(cv_flush_tiles_keep(canvas), "writing back");
}

// Locked tiles go too.
void flush_all(world& w, const step& /*one*/)
{
    w.let_go_of_everything();
    w.did_something();
    require(canvas_flush_all() == 0, "flushing everything fails");
}

// What was not written back is gone.
void drop(world& w, const step& one)
{
    const int32_t canvas = w.chosen_plain(one);
    if (canvas < 0 || watched_disk::is_full()) return;
    if (w.disk_was_full()) make_up_for_full_disk(w);
    w.let_go_of(canvas);
    w.did_something();
    require(cv_delete_tiles(canvas) == 0, "dropping fails");
    w.take_over(canvas);
}

void prewrite(world& w, const step& /*one*/)
{
    w.did_something();
    require(cv_start_prewrite() == 0, "the wish to pre-write is refused");
}

void meet(world& w, const step& /*one*/)
{
    w.did_something();
    start_all_processes();
    require(static_cast<size_t>(locked_tiles()) == w.held_tiles().size() || w.what().how == mode::process,
            "other tiles are locked than those held");
}

// Every canvas can still be made and opened: only tiles reach behind the limit. What is left behind while a file cannot
// even be made longer may need a repair, so nothing is killed meanwhile.
void disk_fills(world& w, const step& one)
{
    constexpr size_t before_tiles = 320'000;
    constexpr size_t most_of_tiles = 1'500'000;
    if (watched_disk::is_full() || w.notes().may_die) return;
    w.did_something();
    ++w.notes().full_disks;
    w.note_full_disk();
    const auto limit = before_tiles + static_cast<size_t>(one.numbers[0]) * most_of_tiles / number_limit;
    const int32_t form = one.numbers[1] % 4;
    cv_disk_full_return(form == 3 ? 1 : 0);
    watched_disk::fill(limit, form < 2 ? watched_disk::host_will::make_room : watched_disk::host_will::refuse);
}

void disk_has_room(world& w, const step& /*one*/)
{
    if (!watched_disk::is_full()) return;
    w.did_something();
    w.make_room();
}

void restart(world& w, const step& one)
{
    w.did_something();
    const bool in_process = one.numbers[0] % 2 == 1;
    constexpr int32_t least_zones = 8;
    w.restart(in_process ? mode::process : mode::in_line, least_zones + one.numbers[1] % 30);
}

void quit(world& w, const step& /*one*/)
{
    if (w.disk_was_full() && !make_up_for_full_disk(w)) return;
    w.did_something();
    w.leave_in_a_hurry();
}

// At once, or while one of the next tiles is written.
void kill(world& w, const step& one)
{
    if (w.disk_was_full() && !make_up_for_full_disk(w)) return;
    w.did_something();
    if (one.numbers[0] % 4 == 0) watched_disk::die(w.notes());
    watched_disk::die_at_write(w.notes(), 1 + one.numbers[1] % 20, one.numbers[2] % 2 == 0);
}

}  // namespace iocache_test::steps
