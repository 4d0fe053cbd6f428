// Memory that runs out at each step of creating and of opening.
#include "tests/canvas/canvas_test.h"
#include "tests/canvas/expected_file.h"
#include "tests/canvas/replaced_services.h"

using namespace iocache_test;

namespace {

constexpr shape grid{1, 0, 0, 1999, 599, 0, 0};  // 8 x 3 tiles
constexpr int64_t tiles = 24;
constexpr int64_t header_bytes = 4096;
constexpr int64_t icon_bytes = 40'448;
constexpr int64_t table_bytes = 512;

struct report {
    int32_t result;
    int32_t error;
    const char* message;
};

class without_memory : public canvas_test {
protected:
    void SetUp() override { start(); }

    // The call with no memory for the allocation of this number.
    template <class Call> static int32_t failing_at(size_t number, Call call)
    {
        services::start_counting(static_cast<int>(number));
        const int32_t result = call();
        services::stop_counting();
        return result;
    }
    // Sizes of what the call allocates when it succeeds; the canvas is closed again.
    template <class Call> static std::vector<int64_t> needed(Call call)
    {
        const int32_t canvas = failing_at(0, call);
        EXPECT_EQ(canvas, 0);
        std::vector<int64_t> sizes = services::allocations;
        canvas_close(canvas);
        return sizes;
    }
    // The number of the allocation of this size behind the one of number `after`.
    static size_t number_of(const std::vector<int64_t>& sizes, int64_t size, size_t after)
    {
        const auto begin = sizes.begin() + static_cast<std::ptrdiff_t>(after);
        const auto found = std::find(begin, sizes.end(), size);
        EXPECT_NE(found, sizes.end()) << "nothing of " << size << " bytes is allocated";
        return static_cast<size_t>(found - sizes.begin()) + 1;
    }

    int32_t create_it() { return create("c", grid); }
    void expect_no_canvas(size_t number, const report& expected)
    {
        const ::testing::ScopedTrace where(__FILE__, __LINE__, numbered("allocation ", static_cast<int32_t>(number)));
        host().clear();
        const size_t descriptors = open_descriptors();
        const auto attempt = [&] { return failing_at(number, [&] { return create_it(); }); };
        EXPECT_EQ(attempt(), expected.result);
        expect_report(expected.error, {expected.message});
        EXPECT_EQ(open_descriptors(), descriptors);
        EXPECT_EQ(used_slots(), 0);
        EXPECT_FALSE(exists(path("c")));
        expect_nothing_held([&] {
            attempt();
            host().clear();
        });
    }

