// What all workloads of a peer stand on: its picture, rows of it, and how they are checked.
#include "bench/peers/peer_bench.h"

#include <cstring>

#include "bench/support/fail.h"

namespace iocache_bench {

namespace {

constexpr int64_t mebibyte = 1'048'576;

}  // namespace

void peer_options::make_small()
{
    side = 2048;
    region = 512;
    cached_mib = 64;
    out_of_core_mib = 8;
    random_pixels = 1000;
    missed_pixels = 200;
    starts_a_run = 1;
    runs = 1;
}

peer_bench::peer_bench(peer& candidate, const peer_options& wanted, report& found)
    : candidate_(candidate),
      wanted_(wanted),
      found_(found),
      pixels_(wanted.side),
      rows_(pixels_, candidate.layout()),
      path_(wanted.scratch / (candidate.name() + "-" + std::to_string(wanted.side) + candidate.extension())),
      buffer_(static_cast<size_t>(picture_pixel_bytes * pixels_.line_pixels()))
{}

void peer_bench::run()
{
    const std::string& workload = wanted_.workload;
    const bool cached = workload == "W1" || workload == "W2" || workload == "W3" || workload == "W4";
    const int64_t mib = cached ? wanted_.cached_mib : wanted_.out_of_core_mib;
    found_.settings = {{"cache_mib", static_cast<double>(mib)}, {"side", static_cast<double>(wanted_.side)}};
    if (workload == "W8") return start_and_read();
    if (workload == "W10") return measure_peak_memory();
    candidate_.start(mib * mebibyte);
    if (workload == "W6") return write_all_rows();
    make_picture();
    candidate_.open(path_, workload == "W2");
    if (workload == "W1") read_rows();
    if (workload == "W2") write_rows();
    if (workload == "W3") read_columns();
    if (workload == "W4") read_random_pixels();
    if (workload == "W5") read_all_rows();
    if (workload == "W7") read_missed_pixels();
    if (workload == "W9") make_reduced_image();
    candidate_.close();
}

void peer_bench::start_out_of_core()
{
    candidate_.start(wanted_.out_of_core_mib * mebibyte);
}

void peer_bench::make_picture()
{
    std::filesystem::create_directories(wanted_.scratch);
    if (!candidate_.keeps_pictures()) return candidate_.write(path_, wanted_.side, rows_);
    if (std::filesystem::exists(path_)) return;
    const auto working = wanted_.scratch / ("part-" + path_.filename().string());
    std::filesystem::remove(working);
    candidate_.write(working, wanted_.side, rows_);
    std::filesystem::rename(working, path_);
}

void peer_bench::get_row(int32_t y, int32_t count)
{
    candidate_.get_row(0, y, count, buffer_.data(), rows_.plane_bytes());
}

int64_t peer_bench::byte_place(int64_t i, int64_t band) const
{
    return rows_.layout() == row_layout::interleaved ? i * picture_pixel_bytes + band : i + band * rows_.plane_bytes();
}

bool peer_bench::buffer_is(int32_t x, int32_t y, int32_t count, int32_t turn, int64_t first) const
{
    const uint8_t* const row = rows_.row(y, turn);
    for (int64_t i = 0; i < count; ++i) {
        for (int64_t band = 0; band < picture_pixel_bytes; ++band) {
            if (buffer_[static_cast<size_t>(byte_place(first + i, band))] != row[byte_place(x + i, band)]) return false;
        }
    }
    return true;
}

bool peer_bench::rows_are_right(int32_t count, int32_t turn)
{
    for (int32_t y = 0; y < count; ++y) {
        get_row(y, count);
        if (!buffer_is(0, y, count, turn)) return false;
    }
    return true;
}

uint32_t peer_bench::sum_of(const uint8_t* five_bytes)
{
    uint32_t value = 0;
    std::memcpy(&value, five_bytes, sizeof value);
    return value + five_bytes[pattern::colour_bytes];
}

uint32_t peer_bench::expected_at(const place& at) const
{
    return pixels_.colour(at.x, at.y) + pixels_.alpha(at.x, at.y);
}

double peer_bench::time_rows(int32_t count)
{
    const stopwatch time;
    for (int32_t y = 0; y < count; ++y) {
        get_row(y, count);
        keep_memory();
    }
    return time.seconds();
}

unit peer_bench::rate(int32_t side)
{
    return unit::gigabytes_a_second(static_cast<double>(picture_pixel_bytes) * side * side);
}

}  // namespace iocache_bench
