// Zoom canvases: parting one from the canvas it was made from.

#include "iocache/canvas/canvas.h"
#include "iocache/reduced/reduced.h"

int32_t cv_unlink_zoom(int32_t canvas)
{
    cv_canvas* const record = iocache::canvas::find(canvas);
    if (record == nullptr || record->is_zoom == nullptr) return -255;
    --record->is_zoom->open_zooms;
    record->is_zoom = nullptr;
    return 0;
}