    int32_t open_it() { return canvas_old(path("c").c_str()); }
    void expect_not_opened(size_t number, const report& expected)
    {
        const ::testing::ScopedTrace where(__FILE__, __LINE__, numbered("allocation ", static_cast<int32_t>(number)));
        host().clear();
        const bytes before = read_whole_file(path("c"));
        const size_t descriptors = open_descriptors();
        const auto attempt = [&] { return failing_at(number, [&] { return open_it(); }); };
        EXPECT_EQ(attempt(), expected.result);
        expect_report(expected.error, {expected.message});
        EXPECT_EQ(open_descriptors(), descriptors);
        EXPECT_EQ(used_slots(), 0);
        EXPECT_TRUE(read_whole_file(path("c")) == before);
        expect_nothing_held([&] {
            attempt();
            host().clear();
        });
    }
};
INSTANTIATE_TEST_SUITE_P(, without_memory, both_modes(), mode_name);

// The record and its two names are one step.
TEST_P(without_memory, there_is_no_new_canvas_record)
{
    for (const size_t number : {1U, 2U, 3U}) expect_no_canvas(number, {-5, 999107, "Create canvas : malloc problem"});
}

TEST_P(without_memory, there_is_no_new_header)
{
    const auto sizes = needed([&] { return create_it(); });
    expect_no_canvas(number_of(sizes, header_bytes, 0), {-6, 999108, "Create canvas : malloc problem"});
}

TEST_P(without_memory, there_is_no_new_icon)
{
    const auto sizes = needed([&] { return create_it(); });
    expect_no_canvas(number_of(sizes, icon_bytes, 0), {-10, 999113, "Create canvas : malloc problem"});
}

TEST_P(without_memory, there_is_no_new_tile_cache)
{
    const auto sizes = needed([&] { return create_it(); });
    const size_t icon = number_of(sizes, icon_bytes, 0);
    expect_no_canvas(number_of(sizes, tiles * 8, icon), {-14, 999116, "Create canvas : malloc problem"});
}

TEST_P(without_memory, there_is_no_new_tile_table)
{
    const auto sizes = needed([&] { return create_it(); });
    expect_no_canvas(number_of(sizes, table_bytes, 0), {-15, 999117, "Create canvas : malloc problem"});
}

// The table's image in the file's byte order needs memory of its own.
TEST_P(without_memory, the_new_tile_table_is_not_written)
{
    const auto sizes = needed([&] { return create_it(); });
    const size_t table = number_of(sizes, table_bytes, 0);
    expect_no_canvas(number_of(sizes, table_bytes, table), {-16, 999118, "Create canvas : cannot write tile table"});
}

TEST_P(without_memory, there_are_no_new_tile_flags)
{
    const auto sizes = needed([&] { return create_it(); });
    const size_t table = number_of(sizes, table_bytes, 0);
    expect_no_canvas(number_of(sizes, tiles, table), {-17, 999119, "Create canvas : malloc problem"});
}

TEST_P(without_memory, each_of_its_allocations_keeps_a_canvas_from_being_made)
{
    const auto sizes = needed([&] { return create_it(); });
    for (size_t number = 1; number <= sizes.size(); ++number) {
        EXPECT_LT(failing_at(number, [&] { return create_it(); }), 0) << "allocation " << number;
        EXPECT_FALSE(exists(path("c")));
    }
    EXPECT_EQ(create_it(), 0) << "with memory again";
}

TEST_P(without_memory, there_is_no_record_to_open)
{
    closed_file("c", grid);
    for (const size_t number : {1U, 2U, 3U}) expect_not_opened(number, {-4, 999122, "Create canvas : malloc problem"});
}

TEST_P(without_memory, there_is_no_header_to_open)
{
    closed_file("c", grid);
    const auto sizes = needed([&] { return open_it(); });
    expect_not_opened(number_of(sizes, header_bytes, 0), {-5, 999123, "Create canvas : malloc problem"});
}

TEST_P(without_memory, there_is_no_icon_to_open)
{
    closed_file("c", grid);
    const auto sizes = needed([&] { return open_it(); });
    expect_not_opened(number_of(sizes, icon_bytes, 0), {-9, 999126, "Create canvas : malloc problem"});
}

TEST_P(without_memory, there_is_no_tile_table_to_open)
{
    closed_file("c", grid);
    const auto sizes = needed([&] { return open_it(); });
    expect_not_opened(number_of(sizes, table_bytes, 0), {-14, 999128, "Create canvas : malloc problem"});
}

TEST_P(without_memory, there_is_no_tile_cache_to_open)
{
    closed_file("c", grid);
    const auto sizes = needed([&] { return open_it(); });
    const size_t table = number_of(sizes, table_bytes, 0);
    expect_not_opened(number_of(sizes, tiles * 8, table), {-13, 999131, "Create canvas : malloc problem"});
}

TEST_P(without_memory, there_are_no_tile_flags_to_open)
{
    closed_file("c", grid);
    const auto sizes = needed([&] { return open_it(); });
    const size_t table = number_of(sizes, table_bytes, 0);
    expect_not_opened(number_of(sizes, tiles, table), {-16, 999132, "Create canvas : malloc problem"});
}

TEST_P(without_memory, each_of_its_allocations_keeps_a_file_from_being_opened)
{
    closed_file("c", grid);
    const auto sizes = needed([&] { return open_it(); });
    for (size_t number = 1; number <= sizes.size(); ++number)
        EXPECT_LT(failing_at(number, [&] { return open_it(); }), 0) << "allocation " << number;
    EXPECT_EQ(open_it(), 0) << "with memory again";
}

}  // namespace
