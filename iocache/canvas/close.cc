// Closing canvases: write back and keep the file, or drop it; untie what is linked; free the record. Client only.

#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <string>

#include "iocache/cache/cache.h"
#include "iocache/canvas/canvas.h"
#include "iocache/canvas/open_checks.h"
#include "iocache/setup/setup.h"

namespace {

using namespace iocache;
using namespace iocache::canvas;

constexpr int32_t log_level = 1;

// Levels of a view, and window modes, that decide which derived files go.
constexpr int32_t full_level = 1;
constexpr int32_t window_level = 2;
constexpr int32_t second_window_level = 3;
constexpr int32_t window_mode_one = 1;
constexpr int32_t window_mode_two = 2;

bool linked_window_file_goes(const cv_canvas& linked)
{
    switch (linked.geom.level) {
        case full_level:
            return true;
        case window_level:
            return linked.window_flag == 1;
        case second_window_level:
            return linked.window_mode == window_mode_one ||
                   (linked.window_mode == window_mode_two && linked.window_flag == 1);
        default:
            return false;
    }
}

// Fewer cases than for a linked canvas, as hosts expect.
bool own_window_file_goes(const cv_canvas& record)
{
    return record.geom.level == full_level || (record.geom.level == window_level && record.window_flag == 1);
}

// Gives a linked canvas its full view back and cuts its link to the one that closes.
void untie(cv_canvas* linked, cv_canvas* cv_canvas::*link_back)
{
    if (linked == nullptr) return;
    if (linked_window_file_goes(*linked)) canvas_unlink_subs_window(linked->index);
    linked->geom = linked->geom_orig;
    linked->*link_back = nullptr;
}

// The tiles reach the disk before a header that calls them complete, and with them the file's name. A host that
// synchronises by other means switches this off.
void synchronise_tiles(cv_canvas& record)
{
    if (std::getenv("CV_NO_CLOSE_SYNC") != nullptr) return;
    synchronise(record);
    synchronise_new_name(record);
}

void write_clean_header(cv_canvas& record)
{
    if (access(record.file_name, W_OK) != 0) return;
    hold_every_slot(record);
    give_up_slots_without_room(record);
    if (take_cut_off_append(record)) cv_write_tile_table(record.index);
    synchronise_tiles(record);
    {
        const std::lock_guard held(header_guard);
        record.header->dirty = 0;
    }
    cv_write_header(record.index);
}

void close_saved(cv_canvas& record)
{
    const bool written = cv_flush_tiles(record.index) == 0;
    cache::detach_tiles(record);  // also those that a failed flush left behind
    if (written) {
        write_clean_header(record);
    } else {
        hold_every_slot(record);
        give_up_slots_without_room(record);
        cv_log_string(log_level, (std::string("Tiles not written, canvas stays dirty ") + record.file_name).c_str());
    }
    canvas_close_file(record.index);
}

void close_unsaved(cv_canvas& record)
{
    cv_delete_tiles(record.index);
    cache::detach_tiles(record);  // also without a cache process
    canvas_close_file(record.index);
    canvas_unlink_file(record.index);
    start_all_processes();
}

void forget(cv_canvas* record)
{
    canvastable[record->index] = nullptr;
    forget_links_to(*record);
    release_record(record);
}

}  // namespace

void iocache::canvas::let_go(cv_canvas& record)
{
    cv_delete_tiles(record.index);
    cache::detach_tiles(record);
    canvas_close_file(record.index);
    forget(&record);
}

int32_t canvas_close(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr || record->busy == 1) return -255;
    if (record->open_zooms != 0) {
        wrt_err("Cannot close canvas : Open zoom canvasses");  // the host's own, not cv_wrt_err, as hosts expect
        return -255;
    }
    cv_log_string(log_level, (std::string("Closing canvas ") + record->file_name).c_str());

    if (record->zoom_child != nullptr) canvas_close(record->zoom_child->index);
    if (record->is_zoom != nullptr) cv_unlink_zoom(canvas);
    untie(record->link_a, &cv_canvas::link_b);
    untie(record->link_b, &cv_canvas::link_a);
    if (own_window_file_goes(*record)) canvas_unlink_subs_window(canvas);

    if (record->save != 0) {
        close_saved(*record);
    } else {
        close_unsaved(*record);
    }
    forget(record);
    return 0;
}

int32_t canvas_close_all(void)
{
    int32_t result = -255;
    for (int32_t slot = 0; slot < canvas_slots; ++slot) result = canvas_close(slot);
    return result;
}

int32_t canvas_close_3d(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) return -255;
    if (record->geom_orig.subsampled == 1) cv_write_subsampled_Rbuf(canvas);
    if (record->kind == picture_kind) {
        cv_make_pic_icon_Rbuf(record);
    } else {
        cv_make_mask_icon_Rbuf(record);
    }
    cv_write_icon(canvas);
    return canvas_close(canvas);
}
