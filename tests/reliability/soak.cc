// Fifty canvases opened, painted, read, flushed, closed and opened again for a long time: nothing may grow.
//
// After every round, in which all canvases are closed, the process is measured: resident memory, descriptors, locked
// tiles, and, while they are open, how much of the tile memory is in use. The first rounds warm up; then resident
// memory may not rise by more than a little, and the others must be the same every time.
//
// Exit code 0: nothing grew, and every pixel read was the one painted last.
#include <algorithm>
#include <fstream>
#include <random>
#include <vector>

#include "tests/reliability/laboratory.h"
#include "tests/support/library.h"
#include "tests/support/painting.h"

namespace {

using namespace iocache_test;

constexpr int32_t canvas_count = 50;
constexpr int32_t zones = 60;
constexpr int32_t side = 700;          // nine tiles a canvas
constexpr int32_t lines_a_round = 12;  // on every canvas
constexpr size_t warm_up_rounds = 6;
#ifdef __SANITIZE_ADDRESS__
constexpr int64_t most_growth_kib = 512 * 1024;  // what was freed is kept aside there
#else
constexpr int64_t most_growth_kib = 1024;
#endif
constexpr size_t most_rows = 12;  // of the table

struct sample {
    int64_t round = 0;
    int64_t resident_kib = 0;
    int64_t descriptors = 0;
    int64_t locked = 0;
    int64_t zones_in_use = 0;  // most, while the canvases were open
};

int64_t resident_kib()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) return std::atoll(line.c_str() + sizeof "VmRSS:" - 1);
    }
    throw std::runtime_error("the system does not tell how much memory is resident");
}

int64_t open_descriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// The cache side must be idle.
int64_t zones_in_use()
{
    start_all_processes();
    return std::count_if(cv_alloc_code, cv_alloc_code + cv_alloc_zones, [](uint8_t kind) { return kind != 0; });
}

class soaked_canvas {
public:
    soaked_canvas(std::string path, int32_t number) : path_(std::move(path)), kind_(number % 2), values_(side) {}

    void open()
    {
        const bool is_new = !std::filesystem::exists(path_);
        canvas_ = is_new ? canvas_new(path_.c_str(), kind_, 0, 0, side - 1, side - 1, 0, 0) : canvas_old(path_.c_str());
        if (canvas_ < 0) throw std::runtime_error(path_ + " does not open: " + host().last_message());
        cv_mark_canvas_save(canvas_);
    }
    // Every line holds one value, that of its last painting.
    void paint(int32_t y, uint8_t value)
    {
        colour_.assign(size_t{4} * side, value);
        alpha_.assign(side, value);
        expect(cv_storeline(canvas_, colour_.data(), alpha(), y, 0, side - 1) == 0, "a line is not stored");
        values_[static_cast<size_t>(y)] = value;
    }
    void read(int32_t y)
    {
        colour_.assign(size_t{4} * side, 0);
        alpha_.assign(side, 0);
        expect(cv_getline(canvas_, colour_.data(), alpha(), y, 0, side - 1) == 0, "a line is not read");
        const uint8_t value = values_[static_cast<size_t>(y)];
        const auto colour_end = colour_.begin() + (kind_ == 1 ? 4 * side : side);
        expect(std::count(colour_.begin(), colour_end, value) == colour_end - colour_.begin(), "a line differs");
        expect(kind_ == 0 || std::count(alpha_.begin(), alpha_.end(), value) == side, "a line's alpha differs");
        uint32_t pixel_alpha = 0;
        const uint32_t pixel = cv_ask_value_pixel(canvastable[canvas_], y, y, &pixel_alpha);
        expect((pixel & 0xFFU) == value, "a pixel differs");
    }
    void flush(bool lets_go) const
    {
        const int32_t result = lets_go ? cv_flush_tiles(canvas_) : cv_flush_tiles_keep(canvas_);
        expect(result == 0, "a canvas is not flushed");
    }
    void close() const { expect(canvas_close(canvas_) == 0, "a canvas is not closed"); }

private:
    std::string path_;
    int32_t kind_;
    int32_t canvas_ = -1;
    std::vector<uint8_t> values_;  // of the lines
    std::vector<uint8_t> colour_;
    std::vector<uint8_t> alpha_;

    uint8_t* alpha() { return kind_ == 1 ? alpha_.data() : nullptr; }
    void expect(bool holds, const char* otherwise) const
    {
        if (!holds) throw std::runtime_error(path_ + ": " + otherwise);
    }
};

