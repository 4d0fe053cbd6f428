// A disk that gets full, for real, at every page that a workload needs: a small file system in memory is filled but for
// so many pages. Then the host makes room, and the work must end in the same file as with room from the beginning; or
// the host gives up, and the file must open and show everything that had been written.
//
// Exit code 0: so it was, and nothing died or hung; 77: there is no small disk to be had. Without --all numbers of
// pages are taken by chance until the time is over.
#include <deque>
#include <random>

#include "tests/reliability/full_disk/full_disk_experiment.h"

namespace {

using namespace iocache_test;

constexpr int disk_mebibytes = 6;
constexpr int no_disk = 77;

void print(const char* name, const full_disk_figures& f)
{
    std::printf("| %s | %lld | %lld | %lld | %lld | %lld | %lld |\n", name, static_cast<long long>(f.runs),
                static_cast<long long>(f.completed), static_cast<long long>(f.other_file),
                static_cast<long long>(f.gave_up), static_cast<long long>(f.tiles_checked),
                static_cast<long long>(f.troubles));
}

int run(const laboratory_options& options, const small_disk& disk, const laboratory_folder& folder)
{
    setenv("CV_NO_CLOSE_SYNC", "1", 1);
    std::deque<full_disk_experiment> experiments;
    for (const full_disk_workload& workload : full_disk_workloads()) {
        if (!options.only.empty() && options.only != workload.name) continue;
        for (const bool is_picture : {false, true}) {
            for (const mode how : {mode::in_line, mode::process})
                experiments.emplace_back(workload, is_picture, how, disk, folder.file("elsewhere"));
        }
    }
    const stopwatch watch;
    std::mt19937 random(options.seed);
    while (options.all || watch.seconds() < options.seconds) {
        for (full_disk_experiment& one : experiments) options.all ? one.sweep() : one.sample(random);
        if (options.all) break;
    }
    std::printf(
        "| workload | runs | completed after room was made | of these, with slots in another order | given up | "
        "tiles checked then | troubles |\n|---|---|---|---|---|---|---|\n");
    full_disk_figures all;
    for (const full_disk_workload& workload : full_disk_workloads()) {
        full_disk_figures sum;
        for (const full_disk_experiment& one : experiments) {
            if (&one.workload() == &workload) sum.add(one.total());
        }
        print(workload.name, sum);
        all.add(sum);
    }
    print("all", all);
    return all.troubles == 0 ? 0 : 1;
}

int run_on_small_disk(const laboratory_options& options)
{
    const laboratory_folder folder;
    const std::string place = folder.file("disk");
    std::filesystem::create_directory(place);
    try {
        const small_disk disk(place, disk_mebibytes);
        return run(options, disk, folder);
    } catch (const no_small_disk& problem) {
        std::printf("%s\n", problem.what());
        return no_disk;
    }
}

}  // namespace

int main(int argc, char** argv)
{
    return run_laboratory(argc, argv, run_on_small_disk);
}
