// A full disk in the middle of a request: the host may run another program through which the user makes room; then
// the request is repeated. Runs in the client while cache process and workers are idle.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "iocache/cache/tile_entry.h"
#include "iocache/platform/platform.h"
#include "iocache/setup/setup.h"

namespace {

using namespace iocache;
using namespace iocache::cache;

constexpr int64_t stow_bytes = 4'194'304;        // what the other program may use of Rbuf
constexpr int32_t least_free_bytes = 1'048'577;  // more than 1 MiB

int32_t refusal = 0;             // not 0: fail at once, ask nobody
uint8_t* stow_buffer = nullptr;  // made on first use, kept for the life of the library

// The host's worker parameters: the other program may use the same workers.
class worker_state {
public:
    worker_state() : function_(MP_get_proc_fun())
    {
        for (size_t i = 0; i < std::size(numbers); ++i) kept_numbers_[i] = *numbers[i];
        for (size_t i = 0; i < std::size(pointers); ++i) kept_pointers_[i] = *pointers[i];
    }

    void give_back_function() const
    {
        for (int32_t i = 0; i < nr_procs; ++i) MP_def_proc_fun(i, function_);
    }

    void give_back_parameters() const
    {
        for (size_t i = 0; i < std::size(numbers); ++i) *numbers[i] = kept_numbers_[i];
        for (size_t i = 0; i < std::size(pointers); ++i) *pointers[i] = kept_pointers_[i];
    }

private:
    static constexpr int32_t* numbers[] = {
        &MP_startx,       &MP_endx,       &MP_starty,    &MP_endy,      &MP_x,         &MP_y,
        &MP_wid,          &MP_height,     &MP_blw,       &MP_trans,     &MP_trans2,    &MP_type,
        &MP_press_limit,  &MP_opac_limit, &MP_x_offset,  &MP_y_offset,  &MP_plinewid,  &MP_alinewid,
        &MP_alfa_linewid, &MP_alfa_inc,   &MP_mlinewid,  &MP_slinewid,  &MP_tilewid,   &MP_visu_wid,
        &MP_sx_offset,    &MP_sy_offset,  &MP_noise,     &MP_line,      &MP_count,     &MP_subx,
        &MP_suby,         &MP_swidth,     &MP_sat_limit, &MP_val_limit, &MP_hue_limit, &MP_col1,
        &MP_col2};
    static constexpr uint8_t** pointers[] = {&MP_target, &MP_alfa_target, &MP_alfa,       &MP_buffer,
                                             &MP_ovl,    &MP_source,      &MP_alfa_source};
    static_assert(std::size(numbers) + std::size(pointers) == 44);

    MP_function function_;
    int32_t kept_numbers_[std::size(numbers)];
    uint8_t* kept_pointers_[std::size(pointers)];
};

bool have_stow_buffer()
{
    if (stow_buffer == nullptr) stow_buffer = static_cast<uint8_t*>(platform_allocate(stow_bytes));
    if (stow_buffer != nullptr) return true;
    setup::print_plainly("Malloc problem for stow_buffer");
    setup::kill_host();
    return false;
}

// 32 bits wide and signed, as hosts expect: 2 GiB free and more counts as it wraps.
int32_t wrapped_free_bytes(int64_t block_size, int64_t free_blocks)
{
    return static_cast<int32_t>(static_cast<uint32_t>(block_size) * static_cast<uint32_t>(free_blocks));
}

void measure_room()
{
    int64_t block_size = 0;
    int64_t free_blocks = 0;
    if (platform_statfs(cv_name_file != nullptr ? cv_name_file : "", &block_size, &free_blocks) != 0) {
        setup::report(999011, "Can't check diskspace for picture saving.");
        set_disk_full(0);  // as if there were room: the repeated request will tell
        return;
    }
    if (wrapped_free_bytes(block_size, free_blocks) >= least_free_bytes) set_disk_full(0);
}

}  // namespace

void cv_disk_full_return(int32_t flag)
{
    refusal = flag;
}

int32_t canvas_disk_full(void)
{
    if (refusal != 0) return -255;
    const worker_state kept;
    if (!have_stow_buffer()) return -255;
    std::memcpy(stow_buffer, Rbuf, stow_bytes);
    // When it could not be started nothing is put back, as hosts expect.
    if (start_another_program("") == -1) return -255;
    kept.give_back_function();
    std::memcpy(Rbuf, stow_buffer, stow_bytes);
    kept.give_back_parameters();
    measure_room();
    return 0;
}
