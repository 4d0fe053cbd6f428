// Thousands of random operations on several canvases of both kinds, odd sizes, offsets and negative bounds, under the
// smallest caches, in both modes: everything read agrees with plain arrays, and so do the closed files.
//
// Longer runs: IOCACHE_MODEL_OPERATIONS sets how many operations a run makes, IOCACHE_MODEL_SEED where it begins.

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "tests/model/model_canvas.h"
#include "tests/support/library.h"

namespace iocache_test {
namespace {

constexpr int32_t default_operations = 3000;
constexpr uint32_t default_seed = 20'260'412;
constexpr int canvas_count = 5;

int64_t from_environment(const char* name, int64_t otherwise)
{
    const char* const text = std::getenv(name);
    return text != nullptr ? std::atoll(text) : otherwise;
}

struct open_canvas {
    int32_t number;
    model_canvas model;
};

// mode, zones of tile memory, workers
using setting = std::tuple<mode, int, int>;

class random_operations : public ::testing::TestWithParam<setting> {
protected:
    random_operations()
        : random_(static_cast<uint32_t>(from_environment("IOCACHE_MODEL_SEED", default_seed)) +
                  static_cast<uint32_t>(std::get<1>(GetParam())))
    {}

    int32_t below(int32_t limit) { return std::uniform_int_distribution<int32_t>(0, limit - 1)(random_); }

    std::string new_path() { return folder_.path() + "/" + std::to_string(next_file_++) + ".canvas"; }

    model_extent random_extent()
    {
        model_extent extent = {};
        extent.width = 1 + below(700);
        extent.height = 1 + below(700);
        extent.x_min = below(3) == 0 ? -below(400) : 0;
        extent.y_min = below(3) == 0 ? -below(400) : 0;
        extent.x_offset = -extent.x_min + (below(2) == 0 ? below(600) : 0);
        extent.y_offset = -extent.y_min + (below(2) == 0 ? below(600) : 0);
        return extent;
    }

    void create(int32_t kind)
    {
        const model_extent e = random_extent();
        const std::string path = new_path();
        const int32_t number =
            canvas_new(path.c_str(), kind, e.x_min, e.y_min, e.x_max(), e.y_max(), e.x_offset, e.y_offset);
        ASSERT_GE(number, 0) << host().last_message();
        ASSERT_EQ(cv_mark_canvas_save(number), 0);
        canvases_.push_back({number, model_canvas(path, kind, e)});
    }

    void store(open_canvas& canvas)
    {
        const run where = canvas.model.random_run(random_);
        const run_pixels pixels = canvas.model.random_pixels(where, random_);
        const int32_t result = where.is_row ? cv_storeline(canvas.number, pixels.colour.data(), pixels.alpha.data(),
                                                           where.y, where.x, where.x + where.length - 1)
                                            : cv_storecolumn(canvas.number, pixels.colour.data(), pixels.alpha.data(),
                                                             where.x, where.y, where.y + where.length - 1);
        ASSERT_EQ(result, 0);
        canvas.model.store(where, pixels);
    }

    void load(const open_canvas& canvas)
    {
        const run where = canvas.model.random_run(random_);
        run_pixels pixels;
        pixels.colour.resize(static_cast<size_t>(where.length) * canvas.model.pixel_bytes());
        if (canvas.model.is_picture()) pixels.alpha.resize(static_cast<size_t>(where.length));
        const int32_t result = where.is_row ? cv_getline(canvas.number, pixels.colour.data(), pixels.alpha.data(),
                                                         where.y, where.x, where.x + where.length - 1)
                                            : cv_getcolumn(canvas.number, pixels.colour.data(), pixels.alpha.data(),
                                                           where.x, where.y, where.y + where.length - 1);
        ASSERT_EQ(result, 0);
        ASSERT_TRUE(pixels == canvas.model.load(where))
            << "canvas " << canvas.number << (where.is_row ? " row " : " column ") << where.x << ", " << where.y
            << " length " << where.length;
    }

    void read_pixel(const open_canvas& canvas)
    {
        run where = canvas.model.random_run(random_);
        where.length = 1;
        const run_pixels expected = canvas.model.load(where);
        constexpr uint32_t untouched = 0xABCDEF;
        uint32_t alpha = untouched;
        const uint32_t value = cv_ask_value_pixel(canvastable[canvas.number], where.x, where.y, &alpha);
        if (canvas.model.is_picture()) {
            ASSERT_EQ(std::memcmp(&value, expected.colour.data(), sizeof value), 0);
            ASSERT_EQ(alpha, expected.alpha[0]);
        } else {
            ASSERT_EQ(value, expected.colour[0]);
            ASSERT_EQ(alpha, untouched);
        }
    }

