// How fast the library is, workload by workload, each beside its physical limit in the same run:
//
//   W1   read the rows of a 4096 x 4096 region in memory      memcpy of the same tile rows
//   W2   write them                                           the same
//   W3   read its columns                                     strided copies of the same pixels
//   W4   2,000,000 random single pixels of it                 plain array reads
//   W5   read all rows of 16384 x 16384, out of core          pread of each row of tiles, and the copies; warm and cold
//   W6   create and write all rows, close                     copies and pwrite; without and with the final sync
//   W7   5000 single pixels, each in a tile not in memory     pread of the tile
//   W8   start the library, open, one pixel                   open and pread, in a fresh process
//   W9   the whole reduced image from the tiles               pread of the tiles, and the samples
//   W10  peak resident memory of W5                           the cache's budget
//   W11  1000 stamps of 64 x 64 with the reduced image        (none)
//
// W12, importing photographs, is iocache_imports: it needs the command and image libraries.
//
//   iocache_workloads --workload W1 [--mode in-line|process] [--cache MIB] [--side PIXELS] [--scratch FOLDER]
//                     [--runs N] [--quick] [--json FILE]
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "bench/support/fail.h"
#include "bench/workloads/workloads.h"

namespace {

using namespace iocache_bench;

struct workload {
    void (*measure)(const options&, report&);
    int64_t sizes::*cache;
};

const std::map<std::string, workload> workloads = {
    {"W1", {read_cached_rows, &sizes::cached_mib}},        {"W2", {write_cached_rows, &sizes::cached_mib}},
    {"W3", {read_cached_columns, &sizes::cached_mib}},     {"W4", {read_random_pixels, &sizes::cached_mib}},
    {"W5", {read_all_rows, &sizes::out_of_core_mib}},      {"W6", {write_all_rows, &sizes::out_of_core_mib}},
    {"W7", {read_missed_pixels, &sizes::out_of_core_mib}}, {"W8", {start_and_read, &sizes::out_of_core_mib}},
    {"W9", {make_reduced_image, &sizes::out_of_core_mib}}, {"W10", {measure_peak_memory, &sizes::out_of_core_mib}},
    {"W11", {paint_stroke, &sizes::cached_mib}},
};

struct command_line {
    std::string workload;
    std::string how = "in-line";
    std::string json;
    bool quick = false;
    int32_t side = 0;
    options wanted;
};

void add_options(CLI::App& app, command_line& given)
{
    std::vector<std::string> names;
    names.reserve(workloads.size());
    for (const auto& [name, unused] : workloads) names.push_back(name);
    app.add_option("--workload", given.workload, "W1 to W11")->required()->check(CLI::IsMember(names));
    app.add_option("--mode", given.how, "in-line or process")->check(CLI::IsMember({"in-line", "process"}));
    app.add_option("--cache", given.wanted.cache_mib, "MiB of the tile cache, in place of the workload's own");
    app.add_option("--side", given.side, "Side of the picture, pixels, a multiple of 256");
    app.add_option("--scratch", given.wanted.scratch, "Folder for the files");
    app.add_option("--runs", given.wanted.runs, "Runs that count")->check(CLI::PositiveNumber);
    app.add_option("--json", given.json, "Writes the results there, too; - is standard output");
    app.add_flag("--quick", given.quick, "A small picture and few runs: tries the program, measures nothing");
}

int measure(const command_line& given, const options& wanted)
{
    const workload& chosen = workloads.at(given.workload);
    const int64_t cache = wanted.library(wanted.amounts.*chosen.cache).cache_mib;
    report found{given.workload, "iocache", given.how, {}, {}, {}, false};
    found.settings = {{"cache_mib", static_cast<double>(cache)},
                      {"side", static_cast<double>(wanted.amounts.side)},
                      {"region", static_cast<double>(wanted.amounts.region)},
                      {"runs", static_cast<double>(wanted.runs)}};
    chosen.measure(wanted, found);
    if (given.json != "-") print_table(found);
    if (!given.json.empty()) write_json(found, given.json);
    return found.pixels_are_right ? EXIT_SUCCESS : EXIT_FAILURE;
}

int run(int argument_count, char** arguments)
{
    if (argument_count > 1 && std::string(arguments[1]) == child_option)
        return run_child({arguments + 2, arguments + argument_count});
    command_line given;
    given.wanted.scratch = IOCACHE_BENCH_SCRATCH;
    CLI::App app("How fast iocache is, beside the physical limits");
    add_options(app, given);
    CLI11_PARSE(app, argument_count, arguments);
    options& wanted = given.wanted;
    if (given.quick) wanted.amounts = sizes::small();
    if (given.quick) wanted.runs = 1;
    if (given.side > 0) wanted.amounts.side = given.side;
    if (wanted.amounts.side % 256 != 0) fail("the side is not a multiple of 256");
    wanted.how = given.how == "process" ? mode::process : mode::in_line;
    wanted.self = std::filesystem::read_symlink("/proc/self/exe");
    return measure(given, wanted);
}

}  // namespace

int main(int argument_count, char** arguments)
{
    try {
        return run(argument_count, arguments);
    } catch (const std::exception& problem) {
        fail(problem.what());
    }
}
