// The command line of every peer. Names of workloads and results are those of iocache_workloads, so that the table can
// put them side by side; the pixels are checked alike.
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <CLI/CLI.hpp>

#include "bench/peers/peer.h"
#include "bench/peers/peer_bench.h"
#include "bench/support/fail.h"

namespace iocache_bench {

namespace {

int run(peer& candidate, int argument_count, char** arguments)
{
    peer_options wanted;
    bool quick = false;
    wanted.scratch = IOCACHE_BENCH_SCRATCH;
    CLI::App app(candidate.name() + " on the workloads of iocache");
    app.add_option("--workload", wanted.workload, "W1 to W10")->required();
    app.add_option("--scratch", wanted.scratch, "Folder for the files");
    app.add_option("--runs", wanted.runs, "Runs that count")->check(CLI::PositiveNumber);
    app.add_option("--json", wanted.json, "Writes the results there, too");
    app.add_flag("--quick", quick, "A small picture: tries the program, measures nothing");
    CLI11_PARSE(app, argument_count, arguments);
    if (quick) wanted.make_small();
    if (!candidate.takes_part_in(wanted.workload)) {
        std::printf("%s  %s has nothing to compare\n", wanted.workload.c_str(), candidate.name().c_str());
        return EXIT_SUCCESS;
    }
    report found{wanted.workload, candidate.name(), "", {}, candidate.settings(), {}, false};
    peer_bench(candidate, wanted, found).run();
    print_table(found);
    if (!wanted.json.empty()) write_json(found, wanted.json);
    return found.pixels_are_right ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int measure_peer(peer& candidate, int argument_count, char** arguments)
{
    try {
        return run(candidate, argument_count, arguments);
    } catch (const std::exception& problem) {
        fail(problem.what());
    }
}

}  // namespace iocache_bench
