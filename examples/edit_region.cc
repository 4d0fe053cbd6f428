// Changes a rectangle of a canvas, one line after the other: a frame of full black around a gradient
// that runs from the left in cyan and from the top in magenta, or in grey when the canvas is a mask.
//
//   edit_region CANVAS X Y WIDTH HEIGHT
//
// Shows what an application does with an existing file: look whether it is a canvas at all, open it,
// store lines, close it.
#include <iocache/iocache.h>
#include <iocache/iocache_host.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string_view>
#include <vector>

namespace {

constexpr int32_t kind_picture = 1;
constexpr int32_t frame_width = 8;
constexpr uint8_t full = 255;

struct rectangle {
    int32_t x, y, width, height;
};

enum exit_code { done = 0, usage = 2, cannot_read_or_write = 3, not_a_canvas = 4 };

int fail(exit_code code, const char* text)
{
    std::fprintf(stderr, "edit_region: %s\n", text);
    return code;
}

// Opening a file of another kind would try to convert it, so it is looked at first.
bool is_canvas(const char* path)
{
    constexpr std::array<char, 4> magic = {0x00, 0x06, 0x51, static_cast<char>(0xBD)};  // 414141, high byte first
    constexpr std::streamoff magic_offset = 0x36C;

    std::ifstream file(path, std::ios::binary);
    std::array<char, 4> found{};
    return file.seekg(magic_offset).read(found.data(), found.size()) && found == magic;
}

bool number(std::string_view text, int32_t& value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size();
}

uint8_t ramp(int32_t position, int32_t length)
{
    return static_cast<uint8_t>(position * full / length);
}

// The pixels of one line, as cv_storeline takes them: colour and alpha apart; a mask has no alpha.
struct line {
    std::vector<uint8_t> colour;
    std::vector<uint8_t> alpha;
};

line drawn_line(const rectangle& area, int32_t row, bool picture)
{
    const auto in_frame = [](int32_t position, int32_t length) {
        return position < frame_width || position >= length - frame_width;
    };
    line result;
    for (int32_t column = 0; column < area.width; ++column) {
        const bool frame = in_frame(column, area.width) || in_frame(row, area.height);
        const uint8_t cyan = frame ? full : ramp(column, area.width);
        const uint8_t magenta = frame ? full : ramp(row, area.height);
        const uint8_t black = frame ? full : 0;
        if (picture) {
            result.colour.insert(result.colour.end(), {cyan, magenta, 0, black});
            result.alpha.push_back(full);
        } else {
            result.colour.push_back(cyan);
        }
    }
    return result;
}

int draw(int32_t canvas, const rectangle& area)
{
    const cv_canvas& record = *canvastable[canvas];
    const cv_geometry& bounds = record.geom;
    const bool inside = area.x >= bounds.x_min && area.y >= bounds.y_min && area.width > 0 && area.height > 0 &&
                        area.width <= bounds.x_max - area.x + 1 && area.height <= bounds.y_max - area.y + 1;
    if (!inside) return fail(usage, "the rectangle is not inside the canvas");

    for (int32_t row = 0; row < area.height; ++row) {
        const line pixels = drawn_line(area, row, record.kind == kind_picture);
        const int32_t stored = cv_storeline(canvas, pixels.colour.data(), pixels.alpha.data(), area.y + row, area.x,
                                            area.x + area.width - 1);
        if (stored != 0) return fail(cannot_read_or_write, "a line cannot be stored");
    }
    return done;
}

int edit(const char* path, const rectangle& area)
{
    const int32_t canvas = canvas_old(path);
    if (canvas < 0) return fail(cannot_read_or_write, "the canvas cannot be opened");
    const int drawn = draw(canvas, area);
    if (canvas_close(canvas) != 0) return fail(cannot_read_or_write, "the canvas cannot be closed");
    return drawn;
}

}  // namespace

int main(int count, char** arguments)
{
    rectangle area{};
    if (count != 6 || !number(arguments[2], area.x) || !number(arguments[3], area.y) ||
        !number(arguments[4], area.width) || !number(arguments[5], area.height))
        return fail(usage, "usage: edit_region CANVAS X Y WIDTH HEIGHT");
    if (!is_canvas(arguments[1])) return fail(not_a_canvas, "this is not a canvas");

    cv_master_init();
    const int result = edit(arguments[1], area);
    cv_master_exit();
    return result;
}
