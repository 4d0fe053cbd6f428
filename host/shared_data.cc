// The variables and buffers that library and host share. The library reads and writes all of them; this host only
// says where they are.
#include "host/iocache_host.h"

#include <cstddef>

namespace {

// The remake of a picture writes 9.3 MiB into one of these.
constexpr std::size_t buffer_bytes = std::size_t{16} * 1024 * 1024;

uint8_t buffer_x[buffer_bytes];

}  // namespace

extern "C" {

int32_t nr_procs = 1;
int32_t proc_args[IOCACHE_HOST_MOST_WORKERS];
void* cnt_lock;

uint8_t bufR[buffer_bytes];
uint8_t* Rbuf = bufR;
uint8_t* Xbuf = buffer_x;
uint8_t* Zbuf;

int32_t MP_startx, MP_endx, MP_starty, MP_endy;
int32_t MP_x, MP_y, MP_wid, MP_height, MP_blw;
int32_t MP_trans, MP_trans2, MP_type;
int32_t MP_press_limit, MP_opac_limit;
int32_t MP_x_offset, MP_y_offset;
int32_t MP_plinewid, MP_alinewid, MP_alfa_linewid, MP_alfa_inc, MP_mlinewid, MP_slinewid;
int32_t MP_tilewid, MP_visu_wid;
int32_t MP_sx_offset, MP_sy_offset;
int32_t MP_noise, MP_line, MP_count;
int32_t MP_subx, MP_suby, MP_swidth;
int32_t MP_sat_limit, MP_val_limit, MP_hue_limit;
uint8_t *MP_target, *MP_alfa_target, *MP_alfa, *MP_buffer, *MP_ovl, *MP_source, *MP_alfa_source;
int32_t MP_col1, MP_col2;

}  // extern "C"
