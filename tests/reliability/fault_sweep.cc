// Every call that an operation makes into the system fails once, at call 1, 2, 3 ... until the operation needs no more,
// alone or with all that follow, for several reasons. Then everything is closed, and the file is opened again without
// faults.
//
// Exit code 0: nothing died, hung or was left behind, every file opens again, and no pixel that the operation was not
// about is another. Without --all a sample is taken until the time is over.
#include <array>
#include <cerrno>
#include <random>

#include "tests/canvas/canvas_test.h"
#include "tests/reliability/laboratory.h"
#include "tests/reliability/oracle.h"
#include "tests/support/block_writer.h"
#include "tests/support/failing_calls.h"

namespace {

using namespace iocache_test;
namespace failing = failing_calls;

constexpr int32_t small_frame = 128;  // so that small canvases have a reduced image
constexpr int32_t canvas_width = 600;
constexpr int32_t canvas_height = 300;
constexpr int32_t drawn_line = 5;    // operations draw on this line
constexpr int32_t drawn_column = 7;  // and on this column
constexpr int32_t new_from_x = 256;  // and on tiles that were never written, right of and below here, and nowhere else
constexpr int32_t new_from_y = 256;
constexpr int32_t new_line = 290;
constexpr size_t version_field = 0x370;
constexpr size_t dirty_field = 0x368;
constexpr int32_t no_new_name = 999'146;

int say_nothing(const char* /*format*/, ...)
{
    return 0;
}

// A file that operations work on, and the pixels it shows.
struct subject {
    std::string name;
    bool is_picture = true;
    bytes contents;
    bytes pixels;  // every line: colour, then alpha
};

bytes pixels_of(int32_t number, bool is_picture)
{
    const size_t width = canvas_width;
    bytes all;
    for (int32_t y = 0; y < canvas_height; ++y) {
        bytes line(width * (is_picture ? 5 : 1));
        if (cv_getline(number, line.data(), is_picture ? &line[4 * width] : nullptr, y, 0, canvas_width - 1) != 0)
            return {};
        all.insert(all.end(), line.begin(), line.end());
    }
    return all;
}

bool is_drawn_on(size_t place, bool is_picture)
{
    const size_t line_bytes = size_t{canvas_width} * (is_picture ? 5 : 1);
    const size_t in_line = place % line_bytes;
    const size_t colour_bytes = size_t{canvas_width} * (is_picture ? 4 : 1);
    const size_t column = in_line < colour_bytes ? in_line / (is_picture ? 4 : 1) : in_line - colour_bytes;
    const size_t line = place / line_bytes;
    return line == drawn_line || column == drawn_column || (line >= new_from_y && column >= new_from_x);
}

// What a child needs to try one operation.
struct trial {
    std::string path;
    std::string elsewhere;  // a name on another file system
    bool is_picture = true;
    int32_t canvas = -1;
    bytes line = bytes(size_t{canvas_width} * 5, 0x33);
    bytes alpha = bytes(canvas_width, 0x44);

