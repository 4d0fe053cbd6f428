// An independent reader of canvas files for the tests: written from the format's description, sharing nothing with the
// library. Big-endian by hand, one number at a time.
#ifndef IOCACHE_TESTS_SUPPORT_FILE_READER_H
#define IOCACHE_TESTS_SUPPORT_FILE_READER_H

#include <bit>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace iocache_test {

using bytes = std::vector<uint8_t>;

// As far as it reaches when its end is met: a file may grow meanwhile, and what its first bytes say of the others must
// be there.
inline bytes read_whole_file(const std::string& path)
{
    constexpr size_t more = 65'536;
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path);
    bytes contents;
    for (size_t room = std::filesystem::file_size(path) + more; in; room = more) {
        const size_t before = contents.size();
        contents.resize(before + room);
        in.read(reinterpret_cast<char*>(contents.data()) + before, static_cast<std::streamsize>(room));
        contents.resize(before + static_cast<size_t>(in.gcount()));
    }
    if (in.bad()) throw std::runtime_error("cannot read " + path);
    return contents;
}

inline void write_whole_file(const std::string& path, const bytes& contents)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(contents.data()), static_cast<std::streamsize>(contents.size()));
    if (!out) throw std::runtime_error("cannot write " + path);
}

// Numbers in a file's bytes.
inline uint64_t big_endian(const bytes& file, size_t offset, size_t count)
{
    uint64_t value = 0;
    for (size_t i = 0; i < count; ++i) value = value << 8 | file.at(offset + i);
    return value;
}
inline int16_t int16_at(const bytes& file, size_t offset)
{
    return static_cast<int16_t>(big_endian(file, offset, 2));
}
inline int32_t int32_at(const bytes& file, size_t offset)
{
    return static_cast<int32_t>(big_endian(file, offset, 4));
}
inline float float_at(const bytes& file, size_t offset)
{
    return std::bit_cast<float>(static_cast<uint32_t>(big_endian(file, offset, 4)));
}
inline double double_at(const bytes& file, size_t offset)
{
    return std::bit_cast<double>(big_endian(file, offset, 8));
}
inline std::string text_at(const bytes& file, size_t offset, size_t most)
{
    const char* const start = reinterpret_cast<const char*>(file.data()) + offset;
    return {start, strnlen(start, most)};
}
inline void put_big_endian(bytes& file, size_t offset, size_t count, uint64_t value)
{
    for (size_t i = count; i-- > 0; value >>= 8) file.at(offset + i) = static_cast<uint8_t>(value & 0xFF);
}

// A canvas file in memory.
class canvas_file {
public:
    explicit canvas_file(const std::string& path) : file_(read_whole_file(path)) {}

    const bytes& contents() const { return file_; }
    bool is_picture() const { return int16_at(file_, 0x014) != 0; }
    int32_t x_min() const { return int16_at(file_, 0x000); }
    int32_t x_max() const { return int16_at(file_, 0x002); }
    int32_t y_min() const { return int16_at(file_, 0x004); }
    int32_t y_max() const { return int16_at(file_, 0x006); }
    int32_t x_offset() const { return int32_at(file_, 0x338); }
    int32_t y_offset() const { return int32_at(file_, 0x33C); }
    int32_t tile_width() const { return int16_at(file_, 0x028); }
    int32_t tile_height() const { return int16_at(file_, 0x02A); }
    int32_t tiles_across() const { return int16_at(file_, 0x02C); }
    int32_t tiles_down() const { return int16_at(file_, 0x02E); }
    int32_t tile_bytes() const { return int32_at(file_, 0x360); }
    int32_t tiles_written() const { return int32_at(file_, 0x364); }
    int32_t dirty() const { return int32_at(file_, 0x368); }
    int32_t magic() const { return int32_at(file_, 0x36C); }
    double scale() const { return double_at(file_, 0x330); }

    bytes region(size_t offset_field, size_t size_field) const
    {
        const auto start = static_cast<size_t>(int32_at(file_, offset_field));
        const auto length = static_cast<size_t>(int32_at(file_, size_field));
        return {file_.begin() + static_cast<std::ptrdiff_t>(start),
                file_.begin() + static_cast<std::ptrdiff_t>(start + length)};
    }
    bytes icon() const { return region(0x340, 0x354); }
    bytes reduced_image() const { return region(0x344, 0x358); }
    bytes ink() const { return region(0x680, 0x684); }
    bytes tqcms() const { return region(0x678, 0x67C); }

    // Slot of a tile, -1 when it was never written.
    int32_t slot(int32_t column, int32_t row) const
    {
        const auto table = static_cast<size_t>(int32_at(file_, 0x348));
        return int32_at(file_, table + 4 * (static_cast<size_t>(row) * static_cast<size_t>(tiles_across()) +
                                            static_cast<size_t>(column)));
    }
    // Bytes of a tile; zeros when it was never written.
    bytes tile(int32_t column, int32_t row) const
    {
        const auto size = static_cast<size_t>(tile_bytes());
        const int32_t number = slot(column, row);
        if (number < 0) return bytes(size, 0);
        const size_t start = static_cast<size_t>(int32_at(file_, 0x34C)) + static_cast<size_t>(number) * size;
        if (start + size > file_.size()) throw std::runtime_error("a slot lies beyond the end of the file");
        return {file_.begin() + static_cast<std::ptrdiff_t>(start),
                file_.begin() + static_cast<std::ptrdiff_t>(start + size)};
    }

    // The four colour bytes (one for a mask) of a pixel, and a picture's alpha byte behind them.
    bytes pixel(int32_t x, int32_t y) const
    {
        const int32_t grid_x = x + x_offset();
        const int32_t grid_y = y + y_offset();
        const int32_t column = floor_divide(grid_x, tile_width());
        const int32_t row = floor_divide(grid_y, tile_height());
        const bytes data = tile(column, row);
        const auto place = static_cast<size_t>(grid_y - row * tile_height()) * static_cast<size_t>(tile_width()) +
                           static_cast<size_t>(grid_x - column * tile_width());
        if (!is_picture()) return {data.at(place)};
        const auto plane = static_cast<size_t>(tile_width()) * static_cast<size_t>(tile_height()) * 4;
        return {data.at(4 * place), data.at(4 * place + 1), data.at(4 * place + 2), data.at(4 * place + 3),
                data.at(plane + place)};
    }

private:
    static int32_t floor_divide(int32_t value, int32_t by)
    {
        return value >= 0 ? value / by : -((-value + by - 1) / by);
    }

    bytes file_;
};

}  // namespace iocache_test

#endif
