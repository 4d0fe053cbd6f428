// The window: SDL, an OpenGL 2 context, Dear ImGui in it.
#ifndef IOCACHE_EXAMPLES_PAINT_WINDOW_H
#define IOCACHE_EXAMPLES_PAINT_WINDOW_H

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>

#include <SDL.h>

namespace paint {

class window {
public:
    // Throws std::runtime_error with what SDL says.
    window(const std::string& title, int32_t width, int32_t height);
    ~window();
    window(const window&) = delete;
    window& operator=(const window&) = delete;

    [[nodiscard]] int32_t width() const;
    [[nodiscard]] int32_t height() const;

    // Between the two everything is drawn.
    void begin_frame();
    void end_frame();

private:
    struct sdl {
        sdl();
        ~sdl() { SDL_Quit(); }
        sdl(const sdl&) = delete;
        sdl& operator=(const sdl&) = delete;
    };
    struct closer {
        void operator()(SDL_Window* closed) const { SDL_DestroyWindow(closed); }
        void operator()(void* context) const { SDL_GL_DeleteContext(context); }
    };

    sdl sdl_;
    std::unique_ptr<SDL_Window, closer> window_;
    std::unique_ptr<std::remove_pointer_t<SDL_GLContext>, closer> context_;
};

}  // namespace paint

#endif
