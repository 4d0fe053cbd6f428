// libpng's error callback.
#include "tools/images/png_failure.h"

#include <cstring>

namespace iocache::tools {

void png_failure::leave(png_structp png, png_const_charp text)
{
    auto* const self = static_cast<png_failure*>(png_get_error_ptr(png));
    std::strncpy(self->text_, text, longest_text - 1);
    jump_to(self->jump_);
}

}  // namespace iocache::tools
