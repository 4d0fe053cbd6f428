// The separate file that holds one whole visualisation buffer: fixed sizes, whatever the canvas. Client only.

#include <cstdio>
#include <memory>

#include "iocache/canvas/canvas.h"
#include "iocache/platform/owned.h"
#include "iocache/setup/setup.h"

namespace {

using namespace iocache;
using namespace iocache::canvas;

constexpr size_t picture_window_bytes = 4'194'304;
constexpr size_t mask_window_bytes = 1'048'576;

//                              result  error   message
constexpr setup::failure no_target{-255, 999216, "cannot open file for subsampled window"};
constexpr setup::failure not_written{-255, 999217, "cannot write file for subsampled window"};
constexpr setup::failure no_source{-255, 999220, "cannot open file for subsampled window"};
constexpr setup::failure not_read{-255, 999221, "cannot read file for subsampled window"};

using platform::owned_file;

size_t window_bytes(const cv_canvas& record)
{
    return record.kind == picture_kind ? picture_window_bytes : mask_window_bytes;
}

uint8_t* window_buffer(const cv_canvas& record)
{
    return record.kind == picture_kind ? cv_visu_pic : cv_visu_mask;
}

int32_t write_window(const cv_canvas& record, const uint8_t* source)
{
    const owned_file file(open_stream(record.subs_window_name, "w+"));
    if (file == nullptr) return setup::fail(no_target);
    const bool written = std::fwrite(source, window_bytes(record), 1, file.get()) == 1 && std::fflush(file.get()) == 0;
    return written ? 0 : setup::fail(not_written);
}

}  // namespace

int32_t canvas_write_subsampled_window(cv_canvas* canvas)
{
    return write_window(*canvas, window_buffer(*canvas));
}

int32_t canvas_write_subsampled_window_Rbuf(cv_canvas* canvas)
{
    return write_window(*canvas, Rbuf);
}

int32_t canvas_read_subsampled_window(cv_canvas* canvas)
{
    const owned_file file(open_stream(canvas->subs_window_name, "r+"));
    if (file == nullptr) return setup::fail(no_source);
    const bool was_read = std::fread(window_buffer(*canvas), window_bytes(*canvas), 1, file.get()) == 1;
    return was_read ? 0 : setup::fail(not_read);
}
