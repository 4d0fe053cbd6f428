// Random scripts of everything that a host does with canvases, beside an oracle of plain arrays.
//
// Each script runs in processes of its own: one that is killed by its script is followed by another that goes on with
// the files it finds. A script that fails is made as short as it gets, and printed in a form that --script runs again.
//
//   model_laboratory [--seconds N] [--seed N]
//   model_laboratory --script FILE
//
// Exit code 0: library and oracle agreed everywhere, nothing died, hung or was left behind.
#include <fstream>

#include "tests/model/script.h"
#include "tests/model/world.h"
#include "tests/reliability/laboratory.h"

namespace {

using namespace iocache_test;

constexpr unsigned longest_seconds = 300;  // for one process of a script; the machine may be busy
constexpr int32_t shortest_script = 20;
constexpr int32_t longest_script = 300;

class script_runner {
public:
    // Runs a script to its end. False when something failed; trouble() then says what.
    bool run(const script& what)
    {
        const laboratory_folder folder;
        notes_->begin();
        for (size_t from = 0;; from = notes_->step + 1) {
            notes_->may_die = false;
            const child_end end = run_in_child([&] { return run_from(what, folder.file("c"), from); }, longest_seconds);
            ++processes_;
            const bool was_meant = end.signal == SIGKILL && notes_->may_die;
            if (!was_meant) return judge(end);
        }
    }
    std::string trouble() const { return notes_->failure.data(); }
    const model_notes& notes() const { return *notes_; }
    int64_t processes() const { return processes_; }

private:
    shared_object<model_notes> notes_;
    int64_t processes_ = 0;

    int run_from(const script& what, const std::string& folder, size_t from)
    {
        try {
            std::filesystem::create_directories(folder);
            world(what, folder, *notes_).run(from);
            const bool is_empty = std::filesystem::is_empty(folder);
            if (!is_empty) notes_->note_failure("a file is left behind");
            return is_empty ? 0 : 1;
        } catch (const std::exception& problem) {
            notes_->note_failure(problem.what());
            return 1;
        }
    }
    bool judge(const child_end& end)
    {
        if (end.exit_code == 0) return true;
        if (end.hung()) notes_->note_failure("hangs");
        if (end.died()) notes_->note_failure("died with signal " + std::to_string(end.signal));
        return false;
    }
};

struct figures {
    int64_t scripts = 0;
    int64_t steps = 0;
    int64_t failures = 0;
};

void print_table(const figures& all, const script_runner& runner, const laboratory_options& options)
{
    const model_notes& notes = runner.notes();
    std::printf("| scripts | seeds | operations | processes | of them killed | full disks | tiles compared after a "
                "kill or a quick "
                "exit | most canvases open | failures |\n|---|---|---|---|---|---|---|---|---|\n"
                "| %lld | %u to %lld | %lld | %lld | %lld | %lld | %lld | %lld | %lld |\n",
                static_cast<long long>(all.scripts), options.seed,
                static_cast<long long>(options.seed) + all.scripts - 1, static_cast<long long>(notes.operations),
                static_cast<long long>(runner.processes()), static_cast<long long>(notes.kills),
                static_cast<long long>(notes.full_disks), static_cast<long long>(notes.tiles_looked_at),
                static_cast<long long>(notes.most_open), static_cast<long long>(all.failures));
}

int run_one(const char* path)
{
    std::ifstream in(path);
    if (!in) throw std::runtime_error(std::string("cannot read ") + path);
    const script what = read_script(in);
    script_runner runner;
    const bool holds = runner.run(what);
    std::printf("%s\n", holds ? "library and oracle agree" : runner.trouble().c_str());
    return holds ? 0 : 1;
}

int run_many(const laboratory_options& options)
{
    script_runner runner;
    figures all;
    const stopwatch watch;
    for (uint64_t seed = options.seed; watch.seconds() < options.seconds; ++seed) {
        const int32_t length = shortest_script + static_cast<int32_t>(seed * 37 % (longest_script - shortest_script));
        std::string trouble;  // of the last script that failed, which is the shortest
        const search_result found = run_random_script({.seed = seed, .most_steps = length}, [&](const script& one) {
            const bool holds = runner.run(one);
            if (!holds) trouble = runner.trouble();
            return !holds;
        });
        ++all.scripts;
        if (!found.found) continue;
        ++all.failures;
        const bool again = !runner.run(found.shortest);
        std::printf("# seed %llu: %zu steps, made %zu in %d runs\n# %s%s\n%s\n", static_cast<unsigned long long>(seed),
                    found.original.steps.size(), found.shortest.steps.size(), found.runs,
                    again ? "" : "now and then: ", trouble.c_str(), to_text(found.shortest).c_str());
        std::fflush(stdout);
    }
    print_table(all, runner, options);
    return all.failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        if (argc == 3 && std::strcmp(argv[1], "--script") == 0) return run_one(argv[2]);
        return run_many(parse_options(argc, argv));
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return 1;
    }
}
