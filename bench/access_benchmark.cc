// How fast pixels come and go, each workload beside its physical limit:
//
//   get_rows        rows of a cached 4096 x 4096 picture, a call a row        memcpy of the same tile rows
//   store_rows      the same, written                                         the same
//   get_columns     columns of it, a call a column                            strided copies of the same pixels
//   random_pixels   single pixels of it                                       plain array reads
//   missed_pixels   single pixels, each in a random tile that is not cached   pread of the tile
//
//   access_benchmark [--process] [Google Benchmark's own options]
//
// In-line mode unless --process is given. The file lies in TMPDIR, or /tmp.

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <iocache/iocache.h>
#include <iocache/iocache_host.h>

namespace {

constexpr int32_t side = 4096;
constexpr int32_t tile_side = 256;
constexpr int32_t tiles_across = side / tile_side;
constexpr int64_t tile_bytes = 327'680;
constexpr int64_t alpha_plane = 262'144;
constexpr int32_t columns_a_round = 256;  // spread over the picture
constexpr size_t pixels_a_round = 100'000;

struct line {
    std::vector<uint8_t> colour = std::vector<uint8_t>(size_t{4} * side);
    std::vector<uint8_t> alpha = std::vector<uint8_t>(size_t{side});
};

// One canvas, written once with pixels that differ, for all workloads.
class picture {
public:
    picture() : path_((std::filesystem::temp_directory_path() / "iocache-benchmark.canvas").string())
    {
        std::filesystem::remove(path_);
        number_ = canvas_new(path_.c_str(), 1, 0, 0, side - 1, side - 1, 0, 0);
        if (number_ < 0) std::exit(EXIT_FAILURE);
        line pixels;
        for (int32_t y = 0; y < side; ++y) {
            for (size_t i = 0; i < pixels.colour.size(); ++i)
                pixels.colour[i] = static_cast<uint8_t>(i * 7 + size_t(y));
            for (size_t i = 0; i < pixels.alpha.size(); ++i) pixels.alpha[i] = static_cast<uint8_t>(i + size_t(y));
            cv_storeline(number_, pixels.colour.data(), pixels.alpha.data(), y, 0, side - 1);
        }
        cv_flush_tiles_keep(number_);
    }
    ~picture() { canvas_close(number_); }  // unsaved: its file goes with it
    picture(const picture&) = delete;
    picture& operator=(const picture&) = delete;

    int32_t number() const { return number_; }
    const std::string& path() const { return path_; }
    cv_canvas& record() const { return *canvastable[number_]; }
    uint8_t* tile(int32_t x, int32_t y) const
    {
        return record().tile_cache[(y / tile_side) * tiles_across + x / tile_side]->buffer;
    }

private:
    std::string path_;
    int32_t number_;
};

picture* shown = nullptr;

void count_picture(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() * int64_t{5} * side * side);
}

void get_rows(benchmark::State& state)
{
    line pixels;
    for (auto _ : state) {
        for (int32_t y = 0; y < side; ++y)
            cv_getline(shown->number(), pixels.colour.data(), pixels.alpha.data(), y, 0, side - 1);
        benchmark::ClobberMemory();
    }
    count_picture(state);
}

void store_rows(benchmark::State& state)
{
    const line pixels;
    for (auto _ : state) {
        for (int32_t y = 0; y < side; ++y)
            cv_storeline(shown->number(), pixels.colour.data(), pixels.alpha.data(), y, 0, side - 1);
        benchmark::ClobberMemory();
    }
    count_picture(state);
}

// Both planes of one tile's part of a row.
template <class Copy> void each_tile_row(Copy copy)
{
    for (int32_t y = 0; y < side; ++y) {
        for (int32_t x = 0; x < side; x += tile_side) {
            uint8_t* const tile = shown->tile(x, y);
            const int64_t row = y % tile_side;
            copy(x, tile + row * tile_side * 4, tile + alpha_plane + row * tile_side);
        }
    }
}

void get_rows_limit(benchmark::State& state)
{
    line pixels;
    for (auto _ : state) {
        each_tile_row([&](int32_t x, const uint8_t* colour, const uint8_t* alpha) {
            std::memcpy(&pixels.colour[size_t{4} * static_cast<size_t>(x)], colour, size_t{4} * tile_side);
            std::memcpy(&pixels.alpha[static_cast<size_t>(x)], alpha, size_t{tile_side});
            benchmark::ClobberMemory();
        });
    }
    count_picture(state);
}

void store_rows_limit(benchmark::State& state)
{
    const line pixels;
    for (auto _ : state) {
        each_tile_row([&](int32_t x, uint8_t* colour, uint8_t* alpha) {
            std::memcpy(colour, &pixels.colour[size_t{4} * static_cast<size_t>(x)], size_t{4} * tile_side);
            std::memcpy(alpha, &pixels.alpha[static_cast<size_t>(x)], size_t{tile_side});
            benchmark::ClobberMemory();
        });
    }
    count_picture(state);
}

void count_columns(benchmark::State& state)
{
    state.SetBytesProcessed(state.iterations() * int64_t{5} * side * columns_a_round);
}

void get_columns(benchmark::State& state)
{
    line pixels;
    for (auto _ : state) {
        for (int32_t x = 0; x < side; x += side / columns_a_round)
            cv_getcolumn(shown->number(), pixels.colour.data(), pixels.alpha.data(), x, 0, side - 1);
        benchmark::ClobberMemory();
    }
    count_columns(state);
}

