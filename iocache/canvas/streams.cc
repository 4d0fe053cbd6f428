// Opening and closing a canvas's two streams. All streams are close-on-exec and unbuffered: each transfer is one item
// at a position of its own, and neither stream relies on the other.
//
// From its opening to its closing a canvas holds an advisory lock on its file, shared where the file can only be read. It
// goes with the kept-open stream, and where that is closed for a time, with a descriptor in its place: never more
// descriptors than the streams need, and no canvas ever meets a lock of its own. The lock refuses nobody: a file that is
// in use elsewhere opens all the same, and the log has a line.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <mutex>
#include <span>
#include <string>

#include "iocache/canvas/canvas.h"
#include "iocache/platform/file_lock.h"

namespace {

using namespace iocache;
using namespace iocache::canvas;

constexpr int32_t existed = -30;
constexpr int32_t created = -31;
constexpr mode_t canvas_creation_mask = 0111;
constexpr int32_t log_level = 1;
constexpr int64_t unknown_length = -1;

// By canvas number; whose a kept-open stream is, his is its lock.
std::array<platform::file_lock, canvas_slots> locks;

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

platform::file_lock& lock_of(const cv_canvas& record)
{
    return locks[static_cast<size_t>(record.index)];
}

int descriptor_of(FILE* stream)
{
    return stream != nullptr ? fileno(stream) : platform::closed_stream;
}

// A file's length and nothing else: a system that was asked for the times of a file brings them up to date in its next
// write, which costs more than the question.
int64_t length_of(FILE* stream)
{
    struct statx now = {};
    return statx(fileno(stream), "", AT_EMPTY_PATH, STATX_SIZE, &now) == 0 ? static_cast<int64_t>(now.stx_size)
                                                                           : unknown_length;
}

int64_t end_of_slots(const cv_canvas& record)
{
    return int64_t{record.header->tiles_written} * record.tile_bytes + record.header->tiles_offset;
}

// The blocks of a slot cost less in one piece than what its write would pay for each page without them; where the file
// system cannot give them, or has no room, the write is left to find out. The length comes with a last byte, because
// some file systems (XFS) write out a file before they change its length by itself. Nothing else writes there meanwhile.
bool append_zeros(FILE* stream, int64_t from, int64_t to)
{
    const int file = fileno(stream);
    static_cast<void>(fallocate(file, FALLOC_FL_KEEP_SIZE, from, to - from));
    const uint8_t last = 0;
    return pwrite(file, &last, sizeof last, to - 1) == sizeof last;
}

platform::lock_answer lock_file(const cv_canvas& record)
{
    const int descriptor = descriptor_of(record.fp2);
    const bool can_write = (fcntl(descriptor, F_GETFL) & O_ACCMODE) != O_RDONLY;
    return lock_of(record).take(descriptor, can_write ? platform::lock_kind::exclusive : platform::lock_kind::shared);
}

// Only the client writes into the log, when it opens the canvas.
void lock_file_and_tell(const cv_canvas& record)
{
    if (lock_file(record) != platform::lock_answer::contended) return;
    cv_log_string(log_level,
                  (std::string("File is in use elsewhere, opened all the same ") + record.file_name).c_str());
}

}  // namespace

FILE* iocache::canvas::open_stream(const char* path, const char* mode)
{
    FILE* const stream = std::fopen(path, (std::string(mode) + "e").c_str());
    if (stream != nullptr) std::setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
}

FILE* iocache::canvas::open_kept_stream(cv_canvas& record, const char* mode)
{
    close_kept_stream(record);
    lock_of(record).release(platform::closed_stream);
    record.fp2 = open_stream(record.file_name, mode);
    if (record.fp2 != nullptr) lock_file(record);
    return record.fp2;
}

void iocache::canvas::close_kept_stream(cv_canvas& record)
{
    if (record.fp2 == nullptr) return;
    lock_of(record).keep_without(descriptor_of(record.fp2));
    std::fclose(record.fp2);
    record.fp2 = nullptr;
}

FILE* iocache::canvas::writable_kept_stream(cv_canvas& record)
{
    return record.fp2 != nullptr ? record.fp2 : open_kept_stream(record, "r+");
}

void iocache::canvas::unlock_all_files()
{
    for (const cv_canvas* const record : std::span(canvastable)) {
        if (record != nullptr) lock_of(*record).release(descriptor_of(record->fp2));
    }
}

bool iocache::canvas::hold_every_slot(cv_canvas& record)
{
    if (record.header->tiles_written == 0) return true;
    FILE* const stream = writable_kept_stream(record);
    if (stream == nullptr) return false;  // the write that follows meets the same trouble and reports it
    const int64_t present = length_of(stream);
    if (present == unknown_length) return false;
    return present >= end_of_slots(record) || ftruncate(fileno(stream), end_of_slots(record)) == 0;
}

bool iocache::canvas::hold_new_slot(cv_canvas& record)
{
    FILE* const stream = writable_kept_stream(record);
    const int64_t end = end_of_slots(record);
    const int64_t start = end - record.tile_bytes;
    if (stream != nullptr && length_of(stream) == start && append_zeros(stream, start, end)) return true;
    return hold_every_slot(record);
}

void iocache::canvas::give_up_slots_without_room(cv_canvas& record)
{
    cv_header& header = *record.header;
    FILE* const stream = writable_kept_stream(record);
    const int64_t present = stream != nullptr ? length_of(stream) : unknown_length;
    if (present == unknown_length) return;
    const int64_t slots = (present - header.tiles_offset) / record.tile_bytes;
    if (header.tiles_written <= slots) return;
    const std::span entries(record.tile_table, static_cast<size_t>(tile_count(record)));
    std::ranges::replace_if(
        entries, [slots](int32_t entry) { return entry >= slots; }, never_written);
    {
        const std::lock_guard held(header_guard);
        header.tiles_written = static_cast<int32_t>(std::max<int64_t>(slots, 0));
    }
    cv_write_tile_table2(record.index);
    cv_write_header2(record.index);
    // What a failed write left must not show in the next tile that gets the slot. Those above may have closed the stream.
    if (present <= end_of_slots(record)) return;
    FILE* const still_open = writable_kept_stream(record);
    if (still_open == nullptr || ftruncate(fileno(still_open), end_of_slots(record)) != 0)
        cv_log_string(log_level, (std::string("Remains of unwritten tiles stay in ") + record.file_name).c_str());
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

    lock_of(*record).release(descriptor_of(record->fp2));  // of streams that were not closed
    const mode_t kept_mask = umask(canvas_creation_mask);
    int32_t result = existed;
    record->fp = open_stream(record->file_name, mode_for(record->file_name));
    if (record->fp == nullptr) {
        // Exclusively: a file that is there but cannot be opened just now is never emptied.
        record->fp = open_stream(record->file_name, "w+x");
        result = created;
    }
    if (record->fp == nullptr) return -255;  // the mask is not put back here, as hosts expect
    record->fp2 = open_stream(record->file_name, mode_for(record->file_name));
    umask(kept_mask);

    if (parg.opcode == -255) return -255;  // the last request failed: the cache process could not serve this canvas
    if (record->fp2 == nullptr) {
        close_stream(record->fp);
        return -255;
    }
    lock_file_and_tell(*record);
    return result;
}

int32_t canvas_close_file(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) return -255;
    int32_t result = 0;
    lock_of(*record).release(descriptor_of(record->fp2));
    if (record->fp != nullptr) result = close_stream(record->fp);
    if (record->fp2 != nullptr) result = close_stream(record->fp2);  // then this one's result alone counts
    return result;
}
