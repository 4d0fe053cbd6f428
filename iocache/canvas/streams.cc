// Opening and closing a canvas's two streams. All streams are close-on-exec and unbuffered: each transfer is one item
// at a position of its own, and neither stream relies on the other.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "iocache/canvas/canvas.h"

namespace {

using namespace iocache::canvas;

constexpr int32_t existed = -30;
constexpr int32_t created = -31;
constexpr mode_t canvas_creation_mask = 0111;

const char* mode_for(const char* path)
{
    return cv_test_file(path, 1) == 0 ? "r+" : "r";
}

int32_t close_stream(FILE*& stream)
{
    const int result = std::fclose(stream);
    stream = nullptr;
    return result == 0 ? 0 : -255;
}

}  // namespace

FILE* iocache::canvas::open_stream(const char* path, const char* mode)
{
    FILE* const stream = std::fopen(path, (std::string(mode) + "e").c_str());
    if (stream != nullptr) std::setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
}

FILE* iocache::canvas::writable_kept_stream(cv_canvas& record)
{
    if (record.fp2 == nullptr) record.fp2 = open_stream(record.file_name, "r+");
    return record.fp2;
}

void iocache::canvas::hold_every_slot(cv_canvas& record)
{
    const cv_header& header = *record.header;
    if (header.tiles_written == 0) return;
    const int64_t bytes = int64_t{header.tiles_written} * record.tile_bytes + header.tiles_offset;
    FILE* const stream = writable_kept_stream(record);
    if (stream == nullptr) return;  // the write that follows meets the same trouble and reports it
    struct stat now = {};
    if (fstat(fileno(stream), &now) != 0 || now.st_size >= bytes) return;
    [[maybe_unused]] const int result = ftruncate(fileno(stream), bytes);  // likewise
}

bool iocache::canvas::synchronise(cv_canvas& record)
{
    FILE* const stream = writable_kept_stream(record);
    return stream != nullptr && fdatasync(fileno(stream)) == 0;
}

int32_t cv_test_file(const char* path, int32_t write)
{
    return access(path, write != 0 ? R_OK | W_OK : R_OK) == 0 ? 0 : -255;
}

int32_t canvas_open_file(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) return -255;

    const mode_t kept_mask = umask(canvas_creation_mask);
    int32_t result = existed;
    record->fp = open_stream(record->file_name, mode_for(record->file_name));
    if (record->fp == nullptr) {
        // Exclusively: a file that is there but cannot be opened just now is never emptied.
        record->fp = open_stream(record->file_name, "w+x");
        result = created;
    }
    if (record->fp == nullptr) return -255;  // the mask is not put back here, as meant
    record->fp2 = open_stream(record->file_name, mode_for(record->file_name));
    umask(kept_mask);

    if (parg.opcode == -255) return -255;  // the last request failed: the cache process could not serve this canvas
    if (record->fp2 == nullptr) {
        close_stream(record->fp);
        return -255;
    }
    return result;
}

int32_t canvas_close_file(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) return -255;
    int32_t result = 0;
    if (record->fp != nullptr) result = close_stream(record->fp);
    if (record->fp2 != nullptr) result = close_stream(record->fp2);  // then this one's result alone counts
    return result;
}
