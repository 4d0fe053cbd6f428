// What an access costs while one thing grows: tiles in memory, open canvases, the tile grid, workers.
//
//   iocache_growth [--what cached-tiles|open-canvases|grid|workers] [--scratch FOLDER] [--rounds N] [--quick]
//                  [--json FILE]
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <string>

#include <CLI/CLI.hpp>

#include "bench/growth/growth.h"
#include "bench/support/fail.h"
#include "bench/support/library.h"
#include "bench/support/picture.h"
#include "bench/support/series_json.h"

namespace {

using namespace iocache_bench;

const std::map<std::string, growth (*)(const growth_options&)> kinds = {
    {"cached-tiles", grow_cached_tiles},
    {"grid", grow_grid},
    {"open-canvases", grow_open_canvases},
    {"workers", grow_workers},
};

nlohmann::ordered_json as_json(const growth& found)
{
    nlohmann::ordered_json all = {{"name", found.name}, {"what", found.what}, {"remarks", found.remarks}};
    for (const point& each : found.points) {
        nlohmann::ordered_json at = {{"at", each.at}};
        for (const series& one : each.found) at["series"].push_back(iocache_bench::as_json(one));
        all["points"].push_back(at);
    }
    return all;
}

void print(const growth& found)
{
    for (const point& each : found.points) {
        std::printf("%g %s\n", each.at, found.what.c_str());
        for (const series& one : each.found)
            std::printf("  %-42s %10.4g %s\n", one.name.c_str(), median(one.samples), one.unit_name.c_str());
    }
}

int run(int argument_count, char** arguments)
{
    growth_options wanted;
    wanted.scratch = IOCACHE_BENCH_SCRATCH;
    std::string what;
    std::string json;
    CLI::App app("What an access to iocache costs while something grows");
    app.add_option("--what", what, "Only this one");
    app.add_option("--scratch", wanted.scratch, "Folder for the files");
    app.add_option("--rounds", wanted.rounds, "Rounds of each measurement")->check(CLI::PositiveNumber);
    app.add_option("--json", json, "Writes the results there, too");
    app.add_flag("--quick", wanted.quick, "Few and small sizes: tries the program, measures nothing");
    CLI11_PARSE(app, argument_count, arguments);
    if (wanted.quick) wanted.side = 1280;
    in_child([&] {
        const running_library library({mode::in_line, 64});
        make_picture({wanted.scratch, wanted.side}, pattern(wanted.side));
        return std::vector<series>{};
    });
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const auto& [name, grow] : kinds) {
        if (!what.empty() && name != what) continue;
        const growth found = grow(wanted);
        print(found);
        all.push_back(as_json(found));
    }
    if (all.empty()) fail("nothing is called " + what);
    if (json.empty()) return EXIT_SUCCESS;
    std::ofstream file(json);
    file << all.dump(1) << "\n";
    if (!file.flush()) fail("cannot write " + json);
    return EXIT_SUCCESS;
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