    void draw_line() const
    {
        cv_storeline(canvas, line.data(), is_picture ? alpha.data() : nullptr, drawn_line, 0, canvas_width - 1);
    }
    // Two tiles that have no slot yet; then others, so that these leave memory.
    void draw_new_tiles() const
    {
        cv_storeline(canvas, line.data(), is_picture ? alpha.data() : nullptr, new_line, new_from_x, canvas_width - 1);
        draw_line();
    }
    void open() { canvas = canvas_old(path.c_str()); }
    void make_current() const
    {
        (is_picture ? current_canvas : current_mask) = canvas;
        (is_picture ? current_cp : current_mp) = canvastable[canvas];
        canvas_make_tables(canvas);
    }
};

struct operation {
    const char* name;
    const char* subject;                 // empty: no file before
    bool begins_open;                    // the canvas is open when the faults begin
    std::function<void(trial&)> before;  // without faults
    std::function<void(trial&)> act;
};

void nothing(trial& /*unused*/) {}

const std::vector<operation>& operations()
{
    static bytes buffer(size_t{canvas_width} * 5);
    static const auto read_line = [](trial& t) {
        cv_getline(t.canvas, buffer.data(), buffer.data(), 200, 0, canvas_width - 1);
    };
    static const auto draw = [](trial& t) { t.draw_line(); };
    static const auto draw_new = [](trial& t) { t.draw_new_tiles(); };
    static const auto make_current = [](trial& t) { t.make_current(); };
    static const std::vector<operation> all{
        {"create a picture", "", false, nothing,
         [](trial& t) { t.canvas = canvas_new(t.path.c_str(), 1, 0, 0, canvas_width - 1, canvas_height - 1, 0, 0); }},
        {"create a mask", "", false, nothing,
         [](trial& t) { t.canvas = canvas_new(t.path.c_str(), 0, 0, 0, canvas_width - 1, canvas_height - 1, 0, 0); }},
        {"open a picture", "picture", false, nothing, [](trial& t) { t.open(); }},
        {"open a mask", "mask", false, nothing, [](trial& t) { t.open(); }},
        {"open a picture that was not closed", "dirty picture", false, nothing, [](trial& t) { t.open(); }},
        {"open a mask that was not closed", "dirty mask", false, nothing, [](trial& t) { t.open(); }},
        {"open a mask of version 1", "version 1", false, nothing, [](trial& t) { t.open(); }},
        {"open a file of blocks", "blocks", false, nothing, [](trial& t) { t.open(); }},
        {"read a line", "picture", true, nothing, read_line},
        {"read a line of a mask", "mask", true, nothing, read_line},
        {"draw a line", "picture", true, nothing, draw},
        {"draw a line on a mask", "mask", true, nothing, draw},
        {"draw on new tiles", "picture", true, nothing, draw_new},
        {"draw on new tiles of a mask", "mask", true, nothing, draw_new},
        {"close with new tiles", "picture", true, draw_new, [](trial& t) { canvas_close(t.canvas); }},
        {"close with new tiles of a mask", "mask", true, draw_new, [](trial& t) { canvas_close(t.canvas); }},
        {"read a column", "picture", true, nothing,
         [](trial& t) { cv_getcolumn(t.canvas, buffer.data(), buffer.data(), 300, 0, canvas_height - 1); }},
        {"draw a column", "picture", true, nothing,
         [](trial& t) { cv_storecolumn(t.canvas, t.line.data(), t.alpha.data(), drawn_column, 0, canvas_height - 1); }},
        {"read a pixel", "picture", true, nothing,
         [](trial& t) {
             uint32_t alpha = 0;
             cv_ask_value_pixel(canvastable[t.canvas], 599, 299, &alpha);
         }},
        {"close a changed picture", "picture", true, draw, [](trial& t) { canvas_close(t.canvas); }},
        {"close a changed mask", "mask", true, draw, [](trial& t) { canvas_close(t.canvas); }},
        {"close with a new reduced image", "picture", true, draw, [](trial& t) { canvas_close_3d(t.canvas); }},
        {"close everything", "picture", true, draw, [](trial&) { canvas_close_all(); }},
        {"flush", "picture", true, draw, [](trial& t) { cv_flush_tiles_keep(t.canvas); }},
        {"flush everything", "picture", true, draw, [](trial&) { canvas_flush_all(); }},
        {"rename", "picture", true, draw,
         [](trial& t) {
             canvas_rename_file(t.canvas, (t.path + "2").c_str());
             if (!exists(t.path)) t.path += "2";
         }},
        {"resample a picture", "picture", true, make_current, [](trial&) { cv_resample_picture(); }},
        {"resample a mask", "mask", true, make_current, [](trial&) { cv_resample_mask(); }},
        {"show", "picture", true, make_current,
         [](trial& t) {
             int32_t width = 0;
             int32_t height = 0;
             cv_get_visualisation(t.canvas, &width, &height);
         }},
        {"clear the margins", "picture", true, nothing, [](trial& t) { cv_clear_side(t.canvas); }},
        {"read and write blocks", "picture", true, nothing,
         [](trial& t) {
             cv_tqcms_proc_get(t.canvas);
             cv_tqcms_proc_set(t.canvas, tqcms_proc);
             cv_ink_color_def_get(t.canvas);
             cv_ink_color_def_set(t.canvas, ink_color_def);
             cv_tqcms_procname_set(t.canvas, "some name");
         }},
        {"write and read the window", "picture", true, nothing,
         [](trial& t) {
             canvas_write_subsampled_window(canvastable[t.canvas]);
             canvas_read_subsampled_window(canvastable[t.canvas]);
             canvas_unlink_subs_window(t.canvas);
         }},
        {"copy a file", "mask", false, nothing,
         [](trial& t) { copy_file_to_file(t.path.c_str(), (t.path + ".copy").c_str()); }},
        {"move a file to another disk", "mask", false, nothing,
         [](trial& t) {
             cv_rename_file(0, t.path.c_str(), t.elsewhere.c_str());
             if (!exists(t.path)) t.path = t.elsewhere;
         }},
    };
    return all;
}

struct reason {
    const char* name;
    int error;
    bool is_short;
};
constexpr std::array<reason, 6> reasons{{{"EIO", EIO, false},
                                         {"ENOSPC", ENOSPC, false},
                                         {"EACCES", EACCES, false},
                                         {"EINTR", EINTR, false},
                                         {"ENOMEM", ENOMEM, false},
                                         {"short", EIO, true}}};

// What a trial found, shared with the child that made it.
struct outcome {
    std::atomic<int> calls{0};
    std::atomic<bool> came{false};
    std::atomic<int> kills{0};
    std::array<char, 200> trouble{};

