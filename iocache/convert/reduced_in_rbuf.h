// The reduced image of a canvas that a conversion fills, built in Rbuf while its tiles arrive. Client only.
#pragma once

#include <cstdint>

#include <iocache/iocache.h>

namespace iocache::convert {

// The image follows this tile. Leaves the request block as it was.
void update_reduced_image(const cv_canvas& record, int32_t tile);
// With every tile in it: stores the image, when the file has a place for it, and the icon. False when one of them could
// not be written, which is reported then.
bool store_reduced_image_and_icon(cv_canvas& record);

}  // namespace iocache::convert
