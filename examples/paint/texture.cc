#include "texture.h"

#include <GL/gl.h>

paint::texture::texture(int32_t width, int32_t height, beyond_edges edges)
{
    const GLint wrap = edges == beyond_edges::repeat ? GL_REPEAT : GL_CLAMP_TO_EDGE;
    glGenTextures(1, &name_);
    glBindTexture(GL_TEXTURE_2D, name_);
    // Enlarged pixels keep their edges; an image that is shown smaller is smoothed.
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, wrap);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, wrap);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
}

paint::texture::~texture()
{
    if (name_ != 0) glDeleteTextures(1, &name_);
}

void paint::texture::upload(const area& part, const uint8_t* rgba, int32_t line_pixels) const
{
    glBindTexture(GL_TEXTURE_2D, name_);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, line_pixels);
    glTexSubImage2D(GL_TEXTURE_2D, 0, part.left, part.top, part.width(), part.height(), GL_RGBA, GL_UNSIGNED_BYTE,
                    rgba);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
}
