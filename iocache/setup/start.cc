// Start-up: the host's workers, every global default, the tile memory, the tile access machinery, the log.
// Called once by the host's main thread before any other use.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "iocache/cache/cache.h"
#include "iocache/canvas/canvas.h"
#include "iocache/reduced/reduced.h"
#include "iocache/setup/setup.h"

char HeaderPart[64] = "";
int32_t cv_tilesize_hor = 0;
int32_t cv_tilesize_vert = 0;
int32_t cv_max_resolution = 0;
int32_t cv_iconsize_hor = 0;
int32_t cv_iconsize_vert = 0;
int32_t cv_max_lres_hor = 0;
int32_t cv_max_lres_vert = 0;
int32_t tile_offset_alfa = 0;
int32_t cv_tile_access_switch = 0;

namespace {

using namespace iocache;

// Items of the host's configuration.
constexpr int32_t product_name_item = 22;
constexpr int32_t product_release_item = 23;
constexpr int32_t worker_count_item = 29;
constexpr int32_t resolution_item = 41;
constexpr int32_t tile_width_item = 47;
constexpr int32_t tile_height_item = 48;

constexpr int32_t default_tile_pixels = 256;
constexpr int32_t default_resolution = 32;  // K; a canvas holds fewer than (K * 1024) squared pixels
constexpr int32_t default_icon_pixels = 100;
constexpr int32_t default_frame_pixels = 1024;
constexpr int32_t standard_alpha_offset = 256 * 256 * 4;
constexpr size_t product_name_limit = 50;  // a name of this length or more is not used

// 32-bit on purpose: from K = 46 on the square wraps, and hosts rely on the result.
int32_t pixel_limit(int32_t k)
{
    const uint32_t side = static_cast<uint32_t>(k) * 1024U;
    return static_cast<int32_t>(side * side);
}

void compose_header_part()
{
    const char* name = setup::configured_text(product_name_item);
    if (name == nullptr || std::strlen(name) >= product_name_limit) name = "???";
    const char* const release = setup::configured_text(product_release_item);
    std::memset(HeaderPart, 0, sizeof HeaderPart);  // all of it goes into new files
    std::snprintf(HeaderPart, sizeof HeaderPart, "%s %s", name, release != nullptr ? release : "-1.-1");
}

void set_defaults()
{
    cv_wrt_err = wrt_err;
    cv_printf = std::printf;
    cv_killer = killer;
    cv_tilesize_hor = setup::configured_number(tile_width_item, default_tile_pixels);
    cv_tilesize_vert = setup::configured_number(tile_height_item, default_tile_pixels);
    cv_max_resolution = pixel_limit(setup::configured_number(resolution_item, default_resolution));
    cv_iconsize_hor = default_icon_pixels;
    cv_iconsize_vert = default_icon_pixels;
    cv_max_lres_hor = default_frame_pixels;
    cv_max_lres_vert = default_frame_pixels;
    tile_offset_alfa = standard_alpha_offset;
    compose_header_part();
}

}  // namespace

int32_t iocache::setup::configured_number(int32_t item, int32_t otherwise)
{
    const char* text = nullptr;
    int32_t number = 0;
    return config_get(item, &text, &number) == -1 ? otherwise : number;
}

const char* iocache::setup::configured_text(int32_t item)
{
    const char* text = nullptr;
    int32_t number = 0;
    return config_get(item, &text, &number) == -1 ? nullptr : text;
}

int32_t cv_init_driver(void)
{
    nr_procs = setup::configured_number(worker_count_item, m_get_numprocs());
    int32_t lowered = 0;
    const char* const wish = std::getenv("TQ_NUMPROC");
    if (wish != nullptr && std::sscanf(wish, "%d", &lowered) == 1 && lowered < nr_procs) nr_procs = lowered;
    nr_procs = MP_set_nr_procs(nr_procs);
    if (MP_init() == -1) return -1;

    for (int32_t i = 0; i < 8; ++i) proc_args[i] = i;  // all eight, however many workers there are
    MP_def_lock(&cnt_lock);
    return 0;
}

void canvas_init(void)
{
    set_defaults();
    canvas::forget_all_canvases();
    cache::forget_all_tiles();
    reduced::forget_tables();
    max_size_tiles = setup::measure_budget();
    cv_alloc_init(max_size_tiles);  // a failure has stopped the host; should it go on, no tile will find room

    canvas_init_tile_access();  // likewise
    cv_tile_access_switch = 1;
    setup::start_log();
}

void cv_master_init(void)
{
    Rbuf = bufR;
    cv_init_driver();  // without workers the library still runs: the host has been told by its own layer
    canvas_init();
    current_mask = 0;
    current_canvas = 0;
    current_cp = canvastable[0];
    current_mp = canvastable[0];
}
