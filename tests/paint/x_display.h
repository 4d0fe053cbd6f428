// A virtual X server of its own for one test, and what a person does in front of it: moves the pointer, presses buttons
// and keys, looks at the screen. No Xlib type is seen here: its macros would collide with half of C++.
#ifndef IOCACHE_TESTS_PAINT_X_DISPLAY_H
#define IOCACHE_TESTS_PAINT_X_DISPLAY_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace paint_test {

using rgb = std::array<uint8_t, 3>;

struct screenshot {
    int32_t width = 0, height = 0;
    std::vector<rgb> pixels = {};

    [[nodiscard]] const rgb& at(int32_t x, int32_t y) const
    {
        return pixels.at(static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x));
    }
    // As a portable pixmap, for people.
    void write(const std::string& path) const;
};

enum class pointer_button : unsigned { left = 1, middle = 2, wheel_up = 4, wheel_down = 5 };

class x_display {
public:
    // Where the server is, or nothing when it is not installed.
    static std::optional<std::string> find_server();

    // Starts the server; throws std::runtime_error when it does not come up. It ends with this object.
    explicit x_display(const std::string& server);
    ~x_display();
    x_display(const x_display&) = delete;
    x_display& operator=(const x_display&) = delete;

    // What a program's DISPLAY has to be.
    [[nodiscard]] std::string name() const;

    // Looks for a visible window whose title begins like this; all places below are then counted from its corner.
    bool find_window(const std::string& title);
    // Of the window. Empty when it is gone.
    screenshot look();

    void move_pointer(int32_t x, int32_t y);
    void press(pointer_button button);
    void release(pointer_button button);
    // Names of keys are X's: "s", "1", "space", "Control_L".
    void press_key(const char* key);
    void release_key(const char* key);

private:
    struct connection;
    std::unique_ptr<connection> connection_;
};

}  // namespace paint_test

#endif
