// Canvas records, their files, and the transfers between the two.
//
// Sides: a record belongs to the client, but for what the cache process writes while it serves a request or works in
// its idle time: tile_table, tiles_fetched, fp2, and the header's tiles_written and dirty. Each stream has one user:
// fp the client, fp2 the cache side (the client uses fp2 only while the cache process is known to wait).
//
// Lock: header_guard is held from a change of a header's bytes to their encoding, and across the write itself, so
// that a header on disk is never older than one written before it. It is taken last and nothing else inside it.
#pragma once

#include <cstdint>

#include <iocache/iocache.h>

#include "iocache/canvas/file_layout.h"
#include "iocache/platform/inherited_mutex.h"

namespace iocache::canvas {

inline constexpr int32_t canvas_slots = 50;
inline constexpr int32_t mask_kind = 0;
inline constexpr int32_t picture_kind = 1;

// The record of a canvas number; null for an empty slot and for a number outside the table.
inline cv_canvas* find(int32_t number)
{
    return number >= 0 && number < canvas_slots ? canvastable[number] : nullptr;
}

// The lowest free slot, or -1.
int32_t lowest_free_slot();

// A zeroed record for this slot with its names filled in and its links empty; null without memory.
cv_canvas* allocate_record(int32_t slot, const char* path);
// Gives the record another path; false, with nothing changed, without memory.
bool set_file_name(cv_canvas& record, const char* path);
// Frees a record and all it owns.
void release_record(cv_canvas* record);
// Start of the library: every slot empty. What an earlier, quickly ended run left there is not touched.
void forget_all_canvases();
// No other record nor current-canvas global names this record afterwards.
void forget_links_to(const cv_canvas& record);

// Frees an open canvas and leaves its file exactly as it is.
void let_go(cv_canvas& record);

// What a canvas is asked to be, or what a header says it is.
struct extent {
    int32_t x_min, y_min, x_max, y_max, x_offset, y_offset;
};

// Pixel format, tile sizes and bytes of a record. tile_bytes follows the configured tile, whatever the height given.
void set_format(cv_canvas& record, int32_t kind, int32_t tile_width, int32_t tile_height);
// Tiles across and down and the five views. False, with nothing set, when the grid is empty or its table would not
// fit 32 bits; bounds must be in order.
bool set_geometry(cv_canvas& record, const extent& bounds);
// Pixels of the bounds; computed wide.
int64_t pixel_count(const extent& bounds);
// Tiles of the grid.
inline int64_t tile_count(const cv_canvas& record)
{
    return int64_t{record.tiles_across} * record.tiles_down;
}
// Bytes of a reduced image of this canvas, as the file stores it (rounded up).
int64_t reduced_image_bytes(const cv_canvas& record);

// fopen, close-on-exec and unbuffered. Null with errno.
FILE* open_stream(const char* path, const char* mode);
// A transfer without its telling: what became of it is told, to the host or on the console, where no lock is held. The
// two together are cv_write, and cv_write2.
enum class transfer_outcome { done, not_opened, seek_failed, transfer_failed };
transfer_outcome write_once(cv_canvas& record, int64_t offset, const void* buffer, int32_t length);
int32_t tell_of_write_once(const cv_canvas& record, transfer_outcome result);
transfer_outcome write_kept_open(cv_canvas& record, int64_t offset, const void* buffer, int32_t length);
int32_t tell_of_write_kept_open(const cv_canvas& record, transfer_outcome result);

// Opens the kept-open stream, afresh if it is open, and takes the file's lock with it. Null when it cannot be.
FILE* open_kept_stream(cv_canvas& record, const char* mode);
// Closes it while the canvas stays open: its lock lasts.
void close_kept_stream(cv_canvas& record);
// The kept-open stream, opened for writing if need be; null when it cannot be.
FILE* writable_kept_stream(cv_canvas& record);
// The canvas's file lies at new_path now: the record takes the name and opens its streams there. 0, or -256 when it
// cannot, which is fatal.
int32_t follow_file(cv_canvas& record, const char* new_path);
// Makes the file long enough for every slot that was handed out; where the platform refuses it stays as it is, and the
// result is false. Goes before each header that counts them: a file that is shorter than its header says does not open.
// Cache side, or at close.
bool hold_every_slot(cv_canvas& record);
// The same, with the same result, for a slot that the caller has just handed out, the last one, and writes next; faster.
// Cache side.
bool hold_new_slot(cv_canvas& record);
// Takes slots back, in memory and in the file, that the file could not be made long enough for, with what failed writes
// left in them: their tiles were not written. At close, when no tile is in memory any more.
void give_up_slots_without_room(cv_canvas& record);
// Quick end of the library: open files stay open, but no longer count as used.
void unlock_all_files();
// Everything written so far is on the disk. False when the platform says no.
bool synchronise(cv_canvas& record);

// What was written to this file is on the disk. False when the platform says no.
bool synchronise_path(const char* path);
// That it has this name is on the disk.
bool synchronise_name(const char* path);
// A canvas that was created or renamed has a name that the disk may not know yet.
void note_new_name(const cv_canvas& record, bool is_new);
// Afterwards the disk knows it, if the platform does that.
void synchronise_new_name(const cv_canvas& record);

extern platform::inherited_mutex header_guard;

}  // namespace iocache::canvas
