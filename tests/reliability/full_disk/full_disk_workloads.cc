#include "tests/reliability/full_disk/full_disk_workloads.h"

#include <filesystem>

#include "tests/support/block_writer.h"
#include "tests/support/file_reader.h"

namespace {

using namespace iocache_test;

constexpr int32_t width = full_tiles_across * full_tile_side;
constexpr int32_t height = full_tiles_down * full_tile_side;
constexpr int32_t drawn_lines = 8;

int32_t create(const full_disk_work& work)
{
    const int32_t canvas = canvas_new(work.canvas.c_str(), work.is_picture ? 1 : 0, 0, 0, width - 1, height - 1, 0, 0);
    if (canvas >= 0) cv_mark_canvas_save(canvas);
    return canvas;
}

// Some lines of a tile. False when there is no room and there will be none.
bool paint(const full_disk_work& work, int32_t canvas, int32_t tile, uint8_t value)
{
    const int32_t left = tile % full_tiles_across * full_tile_side;
    const int32_t top = tile / full_tiles_across * full_tile_side;
    bytes colour(size_t{full_tile_side} * 4);
    for (size_t i = 0; i < colour.size(); ++i) colour[i] = static_cast<uint8_t>(value + i);
    for (int32_t line = 0; line < drawn_lines; ++line) {
        const int32_t y = top + line * (full_tile_side / drawn_lines);
        const int32_t result = cv_storeline(canvas, colour.data(), work.is_picture ? colour.data() : nullptr, y, left,
                                            left + full_tile_side - 1);
        if (result != 0) return false;
    }
    return true;
}

bool paint_all(const full_disk_work& work, int32_t canvas, const std::vector<int32_t>& tiles)
{
    for (const int32_t tile : tiles) {
        if (!paint(work, canvas, tile, static_cast<uint8_t>(30 * tile + 7))) return false;
    }
    return true;
}

void make_half(const full_disk_work& work)
{
    const int32_t canvas = create(work);
    paint_all(work, canvas, {1, 4, 2});
    canvas_close(canvas);
}

void make_block_file(const full_disk_work& work)
{
    old_image old;
    old.width = width;
    old.height = full_tile_side;
    old.type = work.is_picture ? 3 : 0;
    write_whole_file(work.canvas, old_file(old));
}

void nothing(const full_disk_work& /*unused*/) {}

bool create_and_paint(const full_disk_work& work)
{
    int32_t canvas = -1;
    if (!work.insist([&] { return (canvas = create(work)) >= 0; })) return false;
    const bool done = paint_all(work, canvas, {0, 1, 2, 3, 4, 5});
    return canvas_close(canvas) == 0 && done && cv_disk_full == 0;
}

bool append_and_rewrite(const full_disk_work& work)
{
    const int32_t canvas = canvas_old(work.canvas.c_str());
    const bool done = paint_all(work, canvas, {5, 0, 3}) && paint(work, canvas, 4, 200) && paint(work, canvas, 5, 201);
    return canvas_close(canvas) == 0 && done && cv_disk_full == 0;
}

bool append_and_flush(const full_disk_work& work)
{
    const int32_t canvas = canvas_old(work.canvas.c_str());
    const bool done = paint_all(work, canvas, {0, 3}) && cv_flush_tiles_keep(canvas) == 0 &&
                      paint_all(work, canvas, {5}) && cv_flush_tiles(canvas) == 0;
    return canvas_close(canvas) == 0 && done && cv_disk_full == 0;
}

bool convert(const full_disk_work& work)
{
    int32_t canvas = -1;
    if (!work.insist([&] { return (canvas = canvas_old(work.canvas.c_str())) >= 0; })) return false;
    return canvas_close(canvas) == 0;
}

void make_elsewhere(const full_disk_work& work)
{
    make_half(work);
    std::filesystem::copy_file(work.canvas, work.elsewhere, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::remove(work.canvas);
}

bool move_here(const full_disk_work& work)
{
    return work.insist([&] { return cv_rename_file(0, work.elsewhere.c_str(), work.canvas.c_str()) == 0; });
}

}  // namespace

bool full_disk_work::insist(const std::function<bool()>& call) const
{
    if (call()) return true;
    return answer == host_answer::makes_room && make_room() && call();
}

const std::vector<full_disk_workload>& iocache_test::full_disk_workloads()
{
    static const std::vector<full_disk_workload> all{
        {"create and paint", nothing, create_and_paint},      {"append and rewrite", make_half, append_and_rewrite},
        {"append and flush", make_half, append_and_flush},    {"open a file of blocks", make_block_file, convert, true},
        {"move to the full disk", make_elsewhere, move_here},
    };
    return all;
}
