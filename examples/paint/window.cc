#include "window.h"

#include <stdexcept>

#include <GL/gl.h>
#include <backends/imgui_impl_opengl2.h>
#include <backends/imgui_impl_sdl.h>
#include <imgui.h>

namespace {

constexpr float surround = 0.22F;  // the grey around the canvas

void demand(bool fulfilled)
{
    if (!fulfilled) throw std::runtime_error(std::string("no window: ") + SDL_GetError());
}

}  // namespace

paint::window::sdl::sdl()
{
    demand(SDL_Init(SDL_INIT_VIDEO) == 0);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MAJOR_VERSION, 2);
    SDL_GL_SetAttribute(SDL_GL_CONTEXT_MINOR_VERSION, 1);
    SDL_GL_SetAttribute(SDL_GL_DOUBLEBUFFER, 1);
}

paint::window::window(const std::string& title, int32_t width, int32_t height)
    : window_(SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, width, height,
                               SDL_WINDOW_OPENGL | SDL_WINDOW_RESIZABLE))
{
    demand(window_ != nullptr);
    context_.reset(SDL_GL_CreateContext(window_.get()));
    demand(context_ != nullptr);
    SDL_GL_SetSwapInterval(1);  // a screen that cannot be waited for is drawn to at once

    ImGui::CreateContext();
    ImGui::GetIO().IniFilename = nullptr;
    ImGui::StyleColorsDark();
    ImGui_ImplSDL2_InitForOpenGL(window_.get(), context_.get());
    ImGui_ImplOpenGL2_Init();
}

paint::window::~window()
{
    ImGui_ImplOpenGL2_Shutdown();
    ImGui_ImplSDL2_Shutdown();
    ImGui::DestroyContext();
}

int32_t paint::window::width() const
{
    int32_t pixels = 0;
    SDL_GetWindowSize(window_.get(), &pixels, nullptr);
    return pixels;
}

int32_t paint::window::height() const
{
    int32_t pixels = 0;
    SDL_GetWindowSize(window_.get(), nullptr, &pixels);
    return pixels;
}

void paint::window::begin_frame()
{
    ImGui_ImplOpenGL2_NewFrame();
    ImGui_ImplSDL2_NewFrame();
    ImGui::NewFrame();
}

void paint::window::end_frame()
{
    ImGui::Render();
    glViewport(0, 0, width(), height());
    glClearColor(surround, surround, surround, 1.0F);
    glClear(GL_COLOR_BUFFER_BIT);
    ImGui_ImplOpenGL2_RenderDrawData(ImGui::GetDrawData());
    SDL_GL_SwapWindow(window_.get());
}
