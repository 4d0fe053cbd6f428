// A texture of the window's OpenGL context, which must outlive it.
#ifndef IOCACHE_EXAMPLES_PAINT_TEXTURE_H
#define IOCACHE_EXAMPLES_PAINT_TEXTURE_H

#include <cstdint>
#include <utility>

#include <imgui.h>

#include "area.h"

namespace paint {

class texture {
public:
    enum class beyond_edges { repeat, clamp };

    texture() = default;
    texture(int32_t width, int32_t height, beyond_edges edges = beyond_edges::clamp);
    ~texture();
    texture(texture&& other) noexcept : name_(std::exchange(other.name_, 0)) {}
    texture& operator=(texture&& other) noexcept
    {
        std::swap(name_, other.name_);
        return *this;
    }

    // Replaces this part; the bytes are those of its upper left pixel, lines lie `line_pixels` apart.
    void upload(const area& part, const uint8_t* rgba, int32_t line_pixels) const;

    // What Dear ImGui's OpenGL backend takes for an image.
    [[nodiscard]] ImTextureID id() const
    {
        return reinterpret_cast<ImTextureID>(static_cast<uintptr_t>(name_));  // NOLINT(performance-no-int-to-ptr)
    }

private:
    uint32_t name_ = 0;  // 0: none
};

}  // namespace paint

#endif
