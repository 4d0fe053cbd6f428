// The two blocks of a picture's file that the host keeps there and the library does not interpret, and the name that
// goes with one of them. Codes 1 to 3 are small on purpose: a caller tells a missing region from a failed transfer.

#include <cstring>
#include <mutex>

#include "iocache/canvas/canvas.h"

uint8_t ink_color_def[6144] = {};
uint8_t tqcms_proc[153600] = {};

namespace {

using namespace iocache::canvas;

constexpr int32_t no_region = 1;
constexpr int32_t wrong_size = 2;
constexpr int32_t no_canvas = 3;

struct block {
    int32_t cv_header::*offset;
    int32_t cv_header::*bytes;
    int32_t expected_bytes;
};
constexpr block ink{&cv_header::ink_offset, &cv_header::ink_bytes, ink_bytes};
constexpr block tqcms{&cv_header::tqcms_offset, &cv_header::tqcms_bytes, tqcms_bytes};

// The record of a canvas that has this block; otherwise null with the reason in cv_errno.
cv_canvas* find_with(int32_t number, const block& what)
{
    cv_canvas* const record = find(number);
    if (record == nullptr) {
        cv_errno = no_canvas;
        return nullptr;
    }
    const cv_header& header = *record->header;
    if (header.*what.offset == 0 || header.*what.bytes == 0) {
        cv_errno = no_region;
        return nullptr;
    }
    if (header.*what.bytes != what.expected_bytes) {
        cv_errno = wrong_size;
        return nullptr;
    }
    return record;
}

uint8_t* get(int32_t number, const block& what, uint8_t* into)
{
    cv_canvas* const record = find_with(number, what);
    if (record == nullptr) return nullptr;
    return cv_read(record, record->header->*what.offset, into, what.expected_bytes) == 0 ? into : nullptr;
}

int32_t set(int32_t number, const block& what, const void* data)
{
    cv_canvas* const record = find_with(number, what);
    if (record == nullptr) return -255;
    return cv_write(record, record->header->*what.offset, data, what.expected_bytes);
}

}  // namespace

uint8_t* cv_tqcms_proc_get(int32_t canvas)
{
    return get(canvas, tqcms, tqcms_proc);
}

int32_t cv_tqcms_proc_set(int32_t canvas, const void* data)
{
    return set(canvas, tqcms, data);
}

uint8_t* cv_ink_color_def_get(int32_t canvas)
{
    return get(canvas, ink, ink_color_def);
}

int32_t cv_ink_color_def_set(int32_t canvas, const void* data)
{
    return set(canvas, ink, data);
}

int32_t cv_tqcms_procname_set(int32_t canvas, const char* name)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) {
        cv_errno = no_canvas;
        return -255;
    }
    {
        const std::lock_guard held(header_guard);
        char(&field)[64] = record->header->tqcms_procname;
        const size_t length = strnlen(name, sizeof field);  // a name of 64 characters has no NUL, as hosts expect
        std::memmove(field, name, length);                  // it may be a part of what is there already
        std::memset(field + length, 0, sizeof field - length);
    }
    cv_write_header(canvas);  // its result is not reported, as hosts expect
    return 0;
}

char* cv_tqcms_procname_get(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record != nullptr) return record->header->tqcms_procname;
    cv_errno = no_canvas;
    return nullptr;
}
