// The workloads, through a peer. Names of workloads and results are those of iocache_workloads, so that the table can
// put them side by side; the pixels are checked alike.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <numeric>
#include <random>

#include <CLI/CLI.hpp>

#include "bench/peers/peer.h"
#include "bench/support/child.h"
#include "bench/support/fail.h"
#include "bench/support/measure.h"
#include "bench/support/raw_file.h"
#include "bench/support/report.h"

namespace iocache_bench {

namespace {

constexpr uint32_t seed = 20'260'407;
constexpr int64_t mebibyte = 1'048'576;
constexpr double tail = 0.99;
constexpr int32_t reduced_side = 1024;

struct peer_options {
    std::string workload;
    std::string json;
    std::filesystem::path scratch;
    int runs = 5;
    bool quick = false;
    int32_t side = 16'384;
    int32_t region = 4096;
    int64_t cached_mib = 2048;
    int64_t out_of_core_mib = 256;
    int32_t random_pixels = 100'000;  // fewer than the library's: what counts is the time of one
    int32_t missed_pixels = 5000;
    int starts_a_run = 5;
};

struct place {
    int32_t x, y;
};

// One peer, its picture, and what was asked for.
class bench {
public:
    bench(peer& candidate, const peer_options& wanted, report& found)
        : candidate_(candidate),
          wanted_(wanted),
          found_(found),
          pixels_(wanted.side),
          rows_(pixels_, candidate.layout()),
          path_(wanted.scratch / (candidate.name() + "-" + std::to_string(wanted.side) + candidate.extension())),
          buffer_(static_cast<size_t>(picture_pixel_bytes * pixels_.line_pixels()))
    {}

    void run()
    {
        const std::string& workload = wanted_.workload;
        if (workload == "W8") return starts();
        if (workload == "W10") return peak_memory();
        const bool cached = workload == "W1" || workload == "W2" || workload == "W3" || workload == "W4";
        const int64_t mib = cached ? wanted_.cached_mib : wanted_.out_of_core_mib;
        candidate_.start(mib * mebibyte);
        found_.settings = {{"cache_mib", static_cast<double>(mib)}, {"side", static_cast<double>(wanted_.side)}};
        if (workload == "W6") return writing();
        make_picture();
        candidate_.open(path_, workload == "W2");
        if (workload == "W1") rows_of_region();
        if (workload == "W2") stored_rows_of_region();
        if (workload == "W3") columns_of_region();
        if (workload == "W4") random_pixels();
        if (workload == "W5") all_rows();
        if (workload == "W7") missed_pixels();
        if (workload == "W9") reduced();
        candidate_.close();
    }

private:
    peer& candidate_;
    const peer_options& wanted_;
    report& found_;
    pattern pixels_;
    peer_rows rows_;
    std::filesystem::path path_;
    std::vector<uint8_t> buffer_;

    void make_picture()
    {
        std::filesystem::create_directories(wanted_.scratch);
        if (!candidate_.keeps_pictures()) return candidate_.write(path_, wanted_.side, rows_);
        if (std::filesystem::exists(path_)) return;
        const auto working = wanted_.scratch / ("part-" + path_.filename().string());
        std::filesystem::remove(working);
        candidate_.write(working, wanted_.side, rows_);
        std::filesystem::rename(working, path_);
    }

    void get_row(int32_t y, int32_t count) { candidate_.get_row(0, y, count, buffer_.data(), rows_.plane_bytes()); }

    // Byte `band` of the i-th pixel in the buffer, or of pixel x of a row.
    [[nodiscard]] int64_t byte_place(int64_t i, int64_t band) const
    {
        return rows_.layout() == row_layout::interleaved ? i * picture_pixel_bytes + band
                                                         : i + band * rows_.plane_bytes();
    }

