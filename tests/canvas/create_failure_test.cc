// A disk that takes no more, at each write of a new file: told once by the transfer and once by the step, and nothing
// of the canvas stays.
#include "tests/canvas/expected_file.h"

using namespace iocache_test;

namespace {

class create_on_full_disk : public canvas_test {
protected:
    void SetUp() override { start(); }
    // No file grows beyond `room` bytes.
    void expect_failure(const shape& s, int32_t room, int32_t result, int32_t error, const std::string& message)
    {
        const auto attempt = [&] {
            const file_size_limit limit(static_cast<rlim_t>(room));
            return create("full", s);
        };
        const holdings before;
        EXPECT_EQ(attempt(), result) << "with room for " << room;
        expect_report(error, {"write failed on 0 full\n", message});
        EXPECT_EQ(open_descriptors(), before.descriptors);
        EXPECT_EQ(used_slots(), 0);
        EXPECT_FALSE(exists(path("full")));
        expect_nothing_held([&] {
            attempt();
            host().clear();
        });
        EXPECT_EQ(create("full", s), 0) << "with room again";
    }
    static constexpr shape large_picture{1, 0, 0, 1999, 99, 0, 0};
    const expected_file layout{large_picture, {}};
};
INSTANTIATE_TEST_SUITE_P(, create_on_full_disk, both_modes(), mode_name);

TEST_P(create_on_full_disk, fails_at_the_header)
{
    expect_failure(large_picture, 0, -9, 999112, "Create canvas : cannot write header");
}

TEST_P(create_on_full_disk, fails_in_the_middle_of_the_header)
{
    expect_failure(small_mask, 4095, -9, 999112, "Create canvas : cannot write header");
}

TEST_P(create_on_full_disk, fails_at_the_icon)
{
    expect_failure(large_picture, layout.ink_offset - 1, -11, 999114, "Create canvas : cannot write icon");
}

TEST_P(create_on_full_disk, fails_at_the_ink_colours)
{
    expect_failure(large_picture, layout.ink_offset, -11, 999114, "Create canvas : cannot write ink color def");
}

TEST_P(create_on_full_disk, fails_at_the_colour_processing_table)
{
    expect_failure(large_picture, layout.reduced_offset - 1, -11, 999114,
                   "Create canvas : cannot write tqcms proc table");
}

TEST_P(create_on_full_disk, fails_at_the_reduced_image)
{
    expect_failure(large_picture, layout.reduced_offset, -13, 999115, "Create canvas : cannot write subsampled image");
}

TEST_P(create_on_full_disk, fails_at_the_tile_table)
{
    expect_failure(large_picture, layout.table_offset, -16, 999118, "Create canvas : cannot write tile table");
}

TEST_P(create_on_full_disk, fails_at_the_tile_table_of_a_mask)
{
    expect_failure(small_mask, 4096 + 10'240 + 511, -16, 999118, "Create canvas : cannot write tile table");
}

TEST_P(create_on_full_disk, succeeds_with_room_for_the_file_alone)
{
    const file_size_limit limit(static_cast<rlim_t>(layout.tiles_offset));
    EXPECT_EQ(create("exact", large_picture), 0);
}

}  // namespace
