// Writes canvases whose every byte is known, or reads such canvases and compares every byte.
//
//   byte_order write FOLDER     makes picture.canvas and mask.canvas
//   byte_order read FOLDER      opens copies of them: opening may write
//
// Run on machines of both byte orders by scripts/check-big-endian. Nothing here depends on the
// machine: pixels are computed as bytes.
#include <iocache/iocache.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int32_t kind_mask = 0;
constexpr int32_t kind_picture = 1;

// Larger than the low-resolution frame in one direction, no multiple of any tile, a start below 0.
struct extent {
    int32_t x_min = -37, y_min = -15, x_max = 1262, y_max = 940;
    int32_t x_offset = 40, y_offset = 20;
};

struct canvas_plan {
    std::string_view file_name;
    int32_t kind;
    size_t bytes_per_pixel;
};

constexpr canvas_plan plans[] = {
    {"picture.canvas", kind_picture, 4},
    {"mask.canvas", kind_mask, 1},
};

// Rows and columns in these bands are never written, so that some tiles have no place in the file.
bool left_out(int32_t y)
{
    return y >= 300 && y < 600;
}

uint8_t byte_at(int32_t x, int32_t y, size_t component)
{
    const auto mixed = static_cast<uint32_t>(x) * 2654435761U ^ static_cast<uint32_t>(y) * 40503U;
    return static_cast<uint8_t>((mixed >> 7U) + component * 61U);
}

struct line {
    std::vector<uint8_t> colour;
    std::vector<uint8_t> alpha;
    bool operator==(const line&) const = default;
};

line expected_line(const canvas_plan& plan, const extent& bounds, int32_t y)
{
    line result;
    for (int32_t x = bounds.x_min; x <= bounds.x_max; ++x) {
        for (size_t component = 0; component < plan.bytes_per_pixel; ++component)
            result.colour.push_back(byte_at(x, y, component));
        result.alpha.push_back(byte_at(x, y, plan.bytes_per_pixel));
    }
    return result;
}

std::vector<uint8_t> opaque_block(size_t bytes, uint8_t start)
{
    std::vector<uint8_t> block(bytes);
    for (size_t index = 0; index < bytes; ++index) block[index] = static_cast<uint8_t>(start + index * 7U);
    return block;
}

bool write_lines(int32_t canvas, const canvas_plan& plan, const extent& bounds)
{
    for (int32_t y = bounds.y_min; y <= bounds.y_max; ++y) {
        if (left_out(y)) continue;
        const line pixels = expected_line(plan, bounds, y);
        const int32_t stored =
            cv_storeline(canvas, pixels.colour.data(), pixels.alpha.data(), y, bounds.x_min, bounds.x_max);
        if (stored != 0) return false;
    }
    return true;
}

bool lines_are_as_written(int32_t canvas, const canvas_plan& plan, const extent& bounds)
{
    for (int32_t y = bounds.y_min; y <= bounds.y_max; ++y) {
        if (left_out(y)) continue;
        const line wanted = expected_line(plan, bounds, y);
        line found{std::vector<uint8_t>(wanted.colour.size()), wanted.alpha};
        if (plan.kind == kind_picture) found.alpha.assign(wanted.alpha.size(), 0);
        if (cv_getline(canvas, found.colour.data(), found.alpha.data(), y, bounds.x_min, bounds.x_max) != 0)
            return false;
        if (found != wanted) return false;
    }
    return true;
}

// Only pictures carry the two blocks.
bool write_blocks(int32_t canvas, const canvas_plan& plan)
{
    if (plan.kind != kind_picture) return true;
    return cv_ink_color_def_set(canvas, opaque_block(sizeof ink_color_def, 3).data()) == 0 &&
           cv_tqcms_proc_set(canvas, opaque_block(sizeof tqcms_proc, 5).data()) == 0;
}

bool block_is(const uint8_t* found, const std::vector<uint8_t>& wanted)
{
    return found != nullptr && std::vector<uint8_t>(found, found + wanted.size()) == wanted;
}

bool blocks_are_as_written(int32_t canvas, const canvas_plan& plan)
{
    if (plan.kind != kind_picture) return true;
    return block_is(cv_ink_color_def_get(canvas), opaque_block(sizeof ink_color_def, 3)) &&
           block_is(cv_tqcms_proc_get(canvas), opaque_block(sizeof tqcms_proc, 5));
}

bool write_canvas(const std::string& path, const canvas_plan& plan)
{
    const extent bounds;
    const int32_t canvas = canvas_new(path.c_str(), plan.kind, bounds.x_min, bounds.y_min, bounds.x_max, bounds.y_max,
                                      bounds.x_offset, bounds.y_offset);
    if (canvas < 0) return false;
    cv_mark_canvas_save(canvas);
    const bool written = write_lines(canvas, plan, bounds) && write_blocks(canvas, plan);
    return canvas_close(canvas) == 0 && written;
}

bool read_canvas(const std::string& path, const canvas_plan& plan)
{
    const int32_t canvas = canvas_old(path.c_str());
    if (canvas < 0) return false;
    const bool same = lines_are_as_written(canvas, plan, extent{}) && blocks_are_as_written(canvas, plan);
    return canvas_close(canvas) == 0 && same;
}

// Works on a copy, so that the files stay as their maker left them.
bool read_copy(const std::string& path, const canvas_plan& plan)
{
    const std::string copy = path + ".read";
    std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
    const bool same = read_canvas(copy, plan);
    std::filesystem::remove(copy);
    return same;
}

}  // namespace

int main(int count, char** arguments)
{
    const std::string_view task = count == 3 ? arguments[1] : "";
    if (task != "write" && task != "read") {
        std::fputs("usage: byte_order write|read FOLDER\n", stderr);
        return 2;
    }
    const std::filesystem::path folder = arguments[2];

    bool good = true;
    cv_master_init();
    for (const canvas_plan& plan : plans) {
        const std::string path = folder / plan.file_name;
        if (task == "write" ? write_canvas(path, plan) : read_copy(path, plan)) continue;
        std::fprintf(stderr, "byte_order: cannot %.5s %s: %s\n", arguments[1], path.c_str(), error_m);
        good = false;
    }
    cv_master_exit();
    return good ? 0 : 1;
}
