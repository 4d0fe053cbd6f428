// The date of a new file, from a clock that stands still.
#include "tests/canvas/canvas_test.h"
#include "tests/canvas/replaced_services.h"

using namespace iocache_test;

namespace {

class file_date : public canvas_test {
protected:
    void SetUp() override
    {
        setenv("TZ", "UTC0", 1);
        tzset();
        setenv("USER", "somebody", 1);
        start();
    }
    void TearDown() override { services::clock.reset(); }

    // The 20 bytes of the date of a file made at this time.
    bytes made_at(std::time_t seconds)
    {
        services::clock = seconds;
        const int32_t canvas = create("c", small_mask);
        services::clock.reset();
        EXPECT_EQ(canvas, 0);
        const bytes file = read_whole_file(path("c"));
        EXPECT_EQ(bytes(file.begin() + 0x224, file.begin() + 0x238), bytes(file.begin() + 0x258, file.begin() + 0x26C));
        canvas_close(canvas);
        return {file.begin() + 0x258, file.begin() + 0x26C};
    }
    static bytes field_of(const std::string& text)
    {
        bytes field(text.begin(), text.end());
        field.resize(20);
        return field;
    }
};
INSTANTIATE_TEST_SUITE_P(, file_date, both_modes(), mode_name);

TEST_P(file_date, is_month_day_hours_minutes_and_year)
{
    EXPECT_EQ(made_at(821'369'002), field_of("Jan 11 14:03 1996"));  // Thu Jan 11 14:03:22 1996
}

TEST_P(file_date, has_one_blank_before_a_day_of_one_digit)
{
    EXPECT_EQ(made_at(946'684'799), field_of("Dec 31 23:59 1999"));
    EXPECT_EQ(made_at(946'684'800), field_of("Jan 1 00:00 2000"));
    EXPECT_EQ(made_at(1'709'697'599), field_of("Mar 6 03:59 2024"));
}

TEST_P(file_date, is_that_of_a_clock_before_its_beginning_too)
{
    EXPECT_EQ(made_at(-1), field_of("Dec 31 23:59 1969"));
}

TEST_P(file_date, of_a_distant_year_stays_in_its_field)
{
    EXPECT_EQ(made_at(253'402'300'800), field_of("Jan 1 00:00 10000"));
}

}  // namespace
