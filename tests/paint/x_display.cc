#include "tests/paint/x_display.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

#include "tests/paint/child_process.h"

namespace paint_test {

namespace {

constexpr std::chrono::milliseconds time_to_start{60'000};

// One end for the server, which writes its number there, one for the test.
class number_pipe {
public:
    number_pipe()
    {
        if (pipe(ends_.data()) != 0) throw std::runtime_error("no pipe");
        fcntl(ends_[0], F_SETFD, FD_CLOEXEC);
    }
    ~number_pipe()
    {
        close(ends_[0]);
        close(ends_[1]);
    }
    number_pipe(const number_pipe&) = delete;
    number_pipe& operator=(const number_pipe&) = delete;

    [[nodiscard]] std::string server_end() const { return std::to_string(ends_[1]); }
    // What the server wrote up to the end of the line; empty when it is late.
    [[nodiscard]] std::string read_line() const
    {
        std::string line;
        pollfd ready = {ends_[0], POLLIN, 0};
        char next = 0;
        while (poll(&ready, 1, static_cast<int>(time_to_start.count())) == 1 && read(ends_[0], &next, 1) == 1) {
            if (next == '\n') return line;
            line += next;
        }
        return {};
    }

private:
    std::array<int, 2> ends_{};
};

// A window that goes away while it is looked at is an answer, not the end of the test.
int ignore_error(Display* /*display*/, XErrorEvent* /*error*/)
{
    return 0;
}

std::string title_of(Display* display, Window window)
{
    char* name = nullptr;
    if (XFetchName(display, window, &name) == 0 || name == nullptr) return {};
    std::string result = name;
    XFree(name);
    return result;
}

uint8_t channel(unsigned long pixel, unsigned shift)
{
    return static_cast<uint8_t>(pixel >> shift);
}

}  // namespace

void screenshot::write(const std::string& path) const
{
    std::ofstream out(path, std::ios::binary);
    out << "P6\n" << width << " " << height << "\n255\n";
    for (const rgb& pixel : pixels) {
        for (const uint8_t part : pixel) out.put(static_cast<char>(part));
    }
}

struct x_display::connection {
    number_pipe number;
    child_process server;
    std::string name;
    Display* display = nullptr;
    Window window = 0;

    explicit connection(const std::string& program)
        : server({program, "-displayfd", number.server_end(), "-screen", "0", "1280x800x24", "-nolisten", "tcp"}),
          name(std::string(":").append(number.read_line()))
    {
        XSetErrorHandler(ignore_error);
        display = XOpenDisplay(name.c_str());
        if (display == nullptr) throw std::runtime_error("the X server did not come up");
    }
    // Killed, an X server leaves its socket and lock file behind.
    ~connection()
    {
        XCloseDisplay(display);
        server.signal(SIGTERM);
        server.finish(std::chrono::seconds(10));
    }
    connection(const connection&) = delete;
    connection& operator=(const connection&) = delete;

    std::optional<XWindowAttributes> attributes() const
    {
        XWindowAttributes found{};
        if (window == 0 || XGetWindowAttributes(display, window, &found) == 0) return std::nullopt;
        return found;
    }
    void key(const char* name_of_key, bool down) const
    {
        XTestFakeKeyEvent(display, XKeysymToKeycode(display, XStringToKeysym(name_of_key)), down ? True : False,
                          CurrentTime);
        XSync(display, False);
    }
    void button(pointer_button which, bool down) const
    {
        XTestFakeButtonEvent(display, static_cast<unsigned>(which), down ? True : False, CurrentTime);
        XSync(display, False);
    }
};

std::optional<std::string> x_display::find_server()
{
    const char* const folders = std::getenv("PATH");
    std::istringstream list(folders != nullptr ? folders : "");
    for (std::string folder; std::getline(list, folder, ':');) {
        std::string program = folder + "/Xvfb";
        if (access(program.c_str(), X_OK) == 0) return program;
    }
    return std::nullopt;
}

x_display::x_display(const std::string& server) : connection_(std::make_unique<connection>(server)) {}
x_display::~x_display() = default;

std::string x_display::name() const
{
    return connection_->name;
}

bool x_display::find_window(const std::string& title)
{
    Display* const display = connection_->display;
    Window root = 0;
    Window parent = 0;
    Window* children = nullptr;
    unsigned count = 0;
    if (XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count) == 0) return false;
    for (unsigned i = 0; i < count; ++i) {
        if (!title_of(display, children[i]).starts_with(title)) continue;
        connection_->window = children[i];
        break;
    }
    XFree(children);
    const auto found = connection_->attributes();
    return found && found->map_state == IsViewable;
}

screenshot x_display::look()
{
    const auto window = connection_->attributes();
    if (!window) return {};
    XImage* const image =
        XGetImage(connection_->display, connection_->window, 0, 0, static_cast<unsigned>(window->width),
                  static_cast<unsigned>(window->height), AllPlanes, ZPixmap);
    if (image == nullptr) return {};
    screenshot seen{window->width, window->height};
    for (int32_t y = 0; y < seen.height; ++y) {
        for (int32_t x = 0; x < seen.width; ++x) {
            const unsigned long pixel = XGetPixel(image, x, y);
            seen.pixels.push_back({channel(pixel, 16), channel(pixel, 8), channel(pixel, 0)});
        }
    }
    XDestroyImage(image);
    return seen;
}

void x_display::move_pointer(int32_t x, int32_t y)
{
    const auto window = connection_->attributes();
    if (!window) return;
    XTestFakeMotionEvent(connection_->display, -1, window->x + x, window->y + y, CurrentTime);
    XSync(connection_->display, False);
}

void x_display::press(pointer_button button)
{
    connection_->button(button, true);
}
void x_display::release(pointer_button button)
{
    connection_->button(button, false);
}
void x_display::press_key(const char* key)
{
    connection_->key(key, true);
}
void x_display::release_key(const char* key)
{
    connection_->key(key, false);
}

}  // namespace paint_test
