// Sizes that leave no tile, or more than a table can hold, and icons of less than nothing.
#include "tests/canvas/canvas_test.h"

using namespace iocache_test;

namespace {

class impossible_grid : public canvas_test {
protected:
    void SetUp() override { start(); }
    int32_t make(int32_t x_offset, int32_t y_offset) const
    {
        return canvas_new(path("grid").c_str(), 0, 0, 0, 9, 9, x_offset, y_offset);
    }
    static constexpr int32_t refused = -3;
};
INSTANTIATE_TEST_SUITE_P(, impossible_grid, both_modes(), mode_name);

TEST_P(impossible_grid, without_a_column_or_a_row_is_refused)
{
    EXPECT_EQ(make(-1000, 0), refused);
    EXPECT_EQ(make(0, -1000), refused);
    EXPECT_FALSE(exists(path("grid")));
}

TEST_P(impossible_grid, with_more_tiles_than_a_table_holds_is_refused)
{
    cv_tilesize_hor = cv_tilesize_vert = 1;
    EXPECT_EQ(make(std::numeric_limits<int32_t>::max(), 0), refused);
    EXPECT_EQ(make(100'000, 100'000), refused);
    EXPECT_FALSE(exists(path("grid")));
}

TEST_P(impossible_grid, with_tiles_of_no_size_is_refused)
{
    cv_tilesize_hor = 0;
    EXPECT_EQ(make(0, 0), refused);
    cv_tilesize_hor = 256;
    cv_tilesize_vert = 0;
    EXPECT_EQ(make(0, 0), refused);
    EXPECT_FALSE(exists(path("grid")));
}

TEST_P(impossible_grid, icon_of_less_than_nothing_is_refused)
{
    cv_iconsize_hor = -100;
    EXPECT_EQ(make(0, 0), -7);
    EXPECT_FALSE(exists(path("grid")));
}

}  // namespace