    [[nodiscard]] bool buffer_is(int32_t x, int32_t y, int32_t count, int32_t turn = 0, int64_t first = 0) const
    {
        const uint8_t* const row = rows_.row(y, turn);
        for (int64_t i = 0; i < count; ++i) {
            for (int64_t band = 0; band < picture_pixel_bytes; ++band) {
                if (buffer_[static_cast<size_t>(byte_place(first + i, band))] != row[byte_place(x + i, band)])
                    return false;
            }
        }
        return true;
    }

    [[nodiscard]] bool rows_are_right(int32_t count, int32_t turn = 0)
    {
        for (int32_t y = 0; y < count; ++y) {
            get_row(y, count);
            if (!buffer_is(0, y, count, turn)) return false;
        }
        return true;
    }

    [[nodiscard]] static uint32_t sum_of(const uint8_t* five_bytes)
    {
        uint32_t value = 0;
        std::memcpy(&value, five_bytes, sizeof value);
        return value + five_bytes[pattern::colour_bytes];
    }

    [[nodiscard]] uint32_t expected_at(const place& at) const
    {
        return pixels_.colour(at.x, at.y) + pixels_.alpha(at.x, at.y);
    }

    double time_rows(int32_t count)
    {
        const stopwatch time;
        for (int32_t y = 0; y < count; ++y) {
            get_row(y, count);
            keep_memory();
        }
        return time.seconds();
    }

    static unit rate(int32_t side)
    {
        return unit::gigabytes_a_second(static_cast<double>(picture_pixel_bytes) * side * side);
    }

    void rows_of_region()
    {
        found_.pixels_are_right = rows_are_right(wanted_.region);
        found_.add(measure_in_turn({{"library", [&] { return time_rows(wanted_.region); }}}, wanted_.runs,
                                   rate(wanted_.region)));
    }

    void stored_rows_of_region()
    {
        found_.pixels_are_right = rows_are_right(wanted_.region);
        int32_t turn = 0;
        const auto store = [&](int32_t with_turn) {
            const stopwatch time;
            for (int32_t y = 0; y < wanted_.region; ++y) {
                candidate_.put_row(0, y, wanted_.region, rows_.row(y, with_turn), rows_.plane_bytes());
                keep_memory();
            }
            return time.seconds();
        };
        found_.add(measure_in_turn({{"library", [&] { return store(++turn); }}}, wanted_.runs, rate(wanted_.region)));
        found_.pixels_are_right = found_.pixels_are_right && rows_are_right(wanted_.region, turn);
        store(0);  // the picture has its own pixels again
    }

    void columns_of_region()
    {
        const auto get = [&](int32_t x) {
            candidate_.get_column(x, 0, wanted_.region, buffer_.data(), rows_.plane_bytes());
        };
        found_.pixels_are_right = true;
        for (int32_t x = 0; x < wanted_.region; x += wanted_.region / 16) {
            get(x);
            for (int32_t y = 0; y < wanted_.region; ++y) {
                if (!buffer_is(x, y, 1, 0, y)) found_.pixels_are_right = false;
            }
        }
        const auto columns = [&] {
            const stopwatch time;
            for (int32_t x = 0; x < wanted_.region; ++x) {
                get(x);
                keep_memory();
            }
            return time.seconds();
        };
        found_.add(measure_in_turn({{"library", columns}}, wanted_.runs, rate(wanted_.region)));
    }

    void random_pixels()
    {
        found_.pixels_are_right = rows_are_right(wanted_.region);
        std::mt19937 random(seed + static_cast<uint32_t>(wanted_.quick));
        std::uniform_int_distribution<int32_t> coordinate(0, wanted_.region - 1);
        std::vector<place> places(static_cast<size_t>(wanted_.random_pixels));
        uint32_t expected = 0;
        for (place& each : places) {
            each = {coordinate(random), coordinate(random)};
            expected += expected_at(each);
        }
        const auto ask = [&] {
            uint8_t five_bytes[bands] = {};
            uint32_t sum = 0;
            const stopwatch time;
            for (const place& each : places) {
                candidate_.get_pixel(each.x, each.y, five_bytes);
                sum += sum_of(five_bytes);
            }
            const double seconds = time.seconds();
            found_.pixels_are_right = found_.pixels_are_right && sum == expected;
            return seconds;
        };
        found_.add(measure_in_turn({{"library", ask}}, wanted_.runs,
                                   unit::nanoseconds_each(static_cast<double>(places.size()))));
    }

