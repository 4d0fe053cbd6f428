// canvas_disk_full by itself: what it keeps for the other program, and when it takes the disk for free again.
#include <algorithm>
#include <cstring>

#include "tests/cache/forced_test.h"

namespace {

using namespace iocache_test;

constexpr size_t stowed_bytes = 4'194'304;

// The 44 parameters of the host's workers, in the order in which they are listed.
int32_t* const numbers[] = {&MP_startx,       &MP_endx,       &MP_starty,    &MP_endy,      &MP_x,         &MP_y,
                            &MP_wid,          &MP_height,     &MP_blw,       &MP_trans,     &MP_trans2,    &MP_type,
                            &MP_press_limit,  &MP_opac_limit, &MP_x_offset,  &MP_y_offset,  &MP_plinewid,  &MP_alinewid,
                            &MP_alfa_linewid, &MP_alfa_inc,   &MP_mlinewid,  &MP_slinewid,  &MP_tilewid,   &MP_visu_wid,
                            &MP_sx_offset,    &MP_sy_offset,  &MP_noise,     &MP_line,      &MP_count,     &MP_subx,
                            &MP_suby,         &MP_swidth,     &MP_sat_limit, &MP_val_limit, &MP_hue_limit, &MP_col1,
                            &MP_col2};
uint8_t** const pointers[] = {&MP_target, &MP_alfa_target, &MP_alfa, &MP_buffer, &MP_ovl, &MP_source, &MP_alfa_source};
static_assert(std::size(numbers) + std::size(pointers) == 44);

std::atomic<int> mine_ran;
std::atomic<int> theirs_ran;

void my_function(void* /*args*/)
{
    ++mine_ran;
    MP_barrier();
}

void their_function(void* /*args*/)
{
    ++theirs_ran;
    MP_barrier();
}

class disk_full_handler : public forced_test {
protected:
    void SetUp() override
    {
        start_with_zones(4);
        set_disk(4096, 0);
        set_all(1000, 1);
        std::atomic_ref(cv_disk_full).store(1);
    }
    static void set_disk(int64_t block_size, int64_t free_blocks)
    {
        hooks::on_statfs = [=](const char*, int64_t& size, int64_t& blocks) {
            size = block_size;
            blocks = free_blocks;
            return 0;
        };
    }
    // Everything that the other program may change.
    static void set_all(int32_t first_number, uint8_t buffer_byte)
    {
        for (size_t i = 0; i < std::size(numbers); ++i) *numbers[i] = first_number + static_cast<int32_t>(i);
        for (size_t i = 0; i < std::size(pointers); ++i) *pointers[i] = bufR + first_number + i;
        std::memset(Rbuf, buffer_byte, stowed_bytes + 1);
        for (int32_t i = 0; i < nr_procs; ++i) MP_def_proc_fun(i, buffer_byte == 1 ? my_function : their_function);
    }
    static void expect_all(int32_t first_number, uint8_t buffer_byte)
    {
        for (size_t i = 0; i < std::size(numbers); ++i)
            EXPECT_EQ(*numbers[i], first_number + static_cast<int32_t>(i)) << i;
        for (size_t i = 0; i < std::size(pointers); ++i) EXPECT_EQ(*pointers[i], bufR + first_number + i) << i;
        EXPECT_TRUE(std::all_of(Rbuf, Rbuf + stowed_bytes, [=](uint8_t byte) { return byte == buffer_byte; }));
    }
    static int32_t program_that_changes_everything(const char* /*name*/)
    {
        set_all(5000, 2);
        return 0;
    }
    static int32_t run_handler()
    {
        hooks::on_program = program_that_changes_everything;
        return canvas_disk_full();
    }
    static bool is_full_with(int64_t block_size, int64_t free_blocks)
    {
        std::atomic_ref(cv_disk_full).store(1);
        set_disk(block_size, free_blocks);
        EXPECT_EQ(run_handler(), 0);
        return cv_disk_full == 1;
    }
};

TEST_P(disk_full_handler, gives_back_what_the_program_changed)
{
    EXPECT_EQ(run_handler(), 0);
    expect_all(1000, 1);
    EXPECT_EQ(Rbuf[stowed_bytes], 2) << "the first 4 MiB are kept, no more";
}

TEST_P(disk_full_handler, gives_every_worker_its_function_back)
{
    EXPECT_EQ(run_handler(), 0);
    mine_ran = theirs_ran = 0;
    ASSERT_EQ(MP_run_procs(), 0);
    EXPECT_EQ(mine_ran, nr_procs);
    EXPECT_EQ(theirs_ran, 0);
}

TEST_P(disk_full_handler, runs_the_program_that_has_no_name)
{
    std::string name = "none";
    int runs = 0;
    hooks::on_program = [&](const char* given) {
        name = given;
        ++runs;
        return 0;
    };
    EXPECT_EQ(canvas_disk_full(), 0);
    EXPECT_EQ(name, "");
    EXPECT_EQ(runs, 1);
}

TEST_P(disk_full_handler, gives_up_without_giving_back_when_the_program_cannot_run)
{
    hooks::on_program = [](const char* name) {
        program_that_changes_everything(name);
        return -1;
    };
    set_disk(4096, 100'000);
    EXPECT_EQ(canvas_disk_full(), -255);
    expect_all(5000, 2);
    EXPECT_EQ(cv_disk_full, 1) << "nothing is measured";
}

TEST_P(disk_full_handler, other_answers_of_the_program_do_not_matter)
{
    hooks::on_program = [](const char*) { return -255; };
    EXPECT_EQ(canvas_disk_full(), 0);
}

TEST_P(disk_full_handler, can_be_told_to_give_up_at_once)
{
    int runs = 0;
    hooks::on_program = [&](const char*) { return ++runs; };
    cv_disk_full_return(1);
    EXPECT_EQ(canvas_disk_full(), -255);
    cv_disk_full_return(-3);
    EXPECT_EQ(canvas_disk_full(), -255);
    EXPECT_EQ(runs, 0);
    EXPECT_EQ(cv_disk_full, 1);
    cv_disk_full_return(0);
    EXPECT_EQ(canvas_disk_full(), 0);
    EXPECT_EQ(runs, 1);
}

TEST_P(disk_full_handler, more_than_one_mebibyte_is_room)
{
    EXPECT_TRUE(is_full_with(1, 0));
    EXPECT_TRUE(is_full_with(1, 1'048'576));
    EXPECT_FALSE(is_full_with(1, 1'048'577));
    EXPECT_TRUE(is_full_with(4096, 256));
    EXPECT_FALSE(is_full_with(4096, 257));
}

TEST_P(disk_full_handler, counts_in_32_bits_with_a_sign)
{
    EXPECT_FALSE(is_full_with(4096, 524'287));         // just below 2 GiB
    EXPECT_TRUE(is_full_with(4096, 524'288));          // 2 GiB: negative
    EXPECT_TRUE(is_full_with(4096, 1'048'575));        // just below 4 GiB
    EXPECT_TRUE(is_full_with(4096, 1'048'576));        // 4 GiB: 0
    EXPECT_TRUE(is_full_with(4096, 1'048'576 + 256));  // and exactly 1 MiB more
    EXPECT_FALSE(is_full_with(4096, 1'048'576 + 257));
    EXPECT_FALSE(is_full_with(1, int64_t{1} << 32 | 1'048'577));
}

TEST_P(disk_full_handler, disk_that_cannot_be_measured_counts_as_free)
{
    hooks::on_statfs = [](const char*, int64_t&, int64_t&) { return -1; };
    EXPECT_EQ(run_handler(), 0);
    EXPECT_EQ(cv_disk_full, 0);
    EXPECT_EQ(cv_errno, 999011);
    EXPECT_EQ(host().messages(), std::vector<std::string>{"Can't check diskspace for picture saving."});
    expect_all(1000, 1);
}

TEST_P(disk_full_handler, measures_where_the_last_tile_went)
{
    std::atomic_ref(cv_disk_full).store(0);
    const int32_t mask = new_mask("mask", 600, 600);
    write_tile(mask, 0, 0, 1);
    ASSERT_EQ(cv_flush_tiles(mask), 0);
    std::string measured;
    hooks::on_statfs = [&](const char* where, int64_t&, int64_t&) {
        measured = where;
        return -1;
    };
    EXPECT_EQ(run_handler(), 0);
    EXPECT_EQ(measured, path("mask"));
}

INSTANTIATE_TEST_SUITE_P(, disk_full_handler, both_modes(), mode_name);

}  // namespace
