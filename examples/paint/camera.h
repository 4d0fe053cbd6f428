// What of the canvas stands where in the window. Arithmetic only.
#ifndef IOCACHE_EXAMPLES_PAINT_CAMERA_H
#define IOCACHE_EXAMPLES_PAINT_CAMERA_H

#include "area.h"
#include "stroke.h"

namespace paint {

// Screen pixels of the window, right and bottom not included.
struct viewport {
    int32_t left = 0, top = 0, width = 0, height = 0;

    [[nodiscard]] bool holds(double x, double y) const
    {
        return x >= left && y >= top && x < left + width && y < top + height;
    }
};

class camera {
public:
    static constexpr double closest_zoom = 16.0;  // screen pixels a canvas pixel

    // Shows the whole canvas, centred, with a narrow margin.
    static camera fitting(const area& canvas, const viewport& port);

    [[nodiscard]] double zoom() const { return zoom_; }
    [[nodiscard]] point to_canvas(point screen, const viewport& port) const;
    [[nodiscard]] point to_screen(point canvas, const viewport& port) const;
    // The canvas pixels that are at least partly in the viewport; may reach beyond the canvas.
    [[nodiscard]] area visible(const viewport& port) const;

    // Changes the zoom and keeps the canvas point under this screen point where it is, up to half a screen pixel:
    // canvas pixels that are larger than screen pixels begin where a screen pixel begins.
    void zoom_about(point screen, const viewport& port, double zoom);
    // Shows what lies so many screen pixels to the left and above.
    void pan(double screen_dx, double screen_dy);

private:
    void align_to_screen();

    double zoom_ = 1.0;  // screen pixels a canvas pixel
    point corner_;       // canvas point at the viewport's upper left corner
};

}  // namespace paint

#endif
