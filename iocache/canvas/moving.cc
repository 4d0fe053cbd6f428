// Moving, copying and deleting files around canvases. Client only.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "iocache/canvas/canvas.h"
#include "iocache/platform/owned.h"
#include "iocache/setup/setup.h"

namespace {

using namespace iocache;
using namespace iocache::canvas;

constexpr size_t copy_chunk_bytes = 4'194'304;  // what Rbuf lends

using platform::owned_file;

// The part before the last '/'; empty without one, which then names no folder.
std::string folder_of(std::string_view path)
{
    const size_t slash = path.rfind('/');
    return std::string(path.substr(0, slash == std::string_view::npos ? 0 : slash));
}

bool is_same_file(const char* a, const char* b)
{
    struct stat first = {};
    struct stat second = {};
    return stat(a, &first) == 0 && stat(b, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

bool on_one_device(const char* file, const char* folder)
{
    struct stat first = {};
    struct stat second = {};
    return stat(file, &first) == 0 && stat(folder, &second) == 0 && first.st_dev == second.st_dev;
}

int32_t fail_on(int32_t error, const char* what, const char* path)
{
    setup::report(error, setup::format_message("%s %s", what, path));
    return -255;
}

}  // namespace

int32_t copy_file_to_file(const char* from, const char* to)
{
    const owned_file source(open_stream(from, "r"));
    if (source == nullptr) return fail_on(999211, "cannot open", from);
    // Opening the target empties it, so it must not be the source.
    const owned_file target(is_same_file(from, to) ? nullptr : open_stream(to, "w"));
    if (target == nullptr) return fail_on(999212, "cannot open", to);

    size_t written = 0;
    for (;;) {
        const size_t bytes = std::fread(Rbuf, 1, copy_chunk_bytes, source.get());
        const bool failed = std::ferror(source.get()) != 0;
        if (bytes > 0) written = std::fwrite(Rbuf, 1, bytes, target.get());
        // A file of length 0 fails here too: nothing has been written, as hosts expect.
        if (written == 0 || failed || (bytes > 0 && written < bytes)) return fail_on(999213, "Error writing to", to);
        if (bytes < copy_chunk_bytes) return 0;
    }
}

int32_t cv_rename_file(int32_t /* ignored */, const char* from, const char* to)
{
    if (on_one_device(from, folder_of(to).c_str())) return std::rename(from, to) == 0 ? 0 : -255;
    // All of the copy is on the disk before the source goes. A folder that says no is left at that: the copy is whole.
    if (copy_file_to_file(from, to) != 0 || !synchronise_path(to)) return -255;
    synchronise_name(to);
    unlink(from);
    return 0;
}

int32_t canvas_rename_file(int32_t canvas, const char* new_path)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) return -255;
    cv_flush_tiles_keep(canvas);  // what cannot be written stays in memory, and goes to the new place
    if (cv_rename_file(0, record->file_name, new_path) != 0) return -255;
    return follow_file(*record, new_path);
}

int32_t iocache::canvas::follow_file(cv_canvas& record, const char* new_path)
{
    canvas_close_file(record.index);
    const bool renamed = set_file_name(record, new_path);
    note_new_name(record, true);
    if (renamed && canvas_open_file(record.index) != -255) return 0;

    constexpr const char* message = "rename file : cannot reopen new file";
    setup::report(999224, message);
    setup::print("%s\n", message);
    setup::kill_host();
    return -256;
}

int32_t canvas_unlink_file(int32_t canvas)
{
    const cv_canvas* const record = find(canvas);
    return record == nullptr ? -255 : unlink(record->file_name);
}

int32_t canvas_unlink_subs_window(int32_t canvas)
{
    const cv_canvas* const record = find(canvas);
    return record == nullptr ? -255 : unlink(record->subs_window_name);
}
