// Kills a writer at random moments, again and again, and looks at what it leaves.
//
// After each kill the file is read by the reader of the tools, opened by the library, and, when the library refuses it,
// repaired and opened again. Every tile that had been written back before must be there, bit by bit. The next writer
// goes on with the same file, so that crash follows crash.
//
// Exit code 0: no older tile was ever changed, nothing died or hung, and every file opened, at once or repaired.
#include <deque>
#include <random>
#include <thread>

#include "tests/reliability/crash/crash_writer.h"
#include "tests/reliability/laboratory.h"
#include "tools/failure.h"
#include "tools/reader/small_images.h"
#include "tools/reader/sound_header.h"
#include "tools/repair/repair_plan.h"
#include "tools/repair/repaired_copy.h"
#include "tools/repair/replacement_file.h"
#include "tools/verify/checks.h"

namespace {

using namespace iocache_test;
namespace tools = iocache::tools;

struct figures {
    int64_t kills = 0;
    int64_t too_early = 0;  // before the canvas was complete: nothing had been written
    int64_t opened = 0;     // by the library, with every older tile
    int64_t repaired = 0;   // refused, then opened after a repair, with every older tile
    int64_t not_repaired = 0;
    int64_t older_changed = 0;  // tiles
    int64_t older_checked = 0;
    int64_t torn = 0;       // tiles that were being written and hold some of both
    int64_t accidents = 0;  // a reader died, hung or was refused by the system

    void add(const figures& other)
    {
        kills += other.kills;
        too_early += other.too_early;
        opened += other.opened;
        repaired += other.repaired;
        not_repaired += other.not_repaired;
        older_changed += other.older_changed;
        older_checked += other.older_checked;
        torn += other.torn;
        accidents += other.accidents;
    }
};

// What the library found in a child of its own.
struct library_view {
    int32_t result = 0;  // of opening
    int64_t different = 0;
};

int look_with_library(const crash_workload& workload, const oracle& notes, library_view& view)
{
    const running_library library(workload.how, {8 * picture_tile_bytes, 2});
    const int32_t canvas = canvas_old(workload.path.c_str());
    view.result = canvas;
    if (canvas < 0) return 0;
    const bool is_picture = workload.kind == 1;
    const size_t line_bytes = size_t{tile_side} * (is_picture ? 4 : 1);
    std::vector<uint8_t> tile(line_bytes * tile_side + (is_picture ? size_t{tile_side} * tile_side : 0));
    for (int32_t number = 0; number < tile_count; ++number) {
        const oracle::tile& note = notes.tiles[static_cast<size_t>(number)];
        if (note.written == 0) continue;
        const int32_t left = number % tiles_across * tile_side;
        for (int32_t line = 0; line < tile_side; ++line) {
            const auto at = static_cast<size_t>(line);
            uint8_t* const alpha = is_picture ? &tile[line_bytes * tile_side + at * tile_side] : nullptr;
            cv_getline(canvas, &tile[at * line_bytes], alpha, number / tiles_across * tile_side + line, left,
                       left + tile_side - 1);
        }
        if (content_number(tile) != note.written) ++view.different;
    }
    canvas_close(canvas);
    return 0;
}

class crash_site {
public:
    crash_site(const laboratory_folder& folder, int32_t kind, mode how, bool appends)
        : workload_{folder.file(std::to_string(kind) + mode_letter(how) + (appends ? "a" : "r")), kind, how, appends, 0}
    {}

    std::string name() const
    {
        return std::string(workload_.kind == 1 ? "picture" : "mask") +
               (workload_.how == mode::process ? ", process" : ", in-line") +
               (workload_.appends ? ", append" : ", rewrite");
    }
    const figures& total() const { return total_; }

    void crash(std::mt19937& random)
    {
        workload_.seed = static_cast<uint32_t>(random());
        notes_->is_working = false;
        kill_writer(random);
        ++total_.kills;
        settle();
        const bool is_full = workload_.appends && notes_->appends >= tile_count;
        if (is_full || random() % 200 == 0) start_afresh();
    }

private:
    static char mode_letter(mode how) { return how == mode::process ? 'p' : 'i'; }

    crash_workload workload_;
    shared_object<oracle> notes_;
    shared_object<library_view> view_;
    figures total_;

    void start_afresh()
    {
        std::filesystem::remove(workload_.path);
        notes_->forget();
        notes_->appends = 0;
    }

