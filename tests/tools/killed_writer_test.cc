// Files of programs that were killed while they saved: verify tells what happened, repair makes them whole, and no tile
// that had been saved before changes.
#include <filesystem>

#include <sys/mman.h>
#include <unistd.h>

#include "tests/support/killed_process.h"
#include "tests/support/library.h"
#include "tests/support/painting.h"
#include "tests/tools/support/damaged_canvas.h"
#include "tests/tools/support/process.h"

namespace tool_tests {

namespace {

using namespace iocache_test;
namespace killing = iocache_test::killing;
namespace field = header_field;

constexpr std::size_t header_size = 4096;
constexpr std::size_t table_size = 512;

// The bytes of each transfer of an undisturbed writer, in memory that it shares.
struct transfer_list {
    std::atomic<int> count{0};
    std::array<std::size_t, 4000> bytes{};
};
transfer_list* noted = nullptr;

void note_transfer(std::size_t bytes, int number)
{
    const auto place = static_cast<std::size_t>(number - 1);
    if (place < noted->bytes.size()) noted->bytes[place] = bytes;
    noted->count = number;
}

// A canvas of 6 x 5 tiles, painted from the last tile to the first: every entry that was half announced is one that
// opening looks at.
void paint(mode how, int32_t kind, const std::string& path)
{
    running_library library(how, {3 * picture_tile_bytes, 2});
    unlink(cv_tile_sema_file);  // nothing takes it away when this is killed
    const int32_t canvas = canvas_new(path.c_str(), kind, 0, 0, 1499, 1199, 0, 0);
    cv_mark_canvas_save(canvas);
    for (int32_t tile = 29; tile >= 0; --tile) {
        const int32_t left = tile % 6 * 256;
        const int32_t top = tile / 6 * 256;
        const int32_t right = std::min(left + 255, 1499);
        const bytes colour(256 * 4, static_cast<uint8_t>(tile + 1));
        const bytes alpha(256, static_cast<uint8_t>(tile + 101));
        for (int32_t y = top; y <= std::min(top + 255, 1199); y += 5)
            cv_storeline(canvas, colour.data(), kind == 1 ? alpha.data() : nullptr, y, left, right);
    }
    canvas_close(canvas);
}

class killed_writer : public tool_test, public ::testing::WithParamInterface<mode> {
protected:
    killed_writer()
        : memory_(mmap(nullptr, sizeof(transfer_list), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        noted = new (memory_) transfer_list;
    }
    ~killed_writer() override { munmap(memory_, sizeof(transfer_list)); }

    std::vector<std::size_t> transfers_of(int32_t kind)
    {
        killing::run_child([&] {
            killing::last_transfer = -1;
            killing::on_transfer = note_transfer;
            paint(GetParam(), kind, path("whole"));
        });
        const auto count = static_cast<std::size_t>(noted->count.load());
        std::filesystem::remove(path("whole"));
        return {noted->bytes.begin(), noted->bytes.begin() + static_cast<std::ptrdiff_t>(count)};
    }
    // False when the writer came to its end first.
    bool kill_at(int transfer, killing::moment when, int32_t kind)
    {
        std::filesystem::remove(path("canvas"));
        return killing::was_killed(killing::run_child([&] {
            killing::last_moment = when;
            killing::last_transfer = transfer;
            paint(GetParam(), kind, path("canvas"));
        }));
    }

    void expect_repairable()
    {
        const damaged_canvas before(path("canvas"));
        const outcome found = iocache({"verify", "--full", path("canvas")});
        EXPECT_TRUE(found.exit_code == 0 || found.exit_code == 1) << found.out << found.err;
        const outcome repaired = iocache({"repair", path("canvas")});
        EXPECT_EQ(repaired.exit_code, 0) << repaired.out << repaired.err;
        const outcome after = iocache({"verify", "--full", path("canvas")});
        EXPECT_EQ(after.exit_code, 0) << after.out;
        const damaged_canvas now(path("canvas"));
        for (std::size_t tile = 0; tile < 30; ++tile) {
            const std::int32_t slot = before.entry(tile);
            if (slot >= 0 && slot < before.slots()) {
                EXPECT_EQ(now.entry(tile), slot) << tile;
                const auto size = static_cast<std::ptrdiff_t>(now.number(field::tile_bytes));
                const auto place = static_cast<std::ptrdiff_t>(now.slot_place(slot));
                EXPECT_TRUE(std::equal(now.bytes.begin() + place, now.bytes.begin() + place + size,
                                       before.bytes.begin() + place))
                    << tile;
            } else {
                EXPECT_EQ(now.entry(tile), -1) << tile;
            }
        }
        std::filesystem::remove(path("canvas.damaged"));
    }

private:
    void* memory_;
};

TEST_P(killed_writer, between_table_and_header_leaves_a_half_announced_slot_that_repair_cuts)
{
    for (const int32_t kind : {0, 1}) {
        SCOPED_TRACE(kind);
        const std::vector<std::size_t> transfers = transfers_of(kind);
        ASSERT_GT(transfers.size(), 60U);
        int met = 0;
        for (std::size_t i = 0; i + 1 < transfers.size() && met < 4; ++i) {
            if (transfers[i] != table_size || transfers[i + 1] != header_size) continue;
            if (!kill_at(static_cast<int>(i + 2), killing::moment::before, kind)) continue;
            const damaged_canvas canvas(path("canvas"));
            int announced = 0;
            for (std::size_t tile = 0; tile < 30; ++tile) announced += canvas.entry(tile) == canvas.slots() ? 1 : 0;
            // Pre-writing hands slots out when it finds time: this run's transfer may be another one.
            if (announced == 0) continue;
            ++met;
            const outcome found = iocache({"verify", path("canvas")});
            EXPECT_EQ(found.exit_code, 1);
            EXPECT_NE(found.out.find("half-announced"), std::string::npos) << found.out;
            expect_repairable();
        }
        EXPECT_GE(met, GetParam() == mode::in_line ? 4 : 1);
    }
}

TEST_P(killed_writer, at_any_transfer_leaves_a_file_that_repair_makes_whole)
{
    const auto total = static_cast<int>(transfers_of(1).size());
    int killed = 0;
    for (int transfer = 8; transfer <= total; transfer += 7) {
        SCOPED_TRACE(transfer);
        if (!kill_at(transfer, static_cast<killing::moment>(transfer % 3), 1)) continue;
        ++killed;
        expect_repairable();
    }
    EXPECT_GT(killed, 5);
}

// What opening makes again is laid out in its own way: worth a notice, and no damage.
TEST_P(killed_writer, whose_file_is_opened_and_closed_again_leaves_nothing_to_repair)
{
    const auto total = static_cast<int>(transfers_of(1).size());
    int opened = 0;
    int remade = 0;
    for (int transfer = total / 2; transfer <= total; transfer += total / 12) {
        SCOPED_TRACE(transfer);
        if (!kill_at(transfer, killing::moment::after, 1)) continue;
        const int status = killing::run_child([&] {
            const running_library library(GetParam());
            const int32_t canvas = canvas_old(path("canvas").c_str());
            if (canvas < 0) _exit(2);
            canvas_close(canvas);
        });
        if (status != 0) continue;
        ++opened;
        const outcome found = iocache({"verify", "--full", path("canvas")});
        remade += found.out.find("notice reduced-remade") != std::string::npos ? 1 : 0;
        EXPECT_EQ(found.out.find("reduced-stale"), std::string::npos) << found.out;
        EXPECT_EQ(found.out.find("icon-stale"), std::string::npos) << found.out;
    }
    EXPECT_GT(opened, 2);
    EXPECT_GT(remade, 0);
}

INSTANTIATE_TEST_SUITE_P(, killed_writer, both_modes(), mode_name);

}  // namespace

}  // namespace tool_tests
