// The paint program in a window, used as a person uses it: real pointer and key events through the X server, and looks
// at the screen that are compared with the pixels of the canvas file.
//
// IOCACHE_PAINT_SCREENSHOTS=FOLDER keeps what was seen, for people.
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "examples/paint/camera.h"
#include "examples/paint/panel.h"
#include "tests/paint/child_process.h"
#include "tests/paint/painted_file.h"
#include "tests/paint/x_display.h"
#include "tests/support/temporary_folder.h"

namespace {

using namespace std::chrono_literals;
using namespace paint_test;
using paint::camera;

constexpr auto patience = 60s;  // with a busy machine; what is waited for comes in a moment otherwise
constexpr paint::viewport port = {paint::panel_width, 0, 900, 760};
// The stroke, its middle, and a box around that which holds more than the stroke.
constexpr paint::point stroke_start = {450.0, 300.0};
constexpr paint::point stroke_end = {1000.0, 460.0};
constexpr int32_t middle_x = 725;
constexpr int32_t middle_y = 380;
constexpr paint::area box_of_middle = {middle_x - 110, middle_y - 90, middle_x + 110, middle_y + 90};

constexpr rgb chequer_light = {235, 235, 235};
constexpr rgb chequer_dark = {205, 205, 205};
constexpr rgb default_ink = {23, 198, 235};  // cyan 230, magenta 40, black 20
constexpr rgb white = {255, 255, 255};
constexpr rgb black = {0, 0, 0};

template <class Condition> bool comes_true(Condition condition)
{
    const auto until = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= until) return false;
        std::this_thread::sleep_for(50ms);
    }
    return true;
}

bool alike(const rgb& a, const rgb& b)
{
    constexpr int tolerance = 3;  // two roundings of a blend
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::abs(int{a[i]} - int{b[i]}) > tolerance) return false;
    }
    return true;
}

bool is_chequer(const rgb& seen)
{
    return alike(seen, chequer_light) || alike(seen, chequer_dark);
}

// What a pixel of the file looks like on a background.
rgb shown(const iocache_test::bytes& pixel, const rgb& background)
{
    if (pixel.size() == 1) return {pixel[0], pixel[0], pixel[0]};
    rgb result{};
    const double alpha = pixel[4] / 255.0;
    for (size_t i = 0; i < result.size(); ++i) {
        const double light = (255.0 - pixel[i]) * (255.0 - pixel[3]) / 255.0;
        result[i] = static_cast<uint8_t>(std::lround(light * alpha + background[i] * (1.0 - alpha)));
    }
    return result;
}

struct difference {
    int32_t wrong = 0, painted = 0, bare = 0;
};

// Every screen pixel of a box against the canvas pixel that stands there.
difference compare(const screenshot& seen, const painted_file& file, const camera& from, const paint::area& box)
{
    difference found;
    for (int32_t y = box.top; y <= box.bottom; ++y) {
        for (int32_t x = box.left; x <= box.right; ++x) {
            const paint::point at = from.to_canvas({x + 0.5, y + 0.5}, port);
            const auto pixel = file.pixel(static_cast<int32_t>(at.x), static_cast<int32_t>(at.y));
            const rgb& there = seen.at(x, y);
            if (!alike(there, shown(pixel, chequer_light)) && !alike(there, shown(pixel, chequer_dark))) ++found.wrong;
            ++(pixel.back() == 0 ? found.bare : found.painted);
        }
    }
    return found;
}