    void kill_writer(std::mt19937& random)
    {
        const pid_t writer = fork();
        if (writer == 0) paint_until_killed(workload_, *notes_);
        // One in ten while it creates or opens the canvas; the others at work.
        const bool at_work = random() % 10 != 0;
        for (int waited = 0; at_work && !notes_->is_working && waited < 20'000; ++waited)
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        std::this_thread::sleep_for(std::chrono::microseconds(random() % longest_work()));
        kill(writer, SIGKILL);
        int status = 0;
        waitpid(writer, &status, 0);
        if (!WIFSIGNALED(status)) ++total_.accidents;  // it could not open what had opened before
    }

    // All tiles are soon there.
    uint32_t longest_work() const { return workload_.appends ? 2'500 : 10'000; }

    bool has_written() const
    {
        for (const oracle::tile& note : notes_->tiles) {
            if (note.written != 0) return true;
        }
        return false;
    }

    void settle()
    {
        try {
            const tools::canvas_file file(workload_.path);
            const tools::sound_header sound = tools::make_sound(file);
            const bool is_complete = file.bytes() >= sound.header.tiles_offset;
            if (is_complete) return look(file, sound);
        } catch (const tools::failure&) {
            // Not even a header.
        }
        if (has_written()) {
            ++total_.not_repaired;
        } else {
            ++total_.too_early;
        }
        start_afresh();
    }

    void look(const tools::canvas_file& file, const tools::sound_header& sound)
    {
        look_with_reader(file, tools::file_map(sound.header));
        const int64_t different = total_.older_changed;
        if (opens()) {
            if (total_.older_changed == different) ++total_.opened;
            return;
        }
        if (repair() && opens()) {
            ++total_.repaired;
        } else {
            ++total_.not_repaired;
            start_afresh();
        }
    }

    void look_with_reader(const tools::canvas_file& file, const tools::file_map& map)
    {
        const tools::slot_table table = tools::read_slot_table(file, map);
        for (size_t number = 0; number < size_t{tile_count}; ++number) {
            oracle::tile& note = notes_->tiles[number];
            if (note.written == 0 && note.on_its_way == 0) continue;
            const int32_t slot = table.entries[number];
            const bool is_there = slot >= 0 && slot < file.header().tiles_written;
            const uint64_t content = is_there ? content_number(tools::read_slot(file, map, slot)) : 0;
            if (note.on_its_way != 0) {
                if (content != note.written && content != note.on_its_way) ++total_.torn;
                note.written = content;  // whatever it is: it is old now
                note.on_its_way = 0;
                continue;
            }
            ++total_.older_checked;
            if (content == note.written) continue;
            ++total_.older_changed;
            note.written = content;
        }
    }

    bool opens()
    {
        *view_ = {};
        const child_end end = run_in_child([&] { return look_with_library(workload_, *notes_, *view_); });
        if (end.exit_code != 0) ++total_.accidents;
        total_.older_changed += view_->different;
        return end.exit_code == 0 && view_->result >= 0;
    }

    bool repair() const
    {
        try {
            const tools::canvas_file file(workload_.path);
            const tools::repair_plan plan = tools::plan_repair(file, tools::table_trust::where_it_makes_sense);
            if (!plan.is_possible || !plan.is_needed() || !plan.losses.empty()) return false;
            tools::replacement_file copy(workload_.path);
            tools::write_repaired(file, plan, copy);
            const bool is_whole =
                !tools::has_damage(tools::verify(tools::canvas_file(copy.working_path()), tools::depth::full));
            copy.take_place();
            return is_whole;
        } catch (const tools::failure& problem) {
            std::fprintf(stderr, "repair: %s\n", problem.what());
            return false;
        }
    }
};

void print(const std::string& name, const figures& f)
{
    const int64_t complete = f.kills - f.too_early;
    std::printf("| %s | %lld | %lld | %lld (%.2f %%) | %lld (%.2f %%) | %lld | %lld | %lld | %lld |\n", name.c_str(),
                static_cast<long long>(f.kills), static_cast<long long>(f.too_early), static_cast<long long>(f.opened),
                share(f.opened, complete), static_cast<long long>(f.repaired), share(f.repaired, complete),
                static_cast<long long>(f.not_repaired), static_cast<long long>(f.older_checked),
                static_cast<long long>(f.older_changed), static_cast<long long>(f.torn));
}

}  // namespace

int main(int argc, char** argv)
{
    const laboratory_options options = parse_options(argc, argv);
    const laboratory_folder folder;
    std::mt19937 random(options.seed);
    std::deque<crash_site> sites;
    for (const int32_t kind : {0, 1}) {
        for (const mode how : {mode::in_line, mode::process}) {
            for (const bool appends : {true, false}) sites.emplace_back(folder, kind, how, appends);
        }
    }
    const stopwatch watch;
    while (watch.seconds() < options.seconds) {
        for (crash_site& site : sites) site.crash(random);
    }

    std::printf(
        "| writer | kills | before the canvas was complete | opened at once | opened after repair | neither "
        "| older tiles checked | changed | tiles torn while written |\n|---|---|---|---|---|---|---|---|---|\n");
    figures all;
    for (const crash_site& site : sites) {
        print(site.name(), site.total());
        all.add(site.total());
    }
    print("all", all);
    std::printf("readers that died or hung, writers that could not go on: %lld\n",
                static_cast<long long>(all.accidents));
    return all.older_changed == 0 && all.not_repaired == 0 && all.accidents == 0 ? 0 : 1;
}
