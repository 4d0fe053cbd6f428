// Painting at random.
#include "tests/reliability/crash/crash_writer.h"

#include <unistd.h>

#include <filesystem>
#include <random>

#include "tests/reliability/noted_writes.h"

namespace {

using namespace iocache_test;

class painter {
public:
    painter(const crash_workload& workload, oracle& notes) : workload_(workload), notes_(notes), random_(workload.seed)
    {}

    void open()
    {
        const bool is_new = !std::filesystem::exists(workload_.path);
        canvas_ = is_new ? canvas_new(workload_.path.c_str(), workload_.kind, 0, 0, tiles_across * tile_side - 1,
                                      tiles_down * tile_side - 1, 0, 0)
                         : canvas_old(workload_.path.c_str());
        if (canvas_ < 0) _exit(1);
        cv_mark_canvas_save(canvas_);
    }
    void paint()
    {
        notes_.is_working = true;
        for (;;) {
            const int32_t tile = next_tile();
            // A whole tile, a few lines of it, or a column: long and short stays in memory.
            const uint32_t how_much = random_() % 4;
            const int32_t lines = how_much == 0 ? tile_side : static_cast<int32_t>(1 + random_() % 20);
            for (int32_t line = 0; line < lines; ++line) paint_line(tile, line);
            if (random_() % 100 == 0) close_and_open();
        }
    }

private:
    const crash_workload& workload_;
    oracle& notes_;
    std::mt19937 random_;
    int32_t canvas_ = -1;
    std::array<uint8_t, size_t{4} * tile_side> colour_{};
    std::array<uint8_t, tile_side> alpha_{};

    int32_t next_tile()
    {
        const auto chosen = static_cast<int32_t>(random_() % tile_count);
        if (!workload_.appends) return chosen;
        const int32_t* const table = canvastable[canvas_]->tile_table;
        for (int32_t i = 0; i < tile_count; ++i) {
            const int32_t tile = (chosen + i) % tile_count;
            if (std::atomic_ref(const_cast<int32_t&>(table[tile])).load() < 0) return tile;
        }
        return chosen;
    }
    void paint_line(int32_t tile, int32_t line)
    {
        const auto value = static_cast<uint8_t>(random_());
        for (size_t i = 0; i < colour_.size(); ++i) colour_[i] = static_cast<uint8_t>(value + i);
        alpha_.fill(static_cast<uint8_t>(value ^ 0x5AU));
        const int32_t left = tile % tiles_across * tile_side;
        cv_storeline(canvas_, colour_.data(), workload_.kind == 1 ? alpha_.data() : nullptr,
                     tile / tiles_across * tile_side + line, left, left + tile_side - 1);
    }
    void close_and_open()
    {
        canvas_close(canvas_);
        open();
    }
};

}  // namespace

void iocache_test::paint_until_killed(const crash_workload& workload, oracle& notes)
{
    // Few enough tiles in memory that most are written back soon.
    const running_library library(workload.how, {(workload.kind == 1 ? 3 : 1) * picture_tile_bytes, 2});
    unlink(cv_tile_sema_file);  // nothing takes it away after a kill
    note_writes_in(&notes);
    painter one(workload, notes);
    one.open();
    one.paint();
    _exit(0);
}
