// The application: pointer and keys become strokes, pans and zooms; every event's paint is in the reduced image before
// the next one is looked at.
#ifndef IOCACHE_EXAMPLES_PAINT_APP_H
#define IOCACHE_EXAMPLES_PAINT_APP_H

#include <optional>
#include <string>

#include "brush.h"
#include "camera.h"
#include "document.h"
#include "latency.h"
#include "panel.h"
#include "statistics.h"
#include "stroke.h"
#include "view.h"
#include "window.h"

namespace paint {

class app {
public:
    app(document& canvas, window& in);

    // Until the window is closed. Closing the document is the caller's.
    void run();

private:
    void handle(const SDL_Event& event);
    void handle_button_down(const SDL_MouseButtonEvent& button);
    void handle_button_up(const SDL_MouseButtonEvent& button);
    void handle_motion(const SDL_MouseMotionEvent& motion);
    void handle_wheel(const SDL_MouseWheelEvent& wheel);
    void handle_key(const SDL_KeyboardEvent& key);

    void paint(point where, bool pen_down);
    void zoom(point about, double to);
    void fit();
    void save();
    void draw_frame();
    void count_cache_now_and_then();
    [[nodiscard]] viewport port() const;

    document& document_;
    window& window_;
    view view_;
    camera camera_;
    brush brush_;
    ink ink_;
    std::optional<stroke> stroke_;  // while the pen is down
    bool panning_ = false;
    bool running_ = true;
    std::string status_;
    cache_statistics cache_;
    latency_recorder::clock::time_point counted_at_{};
    latency_recorder latency_;
};

}  // namespace paint

#endif