void get_columns_limit(benchmark::State& state)
{
    line pixels;
    for (auto _ : state) {
        for (int32_t x = 0; x < side; x += side / columns_a_round) {
            for (int32_t y = 0; y < side; y += tile_side) {
                const uint8_t* colour = shown->tile(x, y) + int64_t{4} * (x % tile_side);
                const uint8_t* alpha = shown->tile(x, y) + alpha_plane + x % tile_side;
                for (size_t i = 0; i < tile_side; ++i, colour += 4 * tile_side)
                    std::memcpy(&pixels.colour[4 * (static_cast<size_t>(y) + i)], colour, 4);
                for (size_t i = 0; i < tile_side; ++i, alpha += tile_side)
                    pixels.alpha[static_cast<size_t>(y) + i] = *alpha;
            }
            benchmark::ClobberMemory();
        }
    }
    count_columns(state);
}

struct place {
    int32_t x, y;
};

std::vector<place> random_places(size_t count)
{
    std::mt19937 random(20'260'407);
    std::uniform_int_distribution<int32_t> coordinate(0, side - 1);
    std::vector<place> places(count);
    for (place& p : places) p = {coordinate(random), coordinate(random)};
    return places;
}

void random_pixels(benchmark::State& state)
{
    const std::vector<place> places = random_places(pixels_a_round);
    uint32_t sum = 0;
    for (auto _ : state) {
        for (const place& p : places) {
            uint32_t alpha = 0;
            sum += cv_ask_value_pixel(&shown->record(), p.x, p.y, &alpha) + alpha;
        }
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(places.size()));
}

void random_pixels_limit(benchmark::State& state)
{
    const std::vector<place> places = random_places(pixels_a_round);
    uint32_t sum = 0;
    for (auto _ : state) {
        for (const place& p : places) {
            const uint8_t* const tile = shown->tile(p.x, p.y);
            const int64_t pixel = int64_t{p.y % tile_side} * tile_side + p.x % tile_side;
            uint32_t value = 0;
            std::memcpy(&value, tile + 4 * pixel, sizeof value);
            sum += value + tile[alpha_plane + pixel];
        }
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(places.size()));
}

// Every pixel's tile is dropped before it is asked for.
void missed_pixels(benchmark::State& state)
{
    const std::vector<place> places = random_places(1024);
    uint32_t sum = 0;
    size_t next = 0;
    for (auto _ : state) {
        state.PauseTiming();
        cv_flush_tiles(shown->number());
        state.ResumeTiming();
        const place& p = places[next++ % places.size()];
        uint32_t alpha = 0;
        sum += cv_ask_value_pixel(&shown->record(), p.x, p.y, &alpha);
    }
    benchmark::DoNotOptimize(sum);
}

void missed_pixels_limit(benchmark::State& state)
{
    const std::vector<place> places = random_places(1024);
    std::vector<uint8_t> tile(static_cast<size_t>(tile_bytes));
    const int descriptor = open(shown->path().c_str(), O_RDONLY | O_CLOEXEC);
    size_t next = 0;
    for (auto _ : state) {
        const place& p = places[next++ % places.size()];
        const int64_t slot = shown->record().tile_table[(p.y / tile_side) * tiles_across + p.x / tile_side];
        const int64_t offset = shown->record().header->tiles_offset + slot * tile_bytes;
        benchmark::DoNotOptimize(pread(descriptor, tile.data(), tile.size(), offset));
        benchmark::ClobberMemory();
    }
    close(descriptor);
}

bool take_process_option(int& argument_count, char** arguments)
{
    for (int i = 1; i < argument_count; ++i) {
        if (std::strcmp(arguments[i], "--process") != 0) continue;
        for (; i + 1 < argument_count; ++i) arguments[i] = arguments[i + 1];
        --argument_count;
        return true;
    }
    return false;
}

// A cache that holds the whole picture, in the mode that is asked for.
void start_library(bool with_process)
{
    setenv("CV_NON_CACHE_MEM", "100000000", 1);
    setenv("CV_MIN_MAIN_MEM", "256", 1);
    if (with_process) {
        setenv("CV_CACHE_PROCESS", "1", 1);
    } else {
        unsetenv("CV_CACHE_PROCESS");
        setenv("TQ_NUMPROC", "1", 1);
    }
    cv_master_init();
}

}  // namespace

int main(int argument_count, char** arguments)
{
    start_library(take_process_option(argument_count, arguments));
    benchmark::Initialize(&argument_count, arguments);
    {
        picture canvas;
        shown = &canvas;
        using function = void (*)(benchmark::State&);
        const std::vector<std::pair<const char*, function>> workloads = {
            {"get_rows", get_rows},           {"get_rows/limit", get_rows_limit},
            {"store_rows", store_rows},       {"store_rows/limit", store_rows_limit},
            {"get_columns", get_columns},     {"get_columns/limit", get_columns_limit},
            {"random_pixels", random_pixels}, {"random_pixels/limit", random_pixels_limit},
            {"missed_pixels", missed_pixels}, {"missed_pixels/limit", missed_pixels_limit}};
        for (const auto& [name, workload] : workloads) benchmark::RegisterBenchmark(name, workload)->UseRealTime();
        benchmark::RunSpecifiedBenchmarks();
    }
    cv_master_exit();
    return 0;
}
