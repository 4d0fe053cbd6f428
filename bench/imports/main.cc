// W12: `iocache import` of a photograph of 100 megapixels, as JPEG and as TIFF. The limit is the slower of decoding
// alone and of colour conversion alone (lcms2 with the command's own profile and intent), since the command does both at
// once. The command's pixels are compared with `iocache compare`, which reads the photograph again by itself.
//
//   iocache_imports --workload W12 [--mode in-line|process] [--scratch FOLDER] [--runs N] [--quick] [--json FILE]
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <lcms2.h>

#include "bench/imports/photograph.h"
#include "bench/support/fail.h"
#include "bench/support/report.h"

namespace {

using namespace iocache_bench;

constexpr int32_t cmyk_bytes = 4;
constexpr const char* cmyk_profile = "/usr/share/color/icc/ghostscript/default_cmyk.icc";  // the command's own

struct profile_end {
    void operator()(void* handle) const { cmsCloseProfile(handle); }
};
using profile = std::unique_ptr<void, profile_end>;
struct transform_end {
    void operator()(void* handle) const { cmsDeleteTransform(handle); }
};

struct import_options {
    std::string workload;
    std::string how = "in-line";
    std::string json;
    std::filesystem::path scratch;
    int runs = 5;
    bool quick = false;
    int32_t side = 10'000;
};

// Runs the command with the arguments; the seconds until it has ended.
double run_tool(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), IOCACHE_TOOL);
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const stopwatch time;
    pid_t child = 0;
    if (::posix_spawn(&child, IOCACHE_TOOL, &quiet, nullptr, pointers.data(), environ) != 0)
        fail("cannot start " IOCACHE_TOOL);
    int status = 0;
    ::waitpid(child, &status, 0);
    const double seconds = time.seconds();
    posix_spawn_file_actions_destroy(&quiet);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) fail("the command failed: " + arguments.at(1));
    return seconds;
}

// The photograph's pixels through the transform of the import, block by block out of a cached part of it.
double convert_colours(const std::vector<uint8_t>& rows, int32_t block_rows, int32_t side)
{
    const profile from(cmsCreate_sRGBProfile());
    const profile to(cmsOpenProfileFromFile(cmyk_profile, "r"));
    if (!from || !to) fail(std::string("cannot open ") + cmyk_profile);
    const std::unique_ptr<void, transform_end> transform(
        cmsCreateTransform(from.get(), TYPE_RGB_8, to.get(), TYPE_CMYK_8, INTENT_PERCEPTUAL, 0));
    if (!transform) fail("no such conversion");
    std::vector<uint8_t> converted(static_cast<size_t>(block_rows) * static_cast<size_t>(side) * cmyk_bytes);
    const stopwatch time;
    for (int32_t y = 0; y < side; y += block_rows) {
        const auto pixels = static_cast<size_t>(std::min(block_rows, side - y)) * static_cast<size_t>(side);
        cmsDoTransform(transform.get(), rows.data(), converted.data(), static_cast<cmsUInt32Number>(pixels));
    }
    return time.seconds();
}

struct kind {
    std::string name;
    std::string extension;
    void (*make)(const std::filesystem::path&, int32_t);
    double (*decode)(const std::filesystem::path&);
};

std::filesystem::path photograph_of(const kind& what, const import_options& wanted)
{
    auto path = wanted.scratch / ("photograph-" + std::to_string(wanted.side) + what.extension);
    if (std::filesystem::exists(path)) return path;
    std::filesystem::create_directories(wanted.scratch);
    const auto working = wanted.scratch / ("part-" + path.filename().string());
    what.make(working, wanted.side);
    std::filesystem::rename(working, path);
    return path;
}

std::filesystem::path canvas_of(const kind& what, const import_options& wanted)
{
    return wanted.scratch / ("imported-" + what.name + ".canvas");
}

// The slower of the two in every run.
series slower_of(const std::string& name, const series& one, const series& other)
{
    series found{name, one.unit_name, false, {}};
    for (size_t i = 0; i < one.samples.size(); ++i) found.samples.push_back(std::max(one.samples[i], other.samples[i]));
    return found;
}

// Some rows of the photograph, for the conversion alone.
std::vector<uint8_t> some_rows(int32_t rows, int32_t side)
{
    const size_t row_bytes = static_cast<size_t>(side) * photograph_bytes;
    std::vector<uint8_t> pixels(row_bytes * static_cast<size_t>(rows));
    for (int32_t y = 0; y < rows; ++y) photograph_row(y, side, &pixels[row_bytes * static_cast<size_t>(y)]);
    return pixels;
}

contender importing(const kind& what, const import_options& wanted)
{
    std::vector<std::string> order = {"import", photograph_of(what, wanted).string(), canvas_of(what, wanted).string(),
                                      "--force"};
    if (wanted.how == "in-line") order.emplace_back("--in-line");
    return {"library, " + what.name, [order] { return run_tool(order); }};
}

contender decoding(const kind& what, const import_options& wanted)
{
    return {"decoding alone, " + what.name,
            [&what, photograph = photograph_of(what, wanted)] { return what.decode(photograph); }};
}

void measure(const import_options& wanted, report& found)
{
    constexpr int32_t block_rows = 64;
    const kind jpeg{"JPEG", ".jpg", make_jpeg, decode_jpeg};
    const kind tiff{"TIFF", ".tif", make_tiff, decode_tiff};
    const std::vector<uint8_t> rows = some_rows(block_rows, wanted.side);
    const std::vector<series> measured =
        measure_in_turn({importing(jpeg, wanted),
                         decoding(jpeg, wanted),
                         importing(tiff, wanted),
                         decoding(tiff, wanted),
                         {"colour conversion alone", [&] { return convert_colours(rows, block_rows, wanted.side); }}},
                        wanted.runs, unit::seconds());
    found.add(measured);
    found.add({slower_of("limit, JPEG", measured.at(1), measured.at(4)),
               slower_of("limit, TIFF", measured.at(3), measured.at(4))});
    for (const kind& what : {jpeg, tiff}) {
        run_tool({"compare", canvas_of(what, wanted).string(), photograph_of(what, wanted).string()});
        std::filesystem::remove(canvas_of(what, wanted));
    }
    found.pixels_are_right = true;  // or the comparison would have ended the program
}

int run(int argument_count, char** arguments)
{
    import_options wanted;
    wanted.scratch = IOCACHE_BENCH_SCRATCH;
    CLI::App app("How fast photographs are imported, beside decoding and colour conversion alone");
    app.add_option("--workload", wanted.workload, "W12")->required()->check(CLI::IsMember({"W12"}));
    app.add_option("--mode", wanted.how, "in-line or process")->check(CLI::IsMember({"in-line", "process"}));
    app.add_option("--scratch", wanted.scratch, "Folder for the files");
    app.add_option("--runs", wanted.runs, "Runs that count")->check(CLI::PositiveNumber);
    app.add_option("--json", wanted.json, "Writes the results there, too");
    app.add_flag("--quick", wanted.quick, "A small photograph: tries the program, measures nothing");
    CLI11_PARSE(app, argument_count, arguments);
    if (wanted.quick) wanted.side = 1000;
    if (wanted.quick) wanted.runs = 1;
    report found{wanted.workload, "iocache", wanted.how, {{"side", wanted.side}}, {}, {}, false};
    measure(wanted, found);
    print_table(found);
    if (!wanted.json.empty()) write_json(found, wanted.json);
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