    void note(const std::string& what)
    {
        if (trouble[0] == '\0') std::snprintf(trouble.data(), trouble.size(), "%s", what.c_str());
    }
};

class sweep {
public:
    sweep() : elsewhere_(temporary_.path() + "/moved") { make_subjects(); }

    // Runs an operation with a fault. Returns how many calls it made; 0 after an accident.
    int run(const operation& what, mode how, const failing::fault& fault, const char* why)
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
            std::printf("%s, %s, call %d, %s%s: %s\n", what.name, how == mode::process ? "process" : "in-line",
                        fault.call, why, fault.is_sticky ? " from then on" : "", outcome_->trouble.data());
            std::fflush(stdout);
        }
        return outcome_->calls;
    }
    bool fault_came() const { return outcome_->came; }
    int64_t runs() const { return runs_; }
    int64_t troubles() const { return troubles_; }
    // Runs in which the library told its host to end, as it does when a tile cannot be read.
    int64_t told_to_end() const { return told_to_end_; }

private:
    laboratory_folder folder_;
    temporary_folder temporary_;
    std::string elsewhere_;
    std::vector<subject> subjects_;
    shared_object<outcome> outcome_;
    int64_t runs_ = 0;
    int64_t troubles_ = 0;
    int64_t told_to_end_ = 0;

    std::string path() const { return folder_.file("canvas"); }

    void make_subjects()
    {
        make_canvas("picture", true, {});
        make_canvas("mask", false, {});
        make_canvas("dirty picture", true, {{dirty_field, 1}});
        make_canvas("dirty mask", false, {{dirty_field, 1}});
        make_canvas("version 1", false, {{version_field, 1}});
        old_image old;
        old.width = canvas_width;
        old.height = canvas_height;
        take("blocks", true, old_file(old));
    }
    void make_canvas(const std::string& name, bool is_picture, const std::vector<std::pair<size_t, int32_t>>& numbers)
    {
        std::filesystem::remove(path());
        const auto make = [&] {
            const running_library library(mode::in_line);
            cv_max_lres_hor = cv_max_lres_vert = small_frame;
            const int32_t canvas =
                canvas_new(path().c_str(), is_picture ? 1 : 0, 0, 0, canvas_width - 1, canvas_height - 1, 0, 0);
            cv_mark_canvas_save(canvas);
            // All but the two last tiles.
            for (int32_t y = 0; y < canvas_height; ++y) {
                const bytes colour(size_t{canvas_width} * 4, static_cast<uint8_t>(y + 1));
                const bytes alpha(canvas_width, static_cast<uint8_t>(y + 2));
                cv_storeline(canvas, colour.data(), is_picture ? alpha.data() : nullptr, y, 0,
                             y < new_from_y ? canvas_width - 1 : new_from_x - 1);
            }
            return canvas_close(canvas);
        };
        if (run_in_child(make).exit_code != 0) std::abort();
        bytes contents = read_whole_file(path());
        for (const auto& [place, number] : numbers) put_big_endian(contents, place, 4, static_cast<uint32_t>(number));
        take(name, is_picture, contents);
    }
    // Its pixels are what the library shows of it when nothing fails.
    void take(const std::string& name, bool is_picture, const bytes& contents)
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
    const subject* subject_of(const operation& what) const
    {
        const auto found = std::ranges::find(subjects_, what.subject, &subject::name);
        return found == subjects_.end() ? nullptr : &*found;
    }

    void prepare_files(const operation& what) const
    {
        for (const char* const name : {"canvas", "canvas2", "canvas.copy", "canvass", "canvas2s"})
            std::filesystem::remove(folder_.file(name));
        std::filesystem::remove(elsewhere_);
        if (const subject* const file = subject_of(what)) write_whole_file(path(), file->contents);
    }

    int try_it(const operation& what, mode how, const failing::fault& fault)
    {
        const subject* const file = subject_of(what);
        trial now;
        now.path = path();
        now.elsewhere = elsewhere_;
        now.is_picture = file == nullptr || file->is_picture;
        {
            running_library library(how, {2 * picture_tile_bytes, 2});
            cv_printf = say_nothing;
            cv_max_lres_hor = cv_max_lres_vert = small_frame;
            iocache_host_set_option("new_file_folder", folder_.file("").c_str());
            const size_t descriptors = open_descriptors();
            if (what.begins_open) now.open();
            what.before(now);
            failing::arm(fault);
            what.act(now);
            outcome_->calls = failing::disarm();
            outcome_->came = failing::has_failed();
            look_around(descriptors);
        }
        if (file != nullptr) look_at_file(*file, now.path, how);
        return 0;
    }

    void look_around(size_t descriptors)
    {
        for (const cv_tile* tile = first_tile; tile != nullptr; tile = tile->next) {
            if (tile->locked != 0) return outcome_->note("a tile stays locked");
        }
        canvas_close_all();
        if (used_slots() != 0) outcome_->note("a canvas cannot be closed");
        // An old file for which the host has no name for a new one stays open, as meant.
        if (open_descriptors() != descriptors && cv_errno != no_new_name)
            outcome_->note(std::to_string(open_descriptors()) + " descriptors instead of " +
                           std::to_string(descriptors));
        outcome_->kills = host().kills();
    }

    // Without faults: it opens, and shows what it showed but where the operation drew.
    void look_at_file(const subject& before, const std::string& where, mode how)
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
};