    void all_rows()
    {
        found_.pixels_are_right = rows_are_right(wanted_.side);
        const auto warm = [&] { return time_rows(wanted_.side); };
        const auto cold = [&] {
            candidate_.close();
            raw_file(candidate_.file_of(path_), raw_file::purpose::read).forget_pages();
            candidate_.open(path_, false);
            return time_rows(wanted_.side);
        };
        found_.add(measure_in_turn({{"library", warm}}, wanted_.runs, rate(wanted_.side)));
        found_.add(measure_in_turn({{"library, cold", cold}}, wanted_.runs, rate(wanted_.side)));
    }

    void writing()
    {
        const auto path = wanted_.scratch / ("written-" + candidate_.name() + candidate_.extension());
        std::filesystem::create_directories(wanted_.scratch);
        const auto write = [&](bool synchronise) {
            std::filesystem::remove(path);
            const stopwatch time;
            candidate_.write(path, wanted_.side, rows_);
            if (synchronise) raw_file(candidate_.file_of(path), raw_file::purpose::read).synchronise();
            return time.seconds();
        };
        found_.add(measure_in_turn({{"library", [&] { return write(false); }}}, wanted_.runs, rate(wanted_.side)));
        found_.add(measure_in_turn({{"library, with the final sync", [&] { return write(true); }}}, wanted_.runs,
                                   rate(wanted_.side)));
        candidate_.open(path, false);
        found_.pixels_are_right = rows_are_right(wanted_.side);
        candidate_.close();
        std::filesystem::remove(path);
    }

    // A pixel in every tile, the tiles in a shuffled order, over and over.
    void missed_pixels()
    {
        found_.pixels_are_right = rows_are_right(wanted_.side);
        const int32_t across = wanted_.side / tile_side;
        std::vector<int32_t> tiles(static_cast<size_t>(across) * static_cast<size_t>(across));
        std::iota(tiles.begin(), tiles.end(), 0);
        std::mt19937 random(seed + static_cast<uint32_t>(wanted_.quick));
        std::ranges::shuffle(tiles, random);
        std::uniform_int_distribution<int32_t> inside(0, tile_side - 1);
        series medians{"library", "us", false, {}};
        series tails{"library p99", "us", false, {}};
        size_t next = 0;
        for (int run = 0; run <= wanted_.runs; ++run) {
            std::vector<double> times;
            for (int32_t i = 0; i < wanted_.missed_pixels; ++i) {
                const int32_t tile = tiles[next++ % tiles.size()];
                const place at{tile % across * tile_side + inside(random), tile / across * tile_side + inside(random)};
                uint8_t five_bytes[bands] = {};
                const stopwatch time;
                candidate_.get_pixel(at.x, at.y, five_bytes);
                times.push_back(time.seconds() * 1e6);
                if (sum_of(five_bytes) != expected_at(at)) found_.pixels_are_right = false;
            }
            if (run == 0) continue;
            medians.samples.push_back(median(times));
            tails.samples.push_back(percentile(times, tail));
        }
        found_.add({medians, tails});
    }

    void reduced()
    {
        std::vector<uint8_t> image(static_cast<size_t>(picture_pixel_bytes * reduced_side * reduced_side));
        const auto reduce = [&] {
            const stopwatch time;
            candidate_.get_reduced(reduced_side, image.data());
            return time.seconds();
        };
        found_.add(measure_in_turn({{"library", reduce}}, wanted_.runs, unit::seconds()));
        found_.pixels_are_right = is_sampled(image);
    }

