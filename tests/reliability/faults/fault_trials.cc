#include "tests/reliability/faults/fault_trials.h"

#include <algorithm>

#include "tests/canvas/canvas_test.h"
#include "tests/support/block_writer.h"

namespace {

using namespace iocache_test;

constexpr size_t version_field = 0x370;
constexpr size_t dirty_field = 0x368;
constexpr int32_t no_new_name = 999'146;

int say_nothing(const char* /*format*/, ...)
{
    return 0;
}

}  // namespace

fault_trials::fault_trials() : elsewhere_(temporary_.path() + "/moved")
{
    make_subjects();
}

int fault_trials::run(const fault_operation& what, mode how, const failing_calls::fault& fault, const char* why)
{
    prepare_files(what);
    outcome_->trouble[0] = '\0';
    outcome_->calls = 0;
    outcome_->came = false;
    outcome_->kills = 0;
    const child_end end = run_in_child([&] { return try_it(what, how, fault); });
    ++runs_;
    told_to_end_ += outcome_->kills > 0 ? 1 : 0;
    if (end.exit_code != 0) outcome_->note(end.hung() ? "hung" : "died with signal " + std::to_string(end.signal));
    if (outcome_->trouble[0] != '\0') {
        ++troubles_;
        std::printf("%s, %s, call %d, %s%s: %s\n", what.name, how == mode::process ? "process" : "in-line", fault.call,
                    why, fault.is_sticky ? " from then on" : "", outcome_->trouble.data());
        std::fflush(stdout);
    }
    return outcome_->calls;
}

void fault_trials::make_subjects()
{
    make_canvas("picture", true, {});
    make_canvas("mask", false, {});
    make_canvas("dirty picture", true, {{dirty_field, 1}});
    make_canvas("dirty mask", false, {{dirty_field, 1}});
    make_canvas("version 1", false, {{version_field, 1}});
    old_image old;
    old.width = fault_width;
    old.height = fault_height;
    take("blocks", true, old_file(old));
}

void fault_trials::make_canvas(const std::string& name, bool is_picture,
                               const std::vector<std::pair<size_t, int32_t>>& numbers)
{
    std::filesystem::remove(path());
    const auto make = [&] {
        const running_library library(mode::in_line);
        cv_max_lres_hor = cv_max_lres_vert = fault_frame;
        const int32_t canvas =
            canvas_new(path().c_str(), is_picture ? 1 : 0, 0, 0, fault_width - 1, fault_height - 1, 0, 0);
        cv_mark_canvas_save(canvas);
        // All but the two last tiles.
        for (int32_t y = 0; y < fault_height; ++y) {
            const bytes colour(size_t{fault_width} * 4, static_cast<uint8_t>(y + 1));
            const bytes alpha(fault_width, static_cast<uint8_t>(y + 2));
            cv_storeline(canvas, colour.data(), is_picture ? alpha.data() : nullptr, y, 0,
                         y < new_from_y ? fault_width - 1 : new_from_x - 1);
        }
        return canvas_close(canvas);
    };
    if (run_in_child(make).exit_code != 0) std::abort();
    bytes contents = read_whole_file(path());
    for (const auto& [place, number] : numbers) put_big_endian(contents, place, 4, static_cast<uint32_t>(number));
    take(name, is_picture, contents);
}
// Its pixels are what the library shows of it when nothing fails.

void fault_trials::take(const std::string& name, bool is_picture, const bytes& contents)
{
    write_whole_file(path(), contents);
    const std::string seen = folder_.file("pixels");
    const auto look = [&] {
        const running_library library(mode::in_line);
        const int32_t canvas = canvas_old(path().c_str());
        write_whole_file(seen, pixels_of(canvas, is_picture));
        return canvas_close(canvas);
    };
    if (run_in_child(look).exit_code != 0) std::abort();
    subjects_.push_back({name, is_picture, contents, read_whole_file(seen)});
}

const fault_subject* fault_trials::subject_of(const fault_operation& what) const
{
    const auto found = std::ranges::find(subjects_, what.subject, &fault_subject::name);
    return found == subjects_.end() ? nullptr : &*found;
}

void fault_trials::prepare_files(const fault_operation& what) const
{
    for (const char* const name : {"canvas", "canvas2", "canvas.copy", "canvass", "canvas2s"})
        std::filesystem::remove(folder_.file(name));
    std::filesystem::remove(elsewhere_);
    if (const fault_subject* const file = subject_of(what)) write_whole_file(path(), file->contents);
}

int fault_trials::try_it(const fault_operation& what, mode how, const failing_calls::fault& fault)
{
    const fault_subject* const file = subject_of(what);
    fault_trial now;
    now.path = path();
    now.elsewhere = elsewhere_;
    now.is_picture = file == nullptr || file->is_picture;
    {
        running_library library(how, {2 * picture_tile_bytes, 2});
        cv_printf = say_nothing;
        cv_max_lres_hor = cv_max_lres_vert = fault_frame;
        iocache_host_set_option("new_file_folder", folder_.file("").c_str());
        const size_t descriptors = open_descriptors();
        if (what.begins_open) now.open();
        what.before(now);
        failing_calls::arm(fault);
        what.act(now);
        outcome_->calls = failing_calls::disarm();
        outcome_->came = failing_calls::has_failed();
        look_around(descriptors);
    }
    if (file != nullptr) look_at_file(*file, now.path, how);
    return 0;
}

void fault_trials::look_around(size_t descriptors)
{
    for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) {
        if (tile->locked != 0) return outcome_->note("a tile stays locked");
    }
    canvas_close_all();
    if (used_slots() != 0) outcome_->note("a canvas cannot be closed");
    // An old file for which the host has no name for a new one stays open, as hosts expect.
    if (open_descriptors() != descriptors && cv_errno != no_new_name)
        outcome_->note(std::to_string(open_descriptors()) + " descriptors instead of " + std::to_string(descriptors));
    outcome_->kills = host().kills();
}

// Without faults: it opens, and shows what it showed but where the operation drew.

void fault_trials::look_at_file(const fault_subject& before, const std::string& where, mode how)
{
    if (!exists(where)) return outcome_->note("the file is gone");
    const running_library library(how, {8 * picture_tile_bytes, 2});
    cv_printf = say_nothing;
    const int32_t canvas = canvas_old(where.c_str());
    if (canvas < 0) return outcome_->note("the file does not open: " + host().last_message());
    const bytes pixels = pixels_of(canvas, before.is_picture);
    canvas_close(canvas);
    if (pixels.size() != before.pixels.size()) return outcome_->note("the file cannot be read");
    for (size_t place = 0; place < pixels.size(); ++place) {
        if (pixels[place] == before.pixels[place] || is_drawn_on(place, before.is_picture)) continue;
        return outcome_->note("a pixel that was saved before has changed, byte " + std::to_string(place));
    }
}
