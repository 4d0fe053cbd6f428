#include "app.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include <backends/imgui_impl_sdl.h>
#include <imgui.h>

#include "session.h"

namespace {

using namespace std::chrono_literals;

constexpr size_t events_remembered = 1'000;
constexpr int32_t idle_milliseconds = 100;  // how long a frame may wait for an event
constexpr auto statistics_every = 500ms;
constexpr double zoom_of_a_click = 1.4142135623730951;  // two clicks of the wheel double
constexpr double radius_of_a_key = 1.25;
constexpr double least_radius = 1.0;
constexpr double most_radius = 256.0;

// The pixel under the pointer is meant in its middle.
paint::point screen_point(int32_t x, int32_t y)
{
    return {x + 0.5, y + 0.5};
}

paint::point pointer()
{
    int32_t x = 0;
    int32_t y = 0;
    SDL_GetMouseState(&x, &y);
    return screen_point(x, y);
}

bool space_is_held()
{
    return SDL_GetKeyboardState(nullptr)[SDL_SCANCODE_SPACE] != 0;
}

}  // namespace

paint::app::app(document& canvas, window& in)
    : document_(canvas),
      window_(in),
      view_(canvas),
      latency_(events_remembered)
{
    fit();
}

paint::viewport paint::app::port() const
{
    return {panel_width, 0, std::max(1, window_.width() - panel_width), window_.height()};
}

void paint::app::run()
{
    while (running_) {
        SDL_Event event;
        if (SDL_WaitEventTimeout(&event, view_.is_busy() ? 0 : idle_milliseconds) != 0) {
            do {
                handle(event);
            } while (SDL_PollEvent(&event) != 0);
        }
        draw_frame();
    }
}

void paint::app::handle(const SDL_Event& event)
{
    ImGui_ImplSDL2_ProcessEvent(&event);
    switch (event.type) {
        case SDL_QUIT:
            running_ = false;
            break;
        case SDL_MOUSEBUTTONDOWN:
            handle_button_down(event.button);
            break;
        case SDL_MOUSEBUTTONUP:
            handle_button_up(event.button);
            break;
        case SDL_MOUSEMOTION:
            handle_motion(event.motion);
            break;
        case SDL_MOUSEWHEEL:
            handle_wheel(event.wheel);
            break;
        case SDL_KEYDOWN:
            handle_key(event.key);
            break;
        default:
            break;
    }
}

void paint::app::handle_button_down(const SDL_MouseButtonEvent& button)
{
    const point at = screen_point(button.x, button.y);
    if (!port().holds(at.x, at.y)) return;
    if (button.button == SDL_BUTTON_MIDDLE || (button.button == SDL_BUTTON_LEFT && space_is_held())) {
        panning_ = true;
    } else if (button.button == SDL_BUTTON_LEFT) {
        stroke_.emplace(document_, brush_, ink_);
        paint(at, true);
    }
}

void paint::app::handle_button_up(const SDL_MouseButtonEvent& button)
{
    if (button.button == SDL_BUTTON_LEFT) stroke_.reset();
    if (button.button == SDL_BUTTON_LEFT || button.button == SDL_BUTTON_MIDDLE) panning_ = false;
}

void paint::app::handle_motion(const SDL_MouseMotionEvent& motion)
{
    if (panning_) camera_.pan(motion.xrel, motion.yrel);
    if (stroke_) paint(screen_point(motion.x, motion.y), false);
}

void paint::app::handle_wheel(const SDL_MouseWheelEvent& wheel)
{
    const point at = pointer();
    if (port().holds(at.x, at.y)) zoom(at, camera_.zoom() * std::pow(zoom_of_a_click, wheel.y));
}

void paint::app::handle_key(const SDL_KeyboardEvent& key)
{
    if (ImGui::GetIO().WantTextInput) return;
    const bool control = (key.keysym.mod & KMOD_CTRL) != 0;
    switch (key.keysym.sym) {
        case SDLK_s:
            if (control) save();
            break;
        case SDLK_q:
            if (control) running_ = false;
            break;
        case SDLK_0:
            fit();
            break;
        case SDLK_1:
            zoom(pointer(), 1.0);
            break;
        case SDLK_LEFTBRACKET:
            brush_.radius = std::max(least_radius, brush_.radius / radius_of_a_key);
            break;
        case SDLK_RIGHTBRACKET:
            brush_.radius = std::min(most_radius, brush_.radius * radius_of_a_key);
            break;
        default:
            break;
    }
}

void paint::app::paint(point where, bool pen_down)
{
    const auto arrived = latency_recorder::clock::now();
    const point on_canvas = camera_.to_canvas(where, port());
    const area changed = pen_down ? stroke_->begin(on_canvas) : stroke_->move_to(on_canvas);
    if (changed.is_empty() && !stroke_->failed()) return;
    const area reduced = document_.refresh_reduced_image();
    latency_.add_since(arrived);

    view_.reduced_changed(reduced);
    view_.canvas_changed(changed);
    if (stroke_->failed()) {
        status_ = "Not painted: " + last_message();
        stroke_.reset();
    } else {
        status_.clear();
    }
}

void paint::app::zoom(point about, double to)
{
    camera_.zoom_about(about, port(), to);
}

void paint::app::fit()
{
    camera_ = camera::fitting(document_.bounds(), port());
}

void paint::app::save()
{
    status_ = document_.save() ? "Saved" : "Not saved: " + last_message();
}

void paint::app::count_cache_now_and_then()
{
    const auto now = latency_recorder::clock::now();
    if (now - counted_at_ < statistics_every) return;
    counted_at_ = now;
    cache_ = count_cache();
}

void paint::app::draw_frame()
{
    count_cache_now_and_then();
    window_.begin_frame();
    view_.draw(camera_, port());
    const panel_wishes wishes =
        draw_panel({document_, cache_, latency_, camera_.zoom(), status_}, brush_, ink_, window_.height());
    window_.end_frame();

    const viewport shown = port();
    if (wishes.save) save();
    if (wishes.fit) fit();
    if (wishes.full_pixels) zoom({shown.left + shown.width / 2.0, shown.top + shown.height / 2.0}, 1.0);
}
