// The canvas in the window: its reduced image at once, and over it, where the screen is finer than that, full pixels as
// they come. A piece of the canvas is drawn from one of the two, never from both. Transparent pixels show a
// chequerboard.
#ifndef IOCACHE_EXAMPLES_PAINT_VIEW_H
#define IOCACHE_EXAMPLES_PAINT_VIEW_H

#include <chrono>
#include <cstdint>
#include <map>

#include <imgui.h>

#include "area.h"
#include "camera.h"
#include "detail.h"
#include "document.h"
#include "texture.h"

namespace paint {

class view {
public:
    explicit view(const document& of);

    // These pixels of the reduced image have changed.
    void reduced_changed(const area& pixels);
    // These pixels of the canvas have changed.
    void canvas_changed(const area& pixels);

    // Draws behind the windows of this frame, and reads full pixels for a few milliseconds.
    void draw(const camera& from, const viewport& port);
    // The last frame could not show all full pixels yet.
    [[nodiscard]] bool is_busy() const { return busy_; }
    [[nodiscard]] size_t squares_kept() const { return squares_.size(); }

private:
    struct square {
        explicit square(detail_place place) : pixels(place), image(detail_side, detail_side) {}
        detail pixels;
        texture image;
        bool is_shown = false;  // was complete once
        uint64_t last_used = 0;
    };

    [[nodiscard]] bool needs_detail(const camera& from) const;
    void draw_reduced(ImDrawList& list, const camera& from, const viewport& port, const area& pixels) const;
    void draw_square(ImDrawList& list, const camera& from, const viewport& port, const square& drawn) const;
    void draw_detail(ImDrawList& list, const camera& from, const viewport& port);
    void fill(square& wanted, std::chrono::steady_clock::time_point until);
    void forget_old_squares();

    const document& document_;
    texture reduced_;
    texture chequer_;
    std::map<detail_place, square> squares_;
    uint64_t frame_ = 0;
    bool busy_ = false;
};

}  // namespace paint

#endif
