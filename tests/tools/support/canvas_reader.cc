// Everything in memory: test canvases are small.
#include "tests/tools/support/canvas_reader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace tool_tests {

namespace {

class file_numbers {
public:
    explicit file_numbers(const std::vector<std::uint8_t>& bytes) : bytes_(bytes) {}

    [[nodiscard]] std::int32_t two(std::size_t at) const
    {
        return static_cast<std::int16_t>(bytes_.at(at) << 8 | bytes_.at(at + 1));
    }
    [[nodiscard]] std::int32_t four(std::size_t at) const
    {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(two(at)) << 16 |
                                         (static_cast<std::uint32_t>(two(at + 2)) & 0xFFFFU));
    }

private:
    const std::vector<std::uint8_t>& bytes_;
};

}  // namespace

std::vector<std::uint8_t> read_bytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes(file ? std::filesystem::file_size(path) : 0);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file) throw std::runtime_error("cannot read " + path);
    return bytes;
}

void write_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

canvas_pixels read_canvas(const std::string& path)
{
    const std::vector<std::uint8_t> file = read_bytes(path);
    const file_numbers number(file);
    if (number.four(0x36C) != 414141) throw std::runtime_error("no magic number");
    if (number.two(0x028) != 256 || number.two(0x02A) != 256) throw std::runtime_error("unexpected tile size");
    if (number.two(0x000) != 0 || number.two(0x004) != 0) throw std::runtime_error("unexpected origin");

    canvas_pixels canvas;
    canvas.picture = number.two(0x014) != 0;
    canvas.width = number.two(0x002) + 1;
    canvas.height = number.two(0x006) + 1;
    canvas.dirty = number.four(0x368);
    canvas.tiles_written = number.four(0x364);
    const auto width = static_cast<std::size_t>(canvas.width);
    const auto height = static_cast<std::size_t>(canvas.height);
    const std::size_t across = (width + 255) / 256;
    const std::size_t pixel_bytes = canvas.picture ? 4 : 1;
    const std::size_t tile_bytes = std::size_t{65536} * (canvas.picture ? 5 : 1);
    canvas.colour.resize(width * height * pixel_bytes);
    if (canvas.picture) canvas.alpha.resize(width * height);

    const auto table = static_cast<std::size_t>(number.four(0x348));
    const auto tiles = static_cast<std::size_t>(number.four(0x34C));
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; x += 256) {
            const std::int32_t slot = number.four(table + (y / 256 * across + x / 256) * 4);
            if (slot < 0) continue;  // never written: zeros
            const std::size_t run = std::min<std::size_t>(256, width - x);
            const std::size_t tile = tiles + static_cast<std::size_t>(slot) * tile_bytes;
            const std::size_t line = y % 256 * 256;
            if (tile + tile_bytes > file.size()) throw std::runtime_error("a tile lies beyond the end of the file");
            std::copy_n(&file[tile + line * pixel_bytes], run * pixel_bytes,
                        &canvas.colour[(y * width + x) * pixel_bytes]);
            if (canvas.picture) std::copy_n(&file[tile + 262144 + line], run, &canvas.alpha[y * width + x]);
        }
    }
    return canvas;
}

}  // namespace tool_tests
