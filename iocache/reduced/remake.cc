// A file that was not closed: its reduced image and icon are made again from its tiles. Client only, at open.

#include <atomic>

#include "iocache/canvas/canvas.h"
#include "iocache/reduced/reduced.h"

namespace {

using namespace iocache;

// The canvas is the current one of its kind, with its tables, for as long as this lives.
class made_current {
public:
    made_current(int32_t& current, int32_t number) : current_(current), before_(current)
    {
        set(number);
        canvas_make_tables(number);
    }
    ~made_current()
    {
        set(before_);
        canvas_make_tables(before_);
    }
    made_current(const made_current&) = delete;
    made_current& operator=(const made_current&) = delete;

private:
    int32_t& current_;
    int32_t before_;

    // The cache process asks for it when the last tile of a canvas leaves the memory.
    void set(int32_t number) { std::atomic_ref(current_).store(number, std::memory_order_relaxed); }
};

}  // namespace

// The header's dirty is left to the clean close.
void cv_remake_dirty_file(int32_t canvas)
{
    cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return;
    if (record->kind == canvas::mask_kind) {
        const made_current current(current_mask, canvas);
        reduced::remake_mask_in_rbuf(*record);
        cv_make_mask_icon_Rbuf(record);
        cv_write_icon(canvas);
    } else {
        const made_current current(current_canvas, canvas);
        reduced::remake_picture_in_rbuf(*record);
        cv_make_pic_icon_Rbuf(record);
        cv_write_icon(canvas);
    }
}