class paint_window : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (SANITIZED) GTEST_SKIP() << "graphics drivers are not made for sanitizers";
        const auto server = x_display::find_server();
        if (!server) GTEST_SKIP() << "there is no Xvfb to open a window in";
        screen_ = std::make_unique<x_display>(*server);
    }

    // Starts the program and waits until the middle of the window has this colour, one of two.
    void start(std::vector<std::string> arguments, const rgb& one, const rgb& other)
    {
        arguments.insert(arguments.begin(), {PAINT_PROGRAM, file_});
        program_ = std::make_unique<child_process>(
            arguments, std::vector<std::string>{"DISPLAY=" + screen_->name(), "SDL_VIDEODRIVER=x11",
                                                "LIBGL_ALWAYS_SOFTWARE=1", "IOCACHE_CONFIG=/dev/null"});
        ASSERT_TRUE(comes_true([&] { return screen_->find_window("paint: "); }));
        ASSERT_TRUE(comes_true([&] {
            const screenshot seen = screen_->look();
            return seen.width == 1200 &&
                   (alike(seen.at(middle_x, middle_y), one) || alike(seen.at(middle_x, middle_y), other));
        }));
    }
    void drag(pointer_button button, paint::point from, paint::point to)
    {
        constexpr int32_t steps = 30;
        const auto part = [&](double a, double b, int32_t i) {
            return static_cast<int32_t>(std::lround(a + (b - a) * i / steps));
        };
        screen_->move_pointer(part(from.x, to.x, 0), part(from.y, to.y, 0));
        screen_->press(button);
        for (int32_t i = 1; i <= steps; ++i) {
            screen_->move_pointer(part(from.x, to.x, i), part(from.y, to.y, i));
            std::this_thread::sleep_for(5ms);
        }
        screen_->release(button);
    }
    void click(pointer_button button)
    {
        screen_->press(button);
        screen_->release(button);
    }
    void tap(const char* key)
    {
        screen_->press_key(key);
        screen_->release_key(key);
    }
    void tap_with_control(const char* key)
    {
        screen_->press_key("Control_L");
        tap(key);
        screen_->release_key("Control_L");
    }

    bool pixel_becomes(int32_t x, int32_t y, const rgb& colour)
    {
        return comes_true([&] { return alike(screen_->look().at(x, y), colour); });
    }
    // Waits until the screen shows the file's pixels here, and says how they differ in the end.
    difference screen_against(const painted_file& file, const camera& from, const paint::area& box)
    {
        difference found;
        comes_true([&] { return (found = compare(screen_->look(), file, from, box)).wrong == 0; });
        return found;
    }
    void keep_screenshot(const std::string& name)
    {
        const char* const folder = std::getenv("IOCACHE_PAINT_SCREENSHOTS");
        if (folder != nullptr) screen_->look().write(std::string(folder) + "/" + name + ".ppm");
    }
    [[nodiscard]] painted_file file() const { return painted_file(file_); }
    // Waits until the file on disk has what a test looks for.
    template <class Condition> bool file_becomes(Condition condition)
    {
        return comes_true([&] { return condition(file()); });
    }
    [[nodiscard]] const std::string& path() const { return file_; }
    child_process& program() { return *program_; }
    x_display& screen() { return *screen_; }

private:
    temporary_folder folder_;
    std::string file_ = folder_.path() + "/a.canvas";
    std::unique_ptr<x_display> screen_;
    std::unique_ptr<child_process> program_;
};

