#include "camera.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr double farthest_zoom = 1.0 / 256.0;
constexpr double margin_share = 0.96;  // of the viewport that a fitted canvas takes
}  // namespace

paint::camera paint::camera::fitting(const area& canvas, const viewport& port)
{
    camera fitted;
    const double across = margin_share * port.width / canvas.width();
    const double down = margin_share * port.height / canvas.height();
    fitted.zoom_ = std::clamp(std::min(across, down), farthest_zoom, closest_zoom);
    fitted.corner_ = {canvas.left + (canvas.width() - port.width / fitted.zoom_) / 2.0,
                      canvas.top + (canvas.height() - port.height / fitted.zoom_) / 2.0};
    fitted.align_to_screen();
    return fitted;
}

paint::point paint::camera::to_canvas(point screen, const viewport& port) const
{
    return {corner_.x + (screen.x - port.left) / zoom_, corner_.y + (screen.y - port.top) / zoom_};
}

paint::point paint::camera::to_screen(point canvas, const viewport& port) const
{
    return {port.left + (canvas.x - corner_.x) * zoom_, port.top + (canvas.y - corner_.y) * zoom_};
}

paint::area paint::camera::visible(const viewport& port) const
{
    const auto first = [](double at) { return static_cast<int32_t>(std::floor(at)); };
    return {first(corner_.x), first(corner_.y), first(corner_.x + port.width / zoom_),
            first(corner_.y + port.height / zoom_)};
}

void paint::camera::zoom_about(point screen, const viewport& port, double zoom)
{
    const point fixed = to_canvas(screen, port);
    zoom_ = std::clamp(zoom, farthest_zoom, closest_zoom);
    corner_ = {fixed.x - (screen.x - port.left) / zoom_, fixed.y - (screen.y - port.top) / zoom_};
    align_to_screen();
}

void paint::camera::pan(double screen_dx, double screen_dy)
{
    corner_.x -= screen_dx / zoom_;
    corner_.y -= screen_dy / zoom_;
    align_to_screen();
}

void paint::camera::align_to_screen()
{
    corner_ = {std::round(corner_.x * zoom_) / zoom_, std::round(corner_.y * zoom_) / zoom_};
}
