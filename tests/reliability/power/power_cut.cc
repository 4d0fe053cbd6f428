// Cuts the power in the middle of work on canvases: the calls of a workload are recorded, the states that a file system
// may be left in are made on a disk in memory, and each is read by the reader of the tools and opened, read and closed
// by the library, after a repair when it is refused; in-line and with the cache process.
//
// Exit code 0: nothing died, hung or was left behind, and every tile of the last synchronised close is there, but for
// sectors that were written over since. Without --all states are taken by chance until the time is over.
#include <algorithm>
#include <deque>
#include <unordered_set>

#include "tests/reliability/laboratory.h"
#include "tests/reliability/oracle.h"
#include "tests/reliability/power/power_judge.h"

namespace {

using namespace iocache_test;

constexpr unsigned most_seconds_a_state = 30;

int say_nothing(const char* /*format*/, ...)
{
    return 0;
}

uint64_t number_of(const disk& now, size_t closes)
{
    uint64_t number = closes;
    for (const auto& [name, file] : now.names) {
        const uint64_t content = content_number(now.files[file]);
        number = number * 31 + (std::hash<std::string>{}(name) ^ content);
    }
    return number;
}

class experiment {
public:
    experiment(power_workload workload, const power_places& where, std::string log_path)
        : workload_(std::move(workload)),
          where_(where),
          log_path_(std::move(log_path))
    {}

    const power_workload& workload() const { return workload_; }
    const power_figures& figures() const { return *figures_; }
    size_t calls() const { return calls_; }
    int64_t deaths() const { return deaths_; }
    int64_t hangs() const { return hangs_; }

    // All states when there is no limit to the time, or states by chance.
    void run(bool all, double seconds, uint32_t seed)
    {
        call_log log;
        record(log);
        calls_ = log.calls().size();
        const promises promised(workload_, log);
        std::mt19937 random(seed);
        const std::vector<power_state> states = all ? all_states(log, random) : std::vector<power_state>{};
        for (const mode how : {mode::in_line, mode::process}) judge_in(how, log, promised, states, seconds / 2, seed);
    }

private:
    power_workload workload_;
    const power_places& where_;
    std::string log_path_;
    shared_object<power_figures> figures_;
    size_t calls_ = 0;
    int64_t deaths_ = 0;
    int64_t hangs_ = 0;

    void record(call_log& log) const
    {
        put_on_disk({}, where_);
        const auto prepare = [&] {
            workload_.prepare();
            return 0;
        };
        const auto work = [&] {
            recorder::start(log_path_);
            workload_.run();
            recorder::stop();
            return 0;
        };
        if (run_in_child(prepare).exit_code != 0) throw std::runtime_error(workload_.name + " cannot be prepared");
        log.note_files({where_.main, where_.other});
        if (run_in_child(work).exit_code != 0) throw std::runtime_error(workload_.name + " does not come to its end");
        log.read(log_path_);
        check(log);
    }
    // A call that the recorder does not know would make everything else worthless.
    void check(const call_log& log) const
    {
        const disk now = log.whole_at(log.calls().size());
        call_log found;
        found.note_files({where_.main, where_.other});
        for (const auto& [name, file] : now.names) {
            const bytes* const real = found.before().find(name);
            if (real == nullptr || *real != now.files[file])
                throw std::runtime_error(workload_.name + " did something to " + name + " that was not recorded");
        }
        if (found.before().names.size() != now.names.size())
            throw std::runtime_error(workload_.name + " made a file that was not recorded");
    }

