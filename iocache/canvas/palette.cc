// The colour palette that a conversion may leave for the host.

#include <cstdlib>

#include "iocache/canvas/canvas.h"

uint8_t* cv_palet_ptr = nullptr;
int32_t cv_palet_num_bytes = 0;

uint8_t* cv_ask_palet(int32_t* num_bytes)
{
    *num_bytes = cv_palet_num_bytes;
    return cv_palet_ptr;
}

void cv_free_palet(void)
{
    if (cv_palet_num_bytes == 0) return;
    cv_palet_num_bytes = 0;
    std::free(cv_palet_ptr);
    cv_palet_ptr = nullptr;
}
