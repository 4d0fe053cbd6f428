// Finding the pixels of an older image behind its header and icon.

#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "iocache/canvas/canvas.h"
#include "iocache/platform/platform.h"
#include "iocache/setup/setup.h"

namespace {

using namespace iocache;

constexpr int32_t probe_bytes = 1024;
constexpr int32_t older_header_bytes = 812;
constexpr size_t icon_width_at = 36;
constexpr size_t icon_height_at = 38;
constexpr size_t pixel_format_at = 684;
constexpr char four_byte_pixels = '1';

constexpr setup::failure no_memory{-1, 999214, "malloc problem"};
constexpr setup::failure not_read{-1, 999215, "skip_header : Error while reading image header of font"};

struct free_memory {
    void operator()(void* memory) const { std::free(memory); }
};

int32_t number_at(const uint8_t* bytes)
{
    return bytes[0] << 8 | bytes[1];
}

}  // namespace

int32_t skip_header(int32_t fd)
{
    const std::unique_ptr<uint8_t, free_memory> header(static_cast<uint8_t*>(platform_allocate(probe_bytes)));
    if (header == nullptr) {
        close(fd);
        return setup::fail(no_memory);
    }
    if (lseek(fd, 0, SEEK_SET) < 0 || read(fd, header.get(), probe_bytes) < 0) {  // a short read is accepted
        close(fd);
        return setup::fail(not_read);
    }
    const uint8_t* const bytes = header.get();
    const int64_t pixel_bytes = bytes[pixel_format_at] == four_byte_pixels ? 4 : 3;
    const int64_t icon = int64_t{number_at(bytes + icon_width_at)} * number_at(bytes + icon_height_at) * pixel_bytes;
    return lseek(fd, older_header_bytes + icon, SEEK_SET) < 0 ? -1 : 0;
}