    // Whether every pixel of the reduced image is one of the pixels that it stands for, all at the same place.
    [[nodiscard]] bool is_sampled(const std::vector<uint8_t>& image) const
    {
        const int32_t factor = wanted_.side / reduced_side;
        for (int32_t place_in = 0; place_in < factor; ++place_in) {
            bool same = true;
            for (int32_t y = 0; same && y < reduced_side; ++y) {
                for (int32_t x = 0; same && x < reduced_side; ++x) {
                    const uint8_t* const pixel =
                        &image[static_cast<size_t>(picture_pixel_bytes) *
                               (static_cast<size_t>(y) * reduced_side + static_cast<size_t>(x))];
                    same = sum_of(pixel) == expected_at({x * factor + place_in, y * factor + place_in});
                }
            }
            if (same) return true;
        }
        return false;
    }

    // What a fresh process needs to have started the peer, opened the picture and read a pixel.
    void starts()
    {
        in_child([&] {
            candidate_.start(wanted_.out_of_core_mib * mebibyte);
            make_picture();
            return std::vector<series>{};
        });
        series found{"library", "ms", false, {}};
        for (int i = 0; i < wanted_.starts_a_run * wanted_.runs; ++i) {
            const std::vector<series> one = in_child([&] {
                uint8_t five_bytes[bands] = {};
                const stopwatch time;
                candidate_.start(wanted_.out_of_core_mib * mebibyte);
                candidate_.open(path_, false);
                candidate_.get_pixel(0, 0, five_bytes);
                const double milliseconds = time.seconds() * 1e3;
                if (sum_of(five_bytes) != expected_at({0, 0})) fail("a wrong pixel");
                return std::vector<series>{{"library", "ms", false, {milliseconds}}};
            });
            found.samples.push_back(one.at(0).samples.at(0));
        }
        found_.add({found});
        found_.pixels_are_right = true;
    }

    void peak_memory()
    {
        if (candidate_.keeps_pictures()) {
            in_child([&] {
                candidate_.start(wanted_.out_of_core_mib * mebibyte);
                make_picture();
                return std::vector<series>{};
            });
        }
        series found{"library", "MiB", false, {}};
        for (int run = 0; run < wanted_.runs; ++run) {
            const std::vector<series> one = in_child([&] {
                candidate_.start(wanted_.out_of_core_mib * mebibyte);
                if (!candidate_.keeps_pictures()) make_picture();
                candidate_.open(path_, false);
                time_rows(wanted_.side);
                if (!buffer_is(0, wanted_.side - 1, wanted_.side)) fail("a wrong row");
                return std::vector<series>{{"library", "MiB", false, {highest_resident_memory()}}};
            });
            found.samples.push_back(one.at(0).samples.at(0));
        }
        found_.add({found});
        found_.pixels_are_right = true;
    }
};

int run(peer& candidate, int argument_count, char** arguments)
{
    peer_options wanted;
    wanted.scratch = IOCACHE_BENCH_SCRATCH;
    CLI::App app(candidate.name() + " on the workloads of iocache");
    app.add_option("--workload", wanted.workload, "W1 to W10")->required();
    app.add_option("--scratch", wanted.scratch, "Folder for the files");
    app.add_option("--runs", wanted.runs, "Runs that count")->check(CLI::PositiveNumber);
    app.add_option("--json", wanted.json, "Writes the results there, too");
    app.add_flag("--quick", wanted.quick, "A small picture: tries the program, measures nothing");
    CLI11_PARSE(app, argument_count, arguments);
    if (wanted.quick) {
        wanted.side = 2048;
        wanted.region = 512;
        wanted.cached_mib = 64;
        wanted.out_of_core_mib = 8;
        wanted.random_pixels = 1000;
        wanted.missed_pixels = 200;
        wanted.starts_a_run = 1;
        wanted.runs = 1;
    }
    if (!candidate.takes_part_in(wanted.workload)) {
        std::printf("%s  %s has nothing to compare\n", wanted.workload.c_str(), candidate.name().c_str());
        return EXIT_SUCCESS;
    }
    report found{wanted.workload, candidate.name(), "", {}, candidate.settings(), {}, false};
    bench(candidate, wanted, found).run();
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