void expect_same(const difference& found)
{
    EXPECT_EQ(found.wrong, 0);
    EXPECT_GT(found.painted, 1'000);
    EXPECT_GT(found.bare, 1'000);
}

void expect_reduced_image_and_icon(const painted_file& file)
{
    EXPECT_TRUE(file.stored_reduced_image() == file.expected_reduced_image());
    EXPECT_EQ(file.check_icon().wrong, 0);
    EXPECT_GT(file.check_icon().painted, 0);
}

TEST_F(paint_window, stroke_is_seen_saved_and_kept)
{
    start({"--new", "3000x2000", "--cache", "4"}, chequer_light, chequer_dark);
    camera eye = camera::fitting({0, 0, 2999, 1999}, port);
    const paint::point middle = eye.to_canvas({middle_x + 0.5, middle_y + 0.5}, port);
    drag(pointer_button::left, stroke_start, stroke_end);

    // The reduced image, smoothed: the middle of the stroke is ink, the rest bare.
    ASSERT_TRUE(pixel_becomes(middle_x, middle_y, default_ink));
    ASSERT_TRUE(
        pixel_becomes(static_cast<int32_t>(stroke_end.x) - 3, static_cast<int32_t>(stroke_end.y) - 1, default_ink));
    EXPECT_TRUE(is_chequer(screen().look().at(middle_x, middle_y + 40)));
    keep_screenshot("1-painted");

    // Saved while it is open.
    tap_with_control("s");
    const auto middle_is_painted = [&](const painted_file& saved) {
        return saved.alpha(static_cast<int32_t>(middle.x), static_cast<int32_t>(middle.y)) == 255 &&
               saved.stored_reduced_image() == saved.expected_reduced_image() && saved.check_icon().painted > 0;
    };
    ASSERT_TRUE(file_becomes(middle_is_painted));
    const painted_file saved = file();
    expect_reduced_image_and_icon(saved);
    EXPECT_EQ(saved.pixel(static_cast<int32_t>(middle.x), static_cast<int32_t>(middle.y)),
              (iocache_test::bytes{230, 40, 0, 20, 255}));

    // Full pixels, one to one.
    screen().move_pointer(middle_x, middle_y);
    tap("1");
    eye.zoom_about({middle_x + 0.5, middle_y + 0.5}, port, 1.0);
    expect_same(screen_against(saved, eye, box_of_middle));
    keep_screenshot("2-full-pixels");

    // Panned with the middle button and with the space bar.
    drag(pointer_button::middle, {600.0, 300.0}, {660.0, 270.0});
    eye.pan(60.0, -30.0);
    expect_same(screen_against(saved, eye, box_of_middle));
    screen().press_key("space");
    drag(pointer_button::left, {660.0, 270.0}, {600.0, 300.0});
    screen().release_key("space");
    eye.pan(-60.0, 30.0);
    expect_same(screen_against(saved, eye, box_of_middle));

    // Four clicks of the wheel make every pixel four large.
    screen().move_pointer(middle_x, middle_y + 40);
    for (int i = 0; i < 4; ++i) {
        click(pointer_button::wheel_up);
        eye.zoom_about({middle_x + 0.5, middle_y + 40.5}, port, eye.zoom() * std::sqrt(2.0));
    }
    expect_same(screen_against(saved, eye, box_of_middle));
    keep_screenshot("3-enlarged");

    program().signal(SIGTERM);
    EXPECT_EQ(program().finish(patience), std::optional(0));
    EXPECT_EQ(file().file().dirty(), 0);
    expect_reduced_image_and_icon(file());

    // And seen again in what was stored.
    start({}, default_ink, default_ink);
    keep_screenshot("4-opened-again");
}

TEST_F(paint_window, full_pixels_follow_a_stroke_painted_into_them)
{
    start({"--new", "5000x4000", "--in-line"}, chequer_light, chequer_dark);
    camera eye = camera::fitting({0, 0, 4999, 3999}, port);
    screen().move_pointer(middle_x, middle_y);
    tap("1");
    eye.zoom_about({middle_x + 0.5, middle_y + 0.5}, port, 1.0);
    std::this_thread::sleep_for(300ms);
    drag(pointer_button::left, stroke_start, stroke_end);
    ASSERT_TRUE(pixel_becomes(middle_x, middle_y, default_ink));
    ASSERT_TRUE(
        pixel_becomes(static_cast<int32_t>(stroke_end.x) - 3, static_cast<int32_t>(stroke_end.y) - 1, default_ink));
    tap_with_control("s");
    const paint::point middle = eye.to_canvas({middle_x + 0.5, middle_y + 0.5}, port);
    ASSERT_TRUE(file_becomes([&](const painted_file& saved) {
        return saved.alpha(static_cast<int32_t>(middle.x), static_cast<int32_t>(middle.y)) == 255;
    }));
    const painted_file saved = file();
    expect_same(screen_against(saved, eye, box_of_middle));
    keep_screenshot("5-painted-into-full-pixels");
    tap_with_control("q");
    EXPECT_EQ(program().finish(patience), std::optional(0));
    expect_reduced_image_and_icon(file());
}

TEST_F(paint_window, mask_is_painted_in_white)
{
    start({"--new", "2000x1500", "--mask"}, black, black);
    const camera eye = camera::fitting({0, 0, 1999, 1499}, port);
    drag(pointer_button::left, stroke_start, stroke_end);
    ASSERT_TRUE(pixel_becomes(middle_x, middle_y, white));
    EXPECT_EQ(screen().look().at(middle_x, middle_y + 60), black);
    keep_screenshot("6-mask");
    tap_with_control("q");
    EXPECT_EQ(program().finish(patience), std::optional(0));
    const painted_file kept = file();
    const paint::point middle = eye.to_canvas({middle_x + 0.5, middle_y + 0.5}, port);
    EXPECT_EQ(kept.pixel(static_cast<int32_t>(middle.x), static_cast<int32_t>(middle.y)), iocache_test::bytes{255});
    expect_reduced_image_and_icon(kept);
}

TEST_F(paint_window, file_that_is_no_canvas_opens_no_window)
{
    iocache_test::write_whole_file(path(), {'n', 'o'});
    child_process refused({PAINT_PROGRAM, path()}, {"DISPLAY=" + screen().name()});
    EXPECT_EQ(refused.finish(patience), std::optional(1));
    EXPECT_EQ(iocache_test::read_whole_file(path()), (iocache_test::bytes{'n', 'o'}));
}

}  // namespace
