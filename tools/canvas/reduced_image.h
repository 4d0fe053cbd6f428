// The reduced image and the icon of a canvas, brought up to date: from pixels on their way into the canvas,
// or from its tiles. One at a time: the library has one set of tables and one image in the making, which
// belong to the current canvas.
//
// Only pixels that were handed over and tiles that were ever written count; the rest of the image is zero.
#pragma once

#include <cstdint>

#include "tools/canvas/open_canvas.h"
#include "tools/pipeline/canvas_block.h"

namespace iocache::tools {

class reduced_image {
public:
    // Makes the canvas the current one, and begins with an empty image.
    explicit reduced_image(open_canvas& canvas);
    reduced_image(const reduced_image&) = delete;
    reduced_image& operator=(const reduced_image&) = delete;
    ~reduced_image();

    // Takes what the image needs of a block of canvas pixels.
    void take(const canvas_block& block);
    // Takes what it needs of every tile. Throws `interrupted` too.
    void take_tiles();
    // Writes the image, if the file has room for one, and the icon made of it.
    void store();

private:
    open_canvas& canvas_;
    std::int32_t number_;

    void make_current(std::int32_t number, cv_canvas* record) const;
};

// What the file holds now. A canvas that fits the frame has no image of its own to read: it is its own.
[[nodiscard]] bool has_stored_image(const open_canvas& canvas);
[[nodiscard]] canvas_block stored_image(const open_canvas& canvas);
// The icon has no alpha.
[[nodiscard]] canvas_block stored_icon(const open_canvas& canvas);

}  // namespace iocache::tools
