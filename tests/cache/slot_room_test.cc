// The room in the file that a tile gets with its first slot.
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include "tests/cache/forced_test.h"

namespace {

using namespace iocache_test;

using ranges = std::vector<std::pair<int64_t, int64_t>>;  // offset and bytes

class slot_room : public forced_test {
protected:
    void SetUp() override
    {
        start_with_zones(2);
        picture = new_picture("picture", 1000, 256);
        tiles_start = record_of(picture).header->tiles_offset;
    }
    // What a file system answers when blocks are asked for, and when the slot's last byte is written; 0 lets it be.
    struct answers {
        int blocks = 0;
        int last_byte = 0;
    };
    // Draws on the tile and brings it to the file.
    ranges blocks_asked_for(int32_t column, answers file_system)
    {
        ranges asked;
        write_tile(picture, column, 0, 0x11);
        settle();
        hooks::on_blocks = [&asked, file_system](int64_t offset, int64_t bytes) {
            asked.emplace_back(offset, bytes);
            return file_system.blocks;
        };
        hooks::on_placed_write = [file_system](int64_t, size_t) { return file_system.last_byte; };
        EXPECT_EQ(cv_write_dirty_tile(cached(picture, column)), 0);
        hooks::on_blocks = nullptr;
        hooks::on_placed_write = nullptr;
        return asked;
    }
    int64_t end_of_file() { return static_cast<int64_t>(file("picture").contents().size()); }
    int32_t picture = -1;
    int64_t tiles_start = 0;
};

TEST_P(slot_room, of_a_new_slot_is_asked_for_in_one_piece)
{
    EXPECT_EQ(blocks_asked_for(1, {}), (ranges{{tiles_start, picture_tile_bytes}}));
    EXPECT_EQ(blocks_asked_for(0, {}), (ranges{{tiles_start + picture_tile_bytes, picture_tile_bytes}}));
    EXPECT_EQ(end_of_file(), tiles_start + 2 * picture_tile_bytes);
}

TEST_P(slot_room, of_a_slot_that_is_there_is_not_asked_for)
{
    blocks_asked_for(1, {});
    EXPECT_EQ(blocks_asked_for(1, {}), ranges{});
}

// The header that counts the slot must never be in a file that ends before it.
TEST_P(slot_room, is_made_by_a_last_byte_or_else_by_the_length)
{
    int32_t column = 0;
    for (const answers file_system : {answers{EOPNOTSUPP, 0}, {ENOSPC, ENOSPC}, {0, EINTR}, {0, EIO}}) {
        int64_t end_at_header = 0;
        hooks::on_write = [&](int64_t position, size_t) {
            if (position == 0) end_at_header = end_of_file();
            return false;
        };
        EXPECT_EQ(blocks_asked_for(column, file_system).size(), 1U);
        ++column;
        EXPECT_EQ(end_at_header, tiles_start + column * int64_t{picture_tile_bytes})
            << strerror(file_system.blocks) << ", " << strerror(file_system.last_byte);
    }
    hooks::on_write = nullptr;
    EXPECT_EQ(canvas_close(picture), 0);
    EXPECT_GE(canvas_old(path("picture").c_str()), 0) << host().last_message();
}

// No disk has room for what a damaged header counts.
TEST_P(slot_room, of_slots_that_only_the_header_counts_is_no_more_than_a_length)
{
    constexpr int32_t counted = 1000;
    record_of(picture).header->tiles_written = counted;
    EXPECT_EQ(blocks_asked_for(1, {}), ranges{});
    struct stat facts = {};
    ASSERT_EQ(stat(path("picture").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_size, tiles_start + (counted + 1) * int64_t{picture_tile_bytes});
    constexpr int64_t block_bytes = 512;
    EXPECT_LT(facts.st_blocks * block_bytes, tiles_start + 10 * int64_t{picture_tile_bytes});
}

INSTANTIATE_TEST_SUITE_P(, slot_room, both_modes(), mode_name);

}  // namespace
