// W8 and W10 need a process of their own for every sample: this program starts itself, and what the child has found
// comes back as one number on its standard output.
//
// W8 counts from the first line of main: starting the library, opening the picture, one pixel; the limit opens the
// file, reads header, tile table and the one tile. Loading the program is the same for both and is left out; it is
// reported beside them. W10 is the resident memory at its highest after all rows were read, as the kernel counts it.
#include <endian.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <string>

#include <iocache/iocache.h>

#include "bench/support/child.h"
#include "bench/support/fail.h"
#include "bench/support/picture.h"
#include "bench/support/raw_file.h"
#include "bench/workloads/all_rows.h"
#include "bench/workloads/workloads.h"

namespace iocache_bench {

namespace {

// What a child is asked for.
constexpr const char* start_library = "start-library";
constexpr const char* bare_read = "bare-read";
constexpr const char* peak_memory = "peak-memory";

struct pipe_ends {
    int read_end = -1;
    int write_end = -1;
};

pipe_ends open_pipe()
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) fail("cannot open a pipe");
    return {ends[0], ends[1]};
}

std::string read_all(int descriptor)
{
    std::string text;
    std::array<char, 256> some{};
    for (ssize_t got = 0; (got = ::read(descriptor, some.data(), some.size())) > 0;)
        text.append(some.data(), static_cast<size_t>(got));
    return text;
}

// Runs this program with the arguments and answers the number that it prints.
double ask_child(const std::filesystem::path& self, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {self.string(), child_option});
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    const pipe_ends answer = open_pipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, answer.write_end, STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, answer.read_end);
    pid_t child = 0;
    const int spawned = ::posix_spawn(&child, self.c_str(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(answer.write_end);
    if (spawned != 0) fail("cannot start a process");
    const std::string text = read_all(answer.read_end);
    ::close(answer.read_end);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) fail("a process of its own failed");
    return std::stod(text);
}

struct child_order {
    std::string what;
    std::filesystem::path picture;
    library_settings library;
};

double pixel_through_library(const child_order& order, const stopwatch& since_start, const pattern& expected)
{
    const running_library library(order.library);
    const int32_t canvas = canvas_old(order.picture.c_str());
    if (canvas < 0) fail("cannot open the picture");
    uint32_t alpha = 0;
    const uint32_t value = cv_ask_value_pixel(canvastable[canvas], 0, 0, &alpha);
    const double seconds = since_start.seconds();
    if (value != expected.colour(0, 0) || alpha != expected.alpha(0, 0)) fail("a wrong pixel");
    return seconds;
}

template <class Number> Number number_at(const uint8_t* bytes)
{
    Number value{};
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

double pixel_without_library(const child_order& order, const stopwatch& since_start, const pattern& expected)
{
    const raw_file file(order.picture, raw_file::purpose::read);
    const page_memory header(sizeof(cv_header));
    file.read(header.part(0, sizeof(cv_header)), 0);
    const auto field = [&](size_t offset) { return int64_t{be32toh(number_at<uint32_t>(header.data() + offset))}; };
    const int64_t table_bytes = field(offsetof(cv_header, tile_table_bytes));
    const page_memory table(table_bytes);
    file.read(table.part(0, table_bytes), field(offsetof(cv_header, tile_table_offset)));
    const int64_t slot = be32toh(number_at<uint32_t>(table.data()));
    const page_memory tile(tile_bytes);
    file.read(tile.part(0, tile_bytes), field(offsetof(cv_header, tiles_offset)) + slot * tile_bytes);
    const auto value = number_at<uint32_t>(tile.data());
    const uint8_t alpha = tile.data()[alpha_plane];
    const double seconds = since_start.seconds();
    if (value != expected.colour(0, 0) || alpha != expected.alpha(0, 0)) fail("a wrong pixel");
    return seconds;
}

double memory_of_all_rows(const child_order& order)
{
    const running_library library(order.library);
    const open_picture picture(order.picture);
    line buffer(picture.side());
    get_all_rows(picture, buffer);
    return highest_resident_memory();
}

std::vector<std::string> order_for(const options& wanted, const char* what, const library_settings& settings)
{
    return {what, picture_path({wanted.scratch, wanted.amounts.side}).string(), name_of(settings.how),
            std::to_string(settings.cache_mib)};
}

void prepare_picture(const options& wanted, const library_settings& settings, report& found)
{
    const pattern pixels(wanted.amounts.side);
    const running_library library(settings);
    const picture_place place{wanted.scratch, wanted.amounts.side};
    make_picture(place, pixels);
    const open_picture picture(picture_path(place));
    found.pixels_are_right = picture.has_pattern(pixels, wanted.amounts.side);
}

}  // namespace

int run_child(const std::vector<std::string>& arguments)
{
    const stopwatch since_start;
    if (arguments.size() != 4) fail("a child needs four arguments");
    const mode how = arguments[2] == name_of(mode::process) ? mode::process : mode::in_line;
    const child_order order{arguments[0], arguments[1], {how, std::stol(arguments[3])}};
    double answer = 0;
    if (order.what == peak_memory) {
        answer = memory_of_all_rows(order);
    } else {
        // Only the first pixels are compared, so a short pattern will do. It is made before the clock counts.
        const pattern expected(tile_side);
        const stopwatch time;
        const bool through_library = order.what == start_library;
        answer = through_library ? pixel_through_library(order, time, expected)
                                 : pixel_without_library(order, time, expected);
    }
    std::printf("%.9f\n", answer);
    return EXIT_SUCCESS;
}

void start_and_read(const options& wanted, report& found)
{
    const library_settings settings = wanted.library(wanted.amounts.out_of_core_mib);
    prepare_picture(wanted, settings, found);
    const auto child = [&](const char* what) {
        return contender{what == start_library ? "library" : "limit", [&wanted, &settings, what] {
                             return ask_child(wanted.self, order_for(wanted, what, settings));
                         }};
    };
    const int starts = wanted.runs * wanted.amounts.starts_a_run;
    found.add(measure_in_turn({child(start_library), child(bare_read)}, starts, unit::milliseconds()));
}

void measure_peak_memory(const options& wanted, report& found)
{
    const library_settings settings = wanted.library(wanted.amounts.out_of_core_mib);
    prepare_picture(wanted, settings, found);
    series peaks{"library", "MiB", false, {}};
    series budget{"limit", "MiB", false, {static_cast<double>(settings.cache_mib)}};
    for (int run = 0; run < wanted.runs; ++run)
        peaks.samples.push_back(ask_child(wanted.self, order_for(wanted, peak_memory, settings)));
    found.add({peaks, budget});
}

}  // namespace iocache_bench
