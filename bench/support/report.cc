// Table and JSON.
#include "bench/support/report.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>

#include <nlohmann/json.hpp>

#include "bench/support/fail.h"
#include "bench/support/series_json.h"

namespace iocache_bench {

void report::add(std::vector<series> more)
{
    for (series& each : more) {
        if (!each.samples.empty()) results.push_back(std::move(each));
    }
}

void print_table(const report& found)
{
    std::printf("%s  %s %s  pixels %s\n", found.workload.c_str(), found.program.c_str(), found.mode.c_str(),
                found.pixels_are_right ? "right" : "WRONG");
    for (const series& each : found.results) {
        const auto [least, most] = std::ranges::minmax(each.samples);
        std::printf("  %-28s %11.4g %-5s (%.4g to %.4g, %zu runs)\n", each.name.c_str(), median(each.samples),
                    each.unit_name.c_str(), least, most, each.samples.size());
    }
}

void write_json(const report& found, const std::string& path)
{
    nlohmann::ordered_json all = {{"workload", found.workload}, {"program", found.program}, {"mode", found.mode}};
    for (const auto& [name, value] : found.settings) all["settings"][name] = value;
    if (!found.remark.empty()) all["remark"] = found.remark;
    all["pixels_are_right"] = found.pixels_are_right;
    for (const series& each : found.results) all["series"].push_back(as_json(each));
    const std::string text = all.dump(1) + "\n";
    if (path == "-") {
        std::cout << text;
        return;
    }
    std::ofstream file(path);
    file << text;
    if (!file.flush()) fail("cannot write " + path);
}

}  // namespace iocache_bench
