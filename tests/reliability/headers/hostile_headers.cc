// Headers that lie, without an exception: every byte of the header in turn takes every value, and every pair of its
// numbers takes values at the edges. Each file is opened, used and closed; whatever opens is drawn on.
//
// Exit code 0: nothing died, hung, asked the host to end, or was left behind. To be run under sanitizers too: the
// variants of one byte, or of one pair, run in one process, and --jobs processes share the cases. Without --all a sample
// is taken until the time is over.
#include <random>

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/canvas/canvas_test.h"
#include "tests/reliability/headers/hostile_cases.h"
#include "tests/reliability/laboratory.h"
#include "tests/reliability/oracle.h"

namespace {

using namespace iocache_test;

constexpr int32_t small_frame = 128;  // so that a small canvas has a reduced image

int say_nothing(const char* /*format*/, ...)
{
    return 0;
}

// Shared by all processes that work on a file of one kind, in one mode.
struct counts {
    std::atomic<int64_t> bytes_done{0};
    std::atomic<int64_t> pairs_done{0};
    std::atomic<int64_t> variants{0};
    std::atomic<int64_t> opened{0};
    std::atomic<int64_t> left_behind{0};
    std::atomic<int64_t> accidents{0};
};

// A sound canvas, made anew with a lie in it for each variant.
class hostile_file {
public:
    hostile_file(std::string path, int32_t kind) : path_(std::move(path))
    {
        std::filesystem::remove(path_);
        const auto make = [&] {
            const running_library library(mode::in_line);
            cv_max_lres_hor = cv_max_lres_vert = small_frame;
            const int32_t number = canvas_new(path_.c_str(), kind, 0, 0, 299, 139, 10, 0);
            cv_mark_canvas_save(number);
            const bytes pixels(size_t{4} * 300, 7);
            cv_storeline(number, pixels.data(), kind == 1 ? pixels.data() : nullptr, 5, 0, 299);
            return canvas_close(number);
        };
        if (run_in_child(make).exit_code != 0) std::abort();
        contents_ = read_whole_file(path_);
    }

    // In place: a file that is emptied and filled again costs a file system several times as much. Pixels stay as the
    // last variant left them: nothing goes by them, but for a lie that makes something else of them.
    void write(const variant& changes) const
    {
        bytes header(contents_.begin(), contents_.begin() + header_bytes);
        for (const change& one : changes)
            std::copy(one.value.begin(), one.value.end(), header.begin() + static_cast<std::ptrdiff_t>(one.place));
        const int file = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        const auto rest = static_cast<size_t>(int32_at(contents_, tiles_offset_field)) - header_bytes;
        const bool written = pwrite(file, header.data(), header_bytes, 0) == ssize_t{header_bytes} &&
                             pwrite(file, &contents_[header_bytes], rest, header_bytes) == static_cast<ssize_t>(rest) &&
                             ftruncate(file, static_cast<off_t>(contents_.size())) == 0;
        if (!written || close(file) != 0) std::abort();
    }
    const bytes& contents() const { return contents_; }
    const std::string& path() const { return path_; }

private:
    static constexpr int header_bytes = iocache::canvas::header_bytes;
    static constexpr size_t tiles_offset_field = 0x34C;
    std::string path_;
    bytes contents_;
};

// Everything that goes by the header: lines, columns, pixels, reduced image, icon, blocks, margins.
void use(int32_t number)
{
    const cv_canvas& record = *canvastable[number];
    const cv_geometry view = record.geom_orig;
    bytes colour(4 * static_cast<size_t>(std::max(view.width, view.height)), 3);
    bytes alpha(static_cast<size_t>(std::max(view.width, view.height)), 3);
    for (const int32_t y : {view.y_min, view.y_min + view.height / 2, view.y_max}) {
        cv_getline(number, colour.data(), alpha.data(), y, view.x_min, view.x_max);
        cv_storeline(number, colour.data(), alpha.data(), y, view.x_min, view.x_max);
    }
    uint32_t pixel_alpha = 0;
    cv_ask_value_pixel(canvastable[number], view.x_max, view.y_max, &pixel_alpha);
    cv_read_subsampled(number);
    cv_write_icon(number);
    cv_tqcms_proc_get(number);
    cv_ink_color_def_get(number);
    cv_clear_side(number);
}

void open_and_use(const hostile_file& file, counts& all)
{
    const size_t descriptors = open_descriptors();
    host().clear();
    ++all.variants;
    const int32_t number = canvas_old(file.path().c_str());
    if (number >= 0) {
        ++all.opened;
        use(number);
        canvas_close(number);
    }
    if (used_slots() != 0 || open_descriptors() != descriptors || host().kills() != 0) ++all.left_behind;
}

// Works off cases, those of one after the other in one child.
class bench {
public:
    bench(const hostile_file& file, mode how, counts& all) : file_(file), how_(how), all_(all) {}

