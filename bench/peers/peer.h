// What a peer has to offer to be measured: a picture of its own kind on disk, behind its own cache.
//
// The pixels are those of the library's benchmarks, five bytes each: colour, then alpha, the way the peer likes rows.
// Settings are those that someone who knows the peer would choose; its program says which and why.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/support/pattern.h"
#include "bench/support/picture_format.h"

namespace iocache_bench {

inline constexpr int32_t bands = 5;

// How the bytes of a row lie in memory.
enum class row_layout {
    interleaved,  // the five bytes of a pixel together
    planar,       // five rows of single bytes, `plane_bytes` apart
};

// The pattern's rows, ready in a peer's layout.
class peer_rows {
public:
    peer_rows(const pattern& pixels, row_layout layout);

    [[nodiscard]] const uint8_t* row(int32_t y, int32_t turn = 0) const
    {
        return bytes_.data() + pattern::start_of(y + turn) * pixel_bytes_;
    }
    [[nodiscard]] int64_t plane_bytes() const { return plane_bytes_; }
    [[nodiscard]] row_layout layout() const { return layout_; }

private:
    row_layout layout_;
    int64_t pixel_bytes_;
    int64_t plane_bytes_;
    std::vector<uint8_t> bytes_;
};

// Buffers of `get` functions are laid out like peer_rows: planar ones with planes `plane_bytes` apart.
class peer {
public:
    peer() = default;
    peer(const peer&) = delete;
    peer& operator=(const peer&) = delete;
    virtual ~peer() = default;

    [[nodiscard]] virtual std::string name() const = 0;
    [[nodiscard]] virtual std::string settings() const = 0;  // in words, for the table
    [[nodiscard]] virtual std::string extension() const { return ".tif"; }
    [[nodiscard]] virtual row_layout layout() const { return row_layout::interleaved; }
    // Whether what it does in this workload can be compared with what the library does.
    [[nodiscard]] virtual bool takes_part_in(const std::string& workload) const = 0;

    // Whether a picture can be opened again. One that cannot is written before every workload, stays open until the
    // next is written, and open and close do nothing.
    [[nodiscard]] virtual bool keeps_pictures() const { return true; }
    // The file with the pixels of the picture at `path`.
    [[nodiscard]] virtual std::filesystem::path file_of(const std::filesystem::path& path) const { return path; }

    // Once, before anything else.
    virtual void start(int64_t cache_bytes) = 0;
    // A whole new picture from rows in order, written out completely at the end.
    virtual void write(const std::filesystem::path& path, int32_t side, const peer_rows& rows) = 0;
    virtual void open(const std::filesystem::path& path, bool for_writing) = 0;
    virtual void close() = 0;

    virtual void get_row(int32_t x, int32_t y, int32_t count, uint8_t* target, int64_t plane_bytes) = 0;
    virtual void put_row(int32_t /*x*/, int32_t /*y*/, int32_t /*count*/, const uint8_t* /*source*/,
                         int64_t /*plane_bytes*/)
    {}
    virtual void get_column(int32_t x, int32_t y, int32_t count, uint8_t* target, int64_t plane_bytes) = 0;
    virtual void get_pixel(int32_t x, int32_t y, uint8_t* five_bytes) = 0;
    // The picture reduced to reduced_side x reduced_side by taking single pixels.
    virtual void get_reduced(int32_t /*reduced_side*/, uint8_t* /*image*/) {}
};

// Measures the workloads that the command line names; what every peer's main calls.
int measure_peer(peer& candidate, int argument_count, char** arguments);

}  // namespace iocache_bench