    void judge_in(mode how, const call_log& log, const promises& promised, const std::vector<power_state>& states,
                  double seconds, uint32_t seed)
    {
        const stopwatch watch;
        figures_->tried = 0;
        for (;;) {
            const auto body = [&] {
                const running_library library(how, {4 * picture_tile_bytes, 2});
                unlink(cv_tile_sema_file);  // nothing takes it away after an accident
                prepare_library();
                judge_all(log, promised, states, watch, seconds, seed);
                return 0;
            };
            const child_end end = run_in_child(body);
            if (end.exit_code == 0) return;
            ++(end.hung() ? hangs_ : deaths_);
            std::printf("%s, state %lld: %s\n", workload_.name.c_str(), static_cast<long long>(figures_->tried.load()),
                        end.hung() ? "hung" : "died");
            std::fflush(stdout);
        }
    }
    void prepare_library() const
    {
        cv_printf = say_nothing;
        cv_max_lres_hor = cv_max_lres_vert = power_frame;
        iocache_host_set_option("new_file_folder", where_.main.c_str());
    }
    // Goes on behind the state at which an earlier process ended.
    void judge_all(const call_log& log, const promises& promised, const std::vector<power_state>& states,
                   const stopwatch& watch, double seconds, uint32_t seed) const
    {
        power_judge judge(workload_, where_, promised, *figures_);
        std::mt19937 random(seed + static_cast<uint32_t>(figures_->tried));
        std::unordered_set<uint64_t> seen;
        for (;;) {
            const auto number = static_cast<size_t>(figures_->tried++);
            const bool is_over = states.empty() ? watch.seconds() > seconds : number >= states.size();
            if (is_over) return;
            watch_for(most_seconds_a_state);
            const power_state state = states.empty() ? any_state(log, random) : states[number];
            const disk now = disk_after(log, state);
            if (seen.insert(number_of(now, promised.closes_before(state.cut))).second) judge.look_at(now, state);
        }
    }
};

struct row {
    std::string name;
    size_t calls = 0;
    power_figures figures;
    int64_t deaths = 0;
    int64_t hangs = 0;

    void add(const experiment& one)
    {
        calls = std::max(calls, one.calls());
        figures.add(one.figures());
        deaths += one.deaths();
        hangs += one.hangs();
    }
    void print() const
    {
        const auto number = [](const std::atomic<int64_t>& value) { return static_cast<long long>(value.load()); };
        std::printf("| %s | %zu | %lld | %lld | %lld | %lld | %lld | %lld | %lld | %lld | %lld |\n", name.c_str(),
                    calls, number(figures.states), number(figures.no_file), number(figures.opened),
                    number(figures.repaired), number(figures.refused), static_cast<long long>(deaths),
                    static_cast<long long>(hangs), number(figures.tiles_checked), number(figures.tiles_wrong));
    }
};

int run(const laboratory_options& options)
{
    unsetenv("CV_NO_CLOSE_SYNC");
    const laboratory_folder memory;
    const temporary_folder disk;
    const power_places where{memory.file("main"), disk.path() + "/other"};
    for (const std::string& folder : {where.main, where.other}) std::filesystem::create_directory(folder);
    std::vector<power_workload> wanted;
    for (power_workload& one : power_workloads(where)) {
        if (options.only.empty() || options.only == one.group) wanted.push_back(std::move(one));
    }
    const double share = options.seconds / static_cast<double>(std::max<size_t>(wanted.size(), 1));
    std::deque<row> rows;
    row all{"all", 0, {}, 0, 0};
    for (power_workload& one : wanted) {
        const std::string group = one.group;
        experiment now(std::move(one), where, memory.file("log"));
        now.run(options.all, share, options.seed);
        auto found = std::ranges::find(rows, group, &row::name);
        if (found == rows.end()) {
            rows.emplace_back();
            rows.back().name = group;
            found = std::prev(rows.end());
        }
        found->add(now);
        all.add(now);
    }
    std::printf("| workload | calls | states | no file yet | opened | opened after repair | refused | deaths | hangs | "
                "older tiles checked | wrong |\n|---|---|---|---|---|---|---|---|---|---|---|\n");
    for (const row& one : rows) one.print();
    all.print();
    const int64_t left_behind = all.figures.left_behind;
    std::printf("canvases left open, hosts told to end: %lld\n", static_cast<long long>(left_behind));
    return all.figures.tiles_wrong == 0 && all.deaths == 0 && all.hangs == 0 && left_behind == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    return run_laboratory(argc, argv, run);
}
