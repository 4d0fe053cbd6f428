// compact drops what nothing uses, orders the rest, and changes no pixel.
#include "tests/tools/support/damaged_canvas.h"
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

namespace field = header_field;

class compact_test : public import_test {
protected:
    void SetUp() override
    {
        write_png(path("photo.png"), make_image(1301, 577, model::rgb, true));
        import("photo.png", {});
        sound_ = read_bytes(path("canvas"));
    }

    // Slots in another order, with some between them that no tile names.
    void scatter()
    {
        damaged_canvas canvas(path("canvas"));
        const damaged_canvas before = canvas;
        const std::int32_t slots = before.slots();
        constexpr std::int32_t gaps = 3;
        canvas.bytes.resize(before.slot_place(slots + gaps), 0x77);
        canvas.put32(field::tiles_written, slots + gaps);
        for (std::size_t tile = 0; tile < static_cast<std::size_t>(slots); ++tile) {
            const std::int32_t slot = slots + gaps - 1 - static_cast<std::int32_t>(tile);
            canvas.put_entry(tile, slot);
            std::copy_n(before.bytes.begin() + static_cast<std::ptrdiff_t>(before.slot_place(before.entry(tile))),
                        327680, canvas.bytes.begin() + static_cast<std::ptrdiff_t>(canvas.slot_place(slot)));
        }
        write_bytes(path("canvas"), canvas.bytes);
    }

    outcome compact() { return iocache({"compact", path("canvas")}); }

    std::vector<std::uint8_t> sound_;
};

TEST_F(compact_test, unused_slots_go_and_the_others_come_in_order)
{
    scatter();
    ASSERT_FALSE(read_bytes(path("canvas")) == sound_);
    const outcome result = compact();
    EXPECT_EQ(result.exit_code, 0) << result.err;
    EXPECT_NE(result.out.find("3 slot(s) dropped, 17 moved"), std::string::npos) << result.out;
    // Import writes its tiles in order.
    EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
    EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.png"}));
}

TEST_F(compact_test, a_compact_canvas_is_left_alone)
{
    const outcome result = compact();
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.out, path("canvas") + ": compact already\n");
    EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
}

TEST_F(compact_test, room_behind_the_last_slot_goes_too)
{
    std::vector<std::uint8_t> longer = sound_;
    longer.resize(longer.size() + 1000);
    write_bytes(path("canvas"), longer);
    EXPECT_EQ(compact().exit_code, 0);
    EXPECT_TRUE(read_bytes(path("canvas")) == sound_);
}

TEST_F(compact_test, damaged_canvases_and_those_not_closed_are_refused)
{
    for (const bool is_dirty : {true, false}) {
        damaged_canvas canvas(path("canvas"));
        canvas.bytes = sound_;
        is_dirty ? canvas.put32(field::dirty, 1) : canvas.put_entry(4, canvas.entry(3));
        write_bytes(path("canvas"), canvas.bytes);
        const outcome result = compact();
        EXPECT_EQ(result.exit_code, 4);
        EXPECT_NE(result.err.find("`iocache repair` comes first"), std::string::npos) << result.err;
        EXPECT_TRUE(read_bytes(path("canvas")) == canvas.bytes);
    }
}

TEST_F(compact_test, a_full_disk_leaves_the_canvas_as_it_is)
{
    scatter();
    const std::vector<std::uint8_t> before = read_bytes(path("canvas"));
    const outcome result =
        run({"/bin/bash", "-c", "ulimit -f 3000; trap '' XFSZ; exec \"$0\" compact \"$1\"", tool(), path("canvas")});
    EXPECT_EQ(result.exit_code, 5) << result.err;
    EXPECT_TRUE(read_bytes(path("canvas")) == before);
    EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.png"}));
}

}  // namespace

}  // namespace tool_tests
