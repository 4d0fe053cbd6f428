// The table of open canvases and the life of a record: allocated by create and open, freed by close.
// Called by the client only; the cache process reads records that a request names.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <span>

#include "iocache/canvas/canvas.h"
#include "iocache/platform/platform.h"

cv_canvas* canvastable[50] = {};
int32_t current_canvas = 0;
int32_t current_mask = 0;
cv_canvas* current_cp = nullptr;
cv_canvas* current_mp = nullptr;
int32_t alfa_canvas = 0;

namespace {

using namespace iocache;

char* copy_of(const char* text, const char* suffix)
{
    const size_t length = std::strlen(text);
    const size_t suffix_bytes = std::strlen(suffix) + 1;
    auto* const copy = static_cast<char*>(platform_allocate(static_cast<int64_t>(length + suffix_bytes)));
    if (copy == nullptr) return nullptr;
    std::memcpy(copy, text, length);
    std::memcpy(copy + length, suffix, suffix_bytes);
    return copy;
}

bool is_same_file(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

}  // namespace

int32_t iocache::canvas::lowest_free_slot()
{
    for (int32_t slot = 0; slot < canvas_slots; ++slot) {
        if (canvastable[slot] == nullptr) return slot;
    }
    return -1;
}

bool iocache::canvas::set_file_name(cv_canvas& record, const char* path)
{
    char* const name = copy_of(path, "");
    if (name == nullptr) return false;
    std::free(record.file_name);
    record.file_name = name;
    char* const last_slash = std::strrchr(name, '/');
    record.base_name = last_slash != nullptr ? last_slash + 1 : name;
    return true;
}

cv_canvas* iocache::canvas::allocate_record(int32_t slot, const char* path)
{
    auto* const record = static_cast<cv_canvas*>(platform_allocate(sizeof(cv_canvas)));
    if (record == nullptr) return nullptr;
    record->index = slot;
    record->dirty_mode = 3;
    note_new_name(*record, false);
    record->subs_window_name = copy_of(path, "s");
    if (record->subs_window_name == nullptr || !set_file_name(*record, path)) {
        release_record(record);
        return nullptr;
    }
    return record;
}

void iocache::canvas::release_record(cv_canvas* record)
{
    std::free(record->tile_flags);
    std::free(record->tile_table);
    std::free(record->tile_cache);
    std::free(record->icon);
    std::free(record->header);
    std::free(record->file_name);
    std::free(record->subs_window_name);
    std::free(record);
}

void iocache::canvas::forget_all_canvases()
{
    for (cv_canvas*& slot : std::span(canvastable)) slot = nullptr;
    current_canvas = -1;
    current_mask = -1;
    current_cp = nullptr;
    current_mp = nullptr;
    alfa_canvas = 0;
}

void iocache::canvas::forget_links_to(const cv_canvas& record)
{
    const auto forget = [&record](cv_canvas*& link) {
        if (link == &record) link = nullptr;
    };
    for (cv_canvas* const other : std::span(canvastable)) {
        if (other == nullptr) continue;
        forget(other->link_a);
        forget(other->link_b);
        forget(other->zoom_child);
        forget(other->is_zoom);
    }
    forget(current_cp);
    forget(current_mp);
}

// A file that is gone gives -1 at once, even when a canvas has it open; a canvas whose own file is gone is still
// found by its name.
int32_t canvas_if_already_open(const char* path)
{
    if (access(path, F_OK) != 0) return -1;
    struct stat wanted = {};
    const bool found = stat(path, &wanted) == 0;
    for (int32_t slot = 0; slot < canvas::canvas_slots; ++slot) {
        const cv_canvas* const record = canvastable[slot];
        if (record == nullptr) continue;
        struct stat open_file = {};
        const bool by_identity = found && stat(record->file_name, &open_file) == 0;
        if (by_identity ? is_same_file(wanted, open_file) : std::strcmp(path, record->file_name) == 0) return slot;
    }
    return -1;
}

int32_t cv_mark_canvas_save(int32_t canvas)
{
    cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    record->save = 1;
    return 0;
}

int32_t cv_mark_canvas_nosave(int32_t canvas)
{
    cv_canvas* const record = canvas::find(canvas);
    if (record == nullptr) return -255;
    record->save = 0;
    return 0;
}