struct row {
    int most_calls = 0;
    int64_t runs = 0;
};

constexpr int most_calls = 400;

void sweep_all(sweep& one, row& told, const operation& what, mode how, const reason& why, bool is_sticky)
{
    for (int call = 1; call <= most_calls; ++call) {
        const int calls = one.run(what, how, {call, is_sticky, why.error, why.is_short}, why.name);
        ++told.runs;
        told.most_calls = std::max(told.most_calls, calls);
        if (!one.fault_came()) return;  // it needs no more calls
    }
}

void sample(sweep& one, row& told, const operation& what, std::mt19937& random)
{
    const reason& why = reasons[random() % reasons.size()];
    const mode how = random() % 2 == 0 ? mode::in_line : mode::process;
    const int calls = one.run(what, how, {0, false, why.error, why.is_short}, why.name);
    if (calls == 0) return;
    const int call = 1 + static_cast<int>(random() % static_cast<uint32_t>(calls));
    one.run(what, how, {call, random() % 2 == 0, why.error, why.is_short}, why.name);
    told.runs += 2;
    told.most_calls = std::max(told.most_calls, calls);
}

int run(const laboratory_options& options)
{
    unsetenv("CV_NO_CLOSE_SYNC");
    sweep one;
    std::vector<operation> wanted;
    std::ranges::copy_if(operations(), std::back_inserter(wanted),
                         [&](const operation& what) { return options.only.empty() || options.only == what.name; });
    std::vector<row> rows(wanted.size());
    std::mt19937 random(options.seed);
    const stopwatch watch;
    if (options.all) {
        for (size_t i = 0; i < rows.size(); ++i) {
            for (const mode how : {mode::in_line, mode::process}) {
                for (const reason& why : reasons) {
                    for (const bool is_sticky : {false, true}) sweep_all(one, rows[i], wanted[i], how, why, is_sticky);
                }
            }
        }
    }
    while (!options.all && !wanted.empty() && watch.seconds() < options.seconds) {
        for (size_t i = 0; i < rows.size(); ++i) sample(one, rows[i], wanted[i], random);
    }
    std::printf("| operation | calls | runs with a fault |\n|---|---|---|\n");
    for (size_t i = 0; i < rows.size(); ++i)
        std::printf("| %s | %d | %lld |\n", wanted[i].name, rows[i].most_calls, static_cast<long long>(rows[i].runs));
    std::printf("| all | | %lld |\n\nruns in which the host was told to end: %lld\ntroubles: %lld\n",
                static_cast<long long>(one.runs()), static_cast<long long>(one.told_to_end()),
                static_cast<long long>(one.troubles()));
    return one.troubles() == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return run(parse_options(argc, argv));
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return 1;
    }
}