    void run(const hostile_case& one)
    {
        *current_ = 0;
        const std::vector<variant> variants = variants_of(one, fields_, file_.contents());
        const child_end end = run_in_child([&] { return try_all(variants); }, most_seconds);
        ++(one.is_pair ? all_.pairs_done : all_.bytes_done);
        if (end.exit_code == 0) return;
        ++all_.accidents;
        std::printf("%s, variant %lld: %s %d\n", name_of(one, fields_).c_str(),
                    static_cast<long long>(current_->load()), end.hung() ? "hung" : "died with",
                    end.hung() ? 0 : end.signal);
        std::fflush(stdout);
    }

private:
    static constexpr unsigned most_seconds = 300;
    const std::vector<iocache::canvas::file_field> fields_ = fields_that_matter();
    const hostile_file& file_;
    mode how_;
    counts& all_;
    shared_object<std::atomic<int64_t>> current_;  // the variant at work, to be told when it was the last

    int try_all(const std::vector<variant>& variants)
    {
        const running_library library(how_, {8 * picture_tile_bytes, 1});
        unlink(cv_tile_sema_file);  // nothing takes it away after an accident
        cv_printf = say_nothing;
        cv_max_lres_hor = cv_max_lres_vert = small_frame;
        for (size_t i = 0; i < variants.size(); ++i) {
            *current_ = static_cast<int64_t>(i);
            file_.write(variants[i]);
            open_and_use(file_, all_);
        }
        return 0;
    }
};

struct task {
    int32_t kind;
    mode how;
    double end_seconds;  // of the whole run

    std::string name() const
    {
        return std::string(kind == 1 ? "picture" : "mask") + (how == mode::process ? ", process" : ", in-line");
    }
};

// Of all children that have ended, and theirs.
double processor_seconds()
{
    constexpr double microsecond = 1e-6;
    struct rusage used = {};
    getrusage(RUSAGE_CHILDREN, &used);
    return static_cast<double>(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
           microsecond * static_cast<double>(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
}

// On a processor of its own the client and the cache process take turns; spinning for each other would take most of
// the time.
void stay_on_one_processor(int job)
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return;
    int wanted = job % std::max(1, CPU_COUNT(&allowed));
    for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
        if (!CPU_ISSET(processor, &allowed) || wanted-- != 0) continue;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(processor, &one);
        if (sched_setaffinity(0, sizeof one, &one) != 0) std::abort();
        return;
    }
}

// One of the processes that share the cases: every jobs-th is its own.
void work(const task& now, const laboratory_options& options, int job, const laboratory_folder& folder,
          const stopwatch& watch, counts& all)
{
    stay_on_one_processor(job);
    const hostile_file file(folder.file("file" + std::to_string(job)), now.kind);
    std::vector<hostile_case> cases = all_cases(fields_that_matter().size());
    if (!options.all) std::shuffle(cases.begin(), cases.end(), std::mt19937(options.seed));
    bench one(file, now.how, all);
    for (size_t i = static_cast<size_t>(job); i < cases.size(); i += static_cast<size_t>(options.jobs)) {
        if (!options.all && watch.seconds() > now.end_seconds) return;
        one.run(cases[i]);
    }
}

// Returns how much went wrong.
int64_t run_task(const task& now, const laboratory_options& options, const laboratory_folder& folder,
                 const stopwatch& watch)
{
    const shared_object<counts> all;
    const double seconds_before = processor_seconds();
    std::vector<pid_t> workers;
    for (int job = 0; job < options.jobs; ++job) {
        const pid_t worker = fork();
        if (worker == 0) {
            work(now, options, job, folder, watch, *all);
            _exit(0);
        }
        workers.push_back(worker);
    }
    for (const pid_t worker : workers) {
        int status = 0;
        waitpid(worker, &status, 0);
        if (status != 0) ++all->accidents;
    }
    const auto number = [](const std::atomic<int64_t>& value) { return static_cast<long long>(value.load()); };
    const size_t fields = fields_that_matter().size();
    std::printf("| %s | %lld of %d | %lld of %zu | %lld | %lld | %lld | %lld | %.0f |\n", now.name().c_str(),
                number(all->bytes_done), iocache::canvas::header_bytes, number(all->pairs_done),
                fields * (fields - 1) / 2, number(all->variants), number(all->opened), number(all->left_behind),
                number(all->accidents), processor_seconds() - seconds_before);
    std::fflush(stdout);
    return all->accidents + all->left_behind;
}

}  // namespace

int main(int argc, char** argv)
{
    const laboratory_options options = parse_options(argc, argv);
    setenv("CV_NO_CLOSE_SYNC", "1", 1);
    const laboratory_folder folder;
    const stopwatch watch;
    std::printf("| file | bytes done | pairs done | files opened or refused | opened | left behind | died or hung | "
                "processor seconds |\n|---|---|---|---|---|---|---|---|\n");
    std::fflush(stdout);
    std::vector<task> tasks;
    for (const int32_t kind : {0, 1}) {
        for (const mode how : {mode::in_line, mode::process}) {
            const task one{kind, how, 0};
            if (options.only.empty() || options.only == one.name()) tasks.push_back(one);
        }
    }
    int64_t troubles = 0;
    int begun = 0;
    for (task& one : tasks) {
        one.end_seconds = options.seconds * ++begun / static_cast<double>(tasks.size());
        troubles += run_task(one, options, folder, watch);
    }
    return troubles == 0 ? 0 : 1;
}
