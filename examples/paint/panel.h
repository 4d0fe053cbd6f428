// The panel at the left of the window: brush, ink, view, and what the tile cache is doing.
#ifndef IOCACHE_EXAMPLES_PAINT_PANEL_H
#define IOCACHE_EXAMPLES_PAINT_PANEL_H

#include <string>

#include "brush.h"
#include "document.h"
#include "latency.h"
#include "statistics.h"

namespace paint {

inline constexpr int32_t panel_width = 300;  // screen pixels

// What the panel shows.
struct panel_facts {
    const document& canvas;
    const cache_statistics& cache;
    const latency_recorder& latency;
    double zoom;
    std::string status;  // one line, may be empty
};

// What was clicked in this frame.
struct panel_wishes {
    bool save = false;
    bool fit = false;
    bool full_pixels = false;
};

// Changes brush and ink in place.
panel_wishes draw_panel(const panel_facts& facts, brush& with, ink& what, int32_t window_height);

}  // namespace paint

#endif
