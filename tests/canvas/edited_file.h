// A canvas file whose bytes a test changes before the library opens it.
#ifndef IOCACHE_TESTS_CANVAS_EDITED_FILE_H
#define IOCACHE_TESTS_CANVAS_EDITED_FILE_H

#include "tests/canvas/canvas_test.h"

namespace iocache_test {

// Places of header fields.
namespace field {
inline constexpr size_t x_min = 0x000;
inline constexpr size_t x_max = 0x002;
inline constexpr size_t y_min = 0x004;
inline constexpr size_t y_max = 0x006;
inline constexpr size_t image_kind = 0x014;
inline constexpr size_t has_subsampled = 0x01C;
inline constexpr size_t icon_width = 0x024;
inline constexpr size_t icon_height = 0x026;
inline constexpr size_t tile_width = 0x028;
inline constexpr size_t tile_height = 0x02A;
inline constexpr size_t tiles_across = 0x02C;
inline constexpr size_t tiles_down = 0x02E;
inline constexpr size_t scale = 0x330;
inline constexpr size_t x_offset = 0x338;
inline constexpr size_t y_offset = 0x33C;
inline constexpr size_t icon_offset = 0x340;
inline constexpr size_t subsampled_offset = 0x344;
inline constexpr size_t tile_table_offset = 0x348;
inline constexpr size_t tiles_offset = 0x34C;
inline constexpr size_t icon_bytes = 0x354;
inline constexpr size_t subsampled_bytes = 0x358;
inline constexpr size_t tile_table_bytes = 0x35C;
inline constexpr size_t tile_bytes = 0x360;
inline constexpr size_t tiles_written = 0x364;
inline constexpr size_t dirty = 0x368;
inline constexpr size_t magic = 0x36C;
inline constexpr size_t version = 0x370;
inline constexpr size_t width = 0x374;
inline constexpr size_t height = 0x378;
}  // namespace field

class edited_file {
public:
    explicit edited_file(std::string path) : path_(std::move(path)), contents_(read_whole_file(path_)) {}

    edited_file& put16(size_t offset, int32_t value) { return put(offset, 2, value); }
    edited_file& put32(size_t offset, int32_t value) { return put(offset, 4, value); }
    // An entry of the tile table.
    edited_file& put_slot(size_t tile, int32_t slot)
    {
        return put32(static_cast<size_t>(int32_at(contents_, field::tile_table_offset)) + 4 * tile, slot);
    }
    edited_file& fill(size_t from, size_t count, uint8_t value)
    {
        std::fill_n(contents_.begin() + static_cast<std::ptrdiff_t>(from), count, value);
        return *this;
    }
    edited_file& cut_to(size_t size)
    {
        contents_.resize(size);
        return *this;
    }
    void save() const { write_whole_file(path_, contents_); }

    const bytes& contents() const { return contents_; }
    int32_t number(size_t offset) const { return int32_at(contents_, offset); }

private:
    edited_file& put(size_t offset, size_t count, int32_t value)
    {
        put_big_endian(contents_, offset, count, static_cast<uint64_t>(value));
        return *this;
    }

    std::string path_;
    bytes contents_;
};

class open_test : public canvas_test {
protected:
    void SetUp() override { start(); }
    int32_t open(const std::string& name = "c") const { return canvas_old(path(name).c_str()); }
    // A cleanly closed file whose first tiles, one per 256 columns, are written.
    std::string file_with_tiles(const shape& s, int32_t tiles = 1)
    {
        cv_canvas& canvas = open_new("c", s);
        const bytes pixels(1024, 7);
        for (int32_t tile = 0; tile < tiles; ++tile)
            EXPECT_EQ(cv_storeline(canvas.index, pixels.data(), s.kind == 1 ? pixels.data() : nullptr, 0, tile * 256,
                                   tile * 256 + 255),
                      0);
        EXPECT_EQ(canvas_close(canvas.index), 0);
        return path("c");
    }
    // Not opened, with this report; the file as it was and no trace of the attempt.
    void expect_refused(int32_t result, int32_t error, const messages& told)
    {
        const bytes before = read_whole_file(path("c"));
        host().clear();
        const size_t descriptors = open_descriptors();
        const int64_t slots = used_slots();
        EXPECT_EQ(open(), result);
        expect_report(error, told);
        EXPECT_EQ(open_descriptors(), descriptors);
        EXPECT_EQ(used_slots(), slots);
        expect_nothing_held([&] {
            EXPECT_EQ(open(), result);
            host().clear();
        });
        EXPECT_TRUE(read_whole_file(path("c")) == before);
    }
};

}  // namespace iocache_test

#endif
