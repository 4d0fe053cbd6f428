// The bytes of a new canvas file, laid down one number at a time from the format's description.
#ifndef IOCACHE_TESTS_CANVAS_EXPECTED_FILE_H
#define IOCACHE_TESTS_CANVAS_EXPECTED_FILE_H

#include <algorithm>
#include <bit>
#include <cstdint>
#include <string>

#include "tests/canvas/canvas_test.h"

namespace iocache_test {

// What a file's contents depend on besides its shape.
struct surroundings {
    int32_t tile_width = 256;
    int32_t tile_height = 256;
    int32_t icon_width = 100;
    int32_t icon_height = 100;
    int32_t frame_width = 1024;
    int32_t frame_height = 1024;
    std::string header_part = {};
    std::string host_name = {};
    std::string user = {};
    std::string date = {};
};

class expected_file {
public:
    expected_file(const shape& s, const surroundings& around) : shape_(s), around_(around)
    {
        lay_out();
        file_.assign(tiles_offset, 0);
        put_bounds();
        put_constants();
        put_grid_and_icon();
        put_texts();
        put_regions();
        std::fill_n(file_.begin() + table_offset, 4 * tiles_across * tiles_down, uint8_t{0xFF});
    }

    const bytes& contents() const { return file_; }

    int32_t tiles_across = 0;
    int32_t tiles_down = 0;
    double scale = 1.0;
    int32_t icon_bytes = 0;
    int32_t ink_offset = 0;
    int32_t tqcms_offset = 0;
    int32_t reduced_offset = 0;
    int32_t reduced_bytes = 0;
    int32_t table_offset = 0;
    int32_t table_bytes = 0;
    int32_t tiles_offset = 0;

private:
    static int32_t round_up(int32_t size) { return (size + 511) / 512 * 512; }

    bool is_picture() const { return shape_.kind == 1; }
    int32_t width() const { return shape_.x_max - shape_.x_min + 1; }
    int32_t height() const { return shape_.y_max - shape_.y_min + 1; }

    void lay_out()
    {
        tiles_across = (width() - 1 + shape_.x_offset) / around_.tile_width + 1;
        tiles_down = (height() - 1 + shape_.y_offset) / around_.tile_height + 1;
        icon_bytes = round_up(around_.icon_width * around_.icon_height * (is_picture() ? 4 : 1));
        ink_offset = 4096 + icon_bytes;
        tqcms_offset = ink_offset + (is_picture() ? 6144 : 0);
        reduced_offset = tqcms_offset + (is_picture() ? 153'600 : 0);
        if (width() > around_.frame_width || height() > around_.frame_height) {
            scale = std::max(1.0 * width() / around_.frame_width, 1.0 * height() / around_.frame_height);
            const auto across = static_cast<int32_t>((width() - 1) / scale + 1.0);
            const auto down = static_cast<int32_t>((height() - 1) / scale + 1.0);
            reduced_bytes = round_up(across * down * (is_picture() ? 5 : 1));
        }
        table_offset = reduced_offset + reduced_bytes;
        table_bytes = round_up(tiles_across * tiles_down * 4);
        tiles_offset = table_offset + table_bytes;
    }

    void put16(size_t offset, int32_t value) { put_big_endian(file_, offset, 2, static_cast<uint64_t>(value)); }
    void put32(size_t offset, int32_t value) { put_big_endian(file_, offset, 4, static_cast<uint64_t>(value)); }
    void put_double(size_t offset, double value) { put_big_endian(file_, offset, 8, std::bit_cast<uint64_t>(value)); }
    void put_float(size_t offset, float value) { put_big_endian(file_, offset, 4, std::bit_cast<uint32_t>(value)); }
    void put_text(size_t offset, const std::string& text)
    {
        std::ranges::copy(text, file_.begin() + static_cast<std::ptrdiff_t>(offset));
    }

    void put_bounds()
    {
        for (const size_t copy : {0x000U, 0x008U}) {
            put16(copy, shape_.x_min);
            put16(copy + 2, shape_.x_max);
            put16(copy + 4, shape_.y_min);
            put16(copy + 6, shape_.y_max);
        }
        put_double(0x330, scale);
        put32(0x338, shape_.x_offset);
        put32(0x33C, shape_.y_offset);
        put32(0x374, width());
        put32(0x378, height());
        put_float(0x380, static_cast<float>(width()) / 12.0F);
        put_float(0x384, static_cast<float>(height()) / 12.0F);
        put_float(0x388, 12.0F);
        put_float(0x38C, 12.0F);
    }
    void put_constants()
    {
        put16(0x014, is_picture() ? 3 : 0);
        put16(0x016, 3);
        put16(0x018, 1);
        put16(0x022, is_picture() ? 64 : 0);
        put32(0x36C, 414'141);
        put32(0x370, 32);
        put_text(0x37C, "MM");
        put_double(0x5F8, 0.3);
        put_double(0x600, 1.0);
        put_double(0x608, 1.7);
    }
    void put_grid_and_icon()
    {
        put16(0x024, around_.icon_width);
        put16(0x026, around_.icon_height);
        put16(0x028, around_.tile_width);
        put16(0x02A, around_.tile_height);
        put16(0x02C, tiles_across);
        put16(0x02E, tiles_down);
        put32(0x360, around_.tile_width * around_.tile_height * (is_picture() ? 5 : 1));
    }
    void put_texts()
    {
        put_text(0x030, "2.2");
        put_text(0x040, "0.6161  0.3471  0.0368");
        put_text(0x058, "0.28  0.6056  0.1144");
        put_text(0x070, "0.1528  0.0645  0.7827");
        put_text(0x088, "0.9530  1.0  0.9305");
        put_text(0x1A4, around_.header_part);
        put_text(0x1E4, around_.host_name);
        put_text(0x204, around_.user);
        put_text(0x224, around_.date);
        put_text(0x238, around_.user);
        put_text(0x258, around_.date);
        put_text(0x26C, "vexaaspect");
        put_text(0x28C, "cmyk");
        put_text(0x2AC, "C");
    }
    void put_regions()
    {
        put16(0x01C, reduced_bytes != 0 ? 1 : 0);
        put16(0x01E, reduced_bytes != 0 ? 1 : 0);
        put32(0x340, 4096);
        put32(0x344, reduced_offset);
        put32(0x348, table_offset);
        put32(0x34C, tiles_offset);
        put32(0x350, 4096);
        put32(0x354, icon_bytes);
        put32(0x358, reduced_bytes);
        put32(0x35C, table_bytes);
        put32(0x678, tqcms_offset);
        put32(0x67C, is_picture() ? 153'600 : 0);
        put32(0x680, ink_offset);
        put32(0x684, is_picture() ? 6144 : 0);
    }

    shape shape_;
    surroundings around_;
    bytes file_;
};

}  // namespace iocache_test

#endif