class soak {
public:
    soak(const laboratory_folder& folder, uint32_t seed) : random_(seed)
    {
        for (int32_t i = 0; i < canvas_count; ++i) canvases_.emplace_back(folder.file(std::to_string(i)), i);
    }

    sample round(int64_t number)
    {
        sample now;
        now.round = number;
        for (soaked_canvas& canvas : canvases_) canvas.open();
        for (soaked_canvas& canvas : canvases_) work_on(canvas);
        cv_start_prewrite();
        now.zones_in_use = zones_in_use();
        now.locked = locked_tiles();
        for (soaked_canvas& canvas : canvases_) {
            if (random_() % 3 == 0) canvas.flush(random_() % 2 == 0);
            canvas.close();
        }
        now.resident_kib = resident_kib();
        now.descriptors = open_descriptors();
        return now;
    }

private:
    std::vector<soaked_canvas> canvases_;
    std::mt19937 random_;

    int32_t line() { return static_cast<int32_t>(random_() % side); }
    void work_on(soaked_canvas& canvas)
    {
        for (int32_t i = 0; i < lines_a_round; ++i) {
            canvas.paint(line(), static_cast<uint8_t>(random_()));
            canvas.read(line());
        }
        if (random_() % 10 == 0) canvas.flush(random_() % 2 == 0);
    }
};

// Every sample, or some of them when there are many, the last among them.
void print_rows(const char* how, const std::vector<sample>& samples)
{
    const size_t every = std::max<size_t>(1, (samples.size() - 1) / most_rows + 1);
    for (size_t i = 0; i < samples.size(); ++i) {
        if (i % every != 0 && i + 1 != samples.size()) continue;
        const sample& one = samples[i];
        std::printf("| %s | %lld | %lld | %lld | %lld | %lld of %d |\n", how, static_cast<long long>(one.round),
                    static_cast<long long>(one.resident_kib), static_cast<long long>(one.descriptors),
                    static_cast<long long>(one.locked), static_cast<long long>(one.zones_in_use), zones);
    }
}

// What grew after the warm-up; empty when nothing did.
std::string growth(const std::vector<sample>& samples)
{
    if (samples.size() <= warm_up_rounds) return "too few rounds: " + std::to_string(samples.size());
    const sample& first = samples[warm_up_rounds - 1];
    for (size_t i = warm_up_rounds; i < samples.size(); ++i) {
        const sample& one = samples[i];
        const std::string round = " in round " + std::to_string(one.round);
        if (one.resident_kib > first.resident_kib + most_growth_kib) return "resident memory grew" + round;
        if (one.descriptors != first.descriptors) return "descriptors grew" + round;
        if (one.locked != 0) return "tiles stay locked" + round;
        if (one.zones_in_use > zones) return "more tile memory than there is" + round;
    }
    return "";
}

// In a process of its own, so that both modes begin alike.
int run_mode(mode how, double seconds, uint32_t seed)
{
    const laboratory_folder folder;
    setenv("CV_NO_CLOSE_SYNC", "1", 1);
    const running_library library(how, {zones * picture_tile_bytes, 2});
    soak all(folder, seed);
    std::vector<sample> samples;
    const stopwatch watch;
    while (watch.seconds() < seconds || samples.size() <= warm_up_rounds)
        samples.push_back(all.round(static_cast<int64_t>(samples.size()) + 1));
    const char* const name = how == mode::in_line ? "in-line" : "process";
    print_rows(name, samples);
    const std::string trouble = growth(samples);
    if (!trouble.empty()) std::printf("%s: %s\n", name, trouble.c_str());
    if (!host().messages().empty()) std::printf("%s: %s\n", name, host().last_message().c_str());
    std::fflush(stdout);
    return trouble.empty() && host().messages().empty() ? 0 : 1;
}

int run_in_own_process(mode how, double seconds, uint32_t seed)
{
    constexpr unsigned patience_seconds = 300;
    const auto body = [&] {
        try {
            return run_mode(how, seconds, seed);
        } catch (const std::exception& problem) {
            std::fprintf(stderr, "%s\n", problem.what());
            return 1;
        }
    };
    return run_in_child(body, static_cast<unsigned>(seconds) + patience_seconds).exit_code;
}

}  // namespace

int main(int argc, char** argv)
{
    const laboratory_options options = parse_options(argc, argv);
    std::printf("| mode | round | resident memory, KiB | descriptors | locked tiles | zones in use "
                "|\n|---|---|---|---|---|---|\n");
    int failed = 0;
    for (const mode how : {mode::in_line, mode::process})
        failed |= run_in_own_process(how, options.seconds / 2, options.seed);
    return failed == 0 ? 0 : 1;
}
