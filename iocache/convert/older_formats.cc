// Files of older formats. This release recognises them and leaves them untouched; they cannot be opened yet.

#include <iocache/iocache.h>

int32_t cv_convert_old_file(const char* /*path*/)
{
    return -255;
}

int32_t cv_transform_v1_to_v10(int32_t /*canvas*/)
{
    return -255;
}