    void request_pixel_value(const open_canvas& canvas)
    {
        run where = canvas.model.random_run(random_);
        where.length = 1;
        const run_pixels expected = canvas.model.load(where);
        parg.opcode = canvas.model.is_picture() ? 31 : 32;
        parg.req[0].canvas = canvas.number;
        parg.req[0].x = where.x;
        parg.req[0].y = where.y;
        const int32_t value = cv_tile_access();
        if (canvas.model.is_picture()) {
            ASSERT_EQ(std::memcmp(&value, expected.colour.data(), sizeof value), 0);
        } else {
            ASSERT_EQ(value, expected.colour[0]);
        }
    }

    // Two tiles at once, of two canvases.
    void read_two(const open_canvas& a, const open_canvas& b)
    {
        const std::array<const open_canvas*, 2> both = {&a, &b};
        std::array<run, 2> where = {};
        parg.opcode = 2;
        for (size_t i = 0; i < both.size(); ++i) {
            where[i] = both[i]->model.random_run(random_);
            where[i].length = 1;
            parg.req[i].canvas = both[i]->number;
            parg.req[i].x = parg.req[i].x_end = where[i].x;
            parg.req[i].y = parg.req[i].y_end = where[i].y;
            parg.req[i].write = 0;
        }
        ASSERT_EQ(cv_tile_access(), 0);
        for (size_t i = 0; i < both.size(); ++i) {
            const run_pixels expected = both[i]->model.load(where[i]);
            EXPECT_EQ(std::memcmp(parg.req[i].pixel, expected.colour.data(), expected.colour.size()), 0);
            std::atomic_ref(parg.req[i].tile->locked).store(0, std::memory_order_release);
        }
    }

    void reopen(open_canvas& canvas)
    {
        ASSERT_EQ(canvas_close(canvas.number), 0);
        ASSERT_EQ(canvas.model.difference_to_file(), "");
        canvas.number = canvas_old(canvas.model.path().c_str());
        ASSERT_GE(canvas.number, 0) << host().last_message();
    }

    void rename(open_canvas& canvas)
    {
        const std::string path = new_path();
        ASSERT_EQ(canvas_rename_file(canvas.number, path.c_str()), 0);
        canvas.model.set_path(path);
    }

    void flush(const open_canvas& canvas, int32_t what)
    {
        const int32_t result = what < 194   ? cv_flush_tiles_keep(canvas.number)
                               : what < 196 ? cv_flush_tiles(canvas.number)
                                            : canvas_flush_all();
        ASSERT_EQ(result, 0);
    }

    void operate(int zones)
    {
        open_canvas& canvas = canvases_[static_cast<size_t>(below(canvas_count))];
        const int32_t what = below(200);
        if (what < 80) return store(canvas);
        if (what < 150) return load(canvas);
        if (what < 175) return read_pixel(canvas);
        if (what < 185) return request_pixel_value(canvas);
        if (what < 190 && zones > 1) return read_two(canvas, canvases_[static_cast<size_t>(below(canvas_count))]);
        if (what < 192) return static_cast<void>(cv_start_prewrite());
        if (what < 197) return flush(canvas, what);
        if (what < 199) return reopen(canvas);
        rename(canvas);
    }

    temporary_folder folder_;
    std::vector<open_canvas> canvases_;

private:
    std::mt19937 random_;
    int next_file_ = 0;
};

TEST_P(random_operations, agree_with_plain_arrays)
{
    const auto [how, zones, workers] = GetParam();
    const running_library library(how, {.cache_bytes = zones * picture_tile_bytes, .workers = workers});
    for (int i = 0; i < canvas_count; ++i) create(i % 2);
    const int64_t operations = from_environment("IOCACHE_MODEL_OPERATIONS", default_operations);
    for (int64_t i = 0; i < operations && !HasFatalFailure(); ++i) operate(zones);
    ASSERT_FALSE(HasFatalFailure());
    for (const open_canvas& canvas : canvases_) {
        ASSERT_EQ(canvas_close(canvas.number), 0);
        ASSERT_EQ(canvas.model.difference_to_file(), "");
    }
    EXPECT_TRUE(host().messages().empty()) << host().last_message();
    EXPECT_EQ(host().kills(), 0);
    EXPECT_EQ(first_tile == nullptr, last_tile == nullptr);
}

std::string setting_name(const ::testing::TestParamInfo<setting>& info)
{
    return std::string(std::get<0>(info.param) == mode::in_line ? "in_line" : "process") + "_with_" +
           std::to_string(std::get<1>(info.param)) + "_zones";
}

INSTANTIATE_TEST_SUITE_P(, random_operations,
                         ::testing::Combine(::testing::Values(mode::in_line, mode::process),
                                            ::testing::Values(1, 2, 5, 40), ::testing::Values(2)),
                         setting_name);

}  // namespace
}  // namespace iocache_test
