// A running library for tests of reduced images: with a small cache, so that tiles come and go, and with any number of
// workers in both modes.
#ifndef IOCACHE_TESTS_REDUCED_REDUCED_TEST_H
#define IOCACHE_TESTS_REDUCED_REDUCED_TEST_H

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "tests/reduced/reduced_model.h"
#include "tests/support/library.h"
#include "tests/support/painting.h"

namespace iocache_test {

// How many workers share a run; the library takes the number up at its next run.
inline void set_workers(int32_t count)
{
    nr_procs = MP_set_nr_procs(count);
    ASSERT_EQ(nr_procs, count);
}
inline constexpr int32_t worker_counts[] = {1, 2, 4};

// A host's shared buffer of another size, with guards, for as long as this lives.
class other_rbuf {
public:
    explicit other_rbuf(size_t size, uint8_t fill = 0xA5) : before_(Rbuf), buffer_(size, fill)
    {
        Rbuf = buffer_.data();
    }
    ~other_rbuf() { Rbuf = before_; }
    other_rbuf(const other_rbuf&) = delete;
    other_rbuf& operator=(const other_rbuf&) = delete;
    guarded_buffer& buffer() { return buffer_; }

private:
    uint8_t* before_;
    guarded_buffer buffer_;
};

// Makes a canvas the host's current one of its kind, with its tables.
inline void make_current(int32_t canvas)
{
    cv_canvas* const record = canvastable[canvas];
    (record->kind == 1 ? current_canvas : current_mask) = canvas;
    (record->kind == 1 ? current_cp : current_mp) = record;
    ASSERT_EQ(canvas_make_tables(canvas), 0);
}

class reduced_test_base {
protected:
    void start_library(mode m, const settings& wanted = {12 * picture_tile_bytes, 2})
    {
        library_.reset();
        setenv("CV_NO_CLOSE_SYNC", "1", 1);  // nothing here is about a machine that loses its power
        library_ = std::make_unique<running_library>(m, wanted);
    }
    void stop() { library_.reset(); }
    std::string path(const std::string& name) const { return folder_.path() + "/" + name; }

    // A canvas that holds the painting and is the current one.
    int32_t painted_canvas(const painting& image, const std::string& name = "canvas")
    {
        const int32_t canvas = image.create(path(name));
        image.store(canvas);
        make_current(canvas);
        return canvas;
    }

private:
    temporary_folder folder_;
    std::unique_ptr<running_library> library_;
};

// In one mode.
class reduced_test : public ::testing::TestWithParam<mode>, protected reduced_test_base {
protected:
    void start(const settings& wanted = {12 * picture_tile_bytes, 2}) { start_library(GetParam(), wanted); }
};

// In one mode, with one painting.
using mode_and_painting = std::tuple<mode, painting>;
class painting_test : public ::testing::TestWithParam<mode_and_painting>, protected reduced_test_base {
protected:
    void start() { start_library(std::get<mode>(GetParam())); }
    const painting& shape() const { return std::get<painting>(GetParam()); }
};
inline std::string mode_and_painting_name(const ::testing::TestParamInfo<mode_and_painting>& info)
{
    const painting& p = std::get<painting>(info.param);
    std::string name = std::get<mode>(info.param) == mode::in_line ? "in_line" : "process";
    name += p.is_picture() ? "_picture_" : "_mask_";
    name += std::to_string(p.width()) + "x" + std::to_string(p.height());
    if (p.x_offset != 0 || p.y_offset != 0) name += "_offset";
    if (p.x_min != 0 || p.y_min != 0) name += "_negative";
    return name;
}

inline painting sized(int32_t kind, int32_t width, int32_t height)
{
    return {.kind = kind, .x_max = width - 1, .y_max = height - 1};
}
inline painting shifted(int32_t kind, rectangle bounds, int32_t x_offset, int32_t y_offset)
{
    return {.kind = kind,
            .x_min = bounds.left,
            .y_min = bounds.top,
            .x_max = bounds.right,
            .y_max = bounds.bottom,
            .x_offset = x_offset,
            .y_offset = y_offset};
}

// Below the frame, at it, above it, far above it; odd ratios; shifted grids; sizes that end just behind a tile.
inline auto every_shape()
{
    return ::testing::Combine(
        both_modes(),
        ::testing::Values(sized(1, 300, 200), sized(0, 300, 200), sized(1, 1024, 1024), sized(1, 1025, 700),
                          sized(0, 1024, 1025), sized(1, 3000, 2000), sized(0, 3000, 2000), sized(1, 31999, 37),
                          sized(0, 37, 31999), sized(1, 1537, 1281), sized(0, 1537, 1281), sized(1, 1, 1300),
                          sized(0, 1300, 1), sized(1, 4099, 3001), sized(0, 1, 1),
                          shifted(1, {0, 0, 1999, 1199}, 10, 300), shifted(0, {0, 0, 899, 699}, 255, 1),
                          shifted(1, {-50, -20, 2949, 1479}, 100, 40), shifted(0, {-600, -700, 1500, 1600}, 600, 700),
                          shifted(1, {-1, -255, 700, 500}, 1, 255)));
}

}  // namespace iocache_test

#endif
