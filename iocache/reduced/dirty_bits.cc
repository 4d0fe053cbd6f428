// Which derived images a write makes stale. The library only ever sets the bits; reading and clearing them is the
// host's business.

#include "iocache/reduced/reduced.h"

namespace {

// One bit a level: the canvas's own reduced image, then the views that derive from it.
constexpr uint8_t own_image = 1;
constexpr uint8_t level_1 = 2;
constexpr uint8_t level_2 = 4;
constexpr uint8_t level_3 = 8;

}  // namespace

// Any other level, and level 3 with any other window mode, leaves the mask, as hosts expect.
void cv_set_dirtybits_mask(cv_canvas* canvas, int32_t level)
{
    const bool has_window = canvas->window_flag != 0;
    switch (level) {
        case 0:
            canvas->dirty_mask = own_image;
            break;
        case 1:
            canvas->dirty_mask = own_image | level_1;
            break;
        case 2:
            canvas->dirty_mask = has_window ? own_image | level_1 | level_2 : own_image | level_2;
            break;
        case 3:
            if (canvas->window_mode == 0) canvas->dirty_mask = own_image | level_3;
            if (canvas->window_mode == 1) canvas->dirty_mask = own_image | level_1 | level_3;
            if (canvas->window_mode == 2) {
                canvas->dirty_mask =
                    has_window ? own_image | level_1 | level_2 | level_3 : own_image | level_2 | level_3;
            }
            break;
        default:
            break;
    }
}
