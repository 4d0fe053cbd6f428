// Each function calls the system's and, when that worked, appends what it did. A call and its line in the log are one
// step under a lock, so that the log has the order of the file system.
#include "tests/reliability/power/call_recorder.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <iocache/iocache.h>

#include "tests/support/real_function.h"

namespace {

using namespace iocache_test::recorder;
using iocache_test::real;

std::mutex guard;
int log_file = -1;  // under guard; -1: nothing is written down

void append(entry one, const std::string& path, const std::string& to, const void* data, size_t data_bytes)
{
    one.path_bytes = static_cast<uint32_t>(path.size());
    one.to_bytes = static_cast<uint32_t>(to.size());
    one.data_bytes = static_cast<uint32_t>(data_bytes);
    const std::array<iovec, 4> parts{{{&one, sizeof one},
                                      {const_cast<char*>(path.data()), path.size()},
                                      {const_cast<char*>(to.data()), to.size()},
                                      {const_cast<void*>(data), data_bytes}}};
    const size_t all = sizeof one + path.size() + to.size() + data_bytes;
    const long written = syscall(SYS_writev, log_file, parts.data(), static_cast<int>(parts.size()));
    if (written != static_cast<long>(all)) std::abort();  // a log with a hole proves nothing
}

void append_names(action what, const char* path, const char* to = "")
{
    append({.what = what}, path, to, nullptr, 0);
}

// Keeps errno for the caller.
void append_file(action what, int file, const char* path, int64_t offset, const void* data, size_t data_bytes)
{
    const int error = errno;
    struct stat now = {};
    if (fstat(file, &now) == 0 && S_ISREG(now.st_mode))
        append({.what = what, .device = now.st_dev, .file = now.st_ino, .offset = offset}, path, "", data, data_bytes);
    errno = error;
}

void append_sync(int file)
{
    struct stat now = {};
    if (fstat(file, &now) != 0) return;
    if (!S_ISDIR(now.st_mode)) return append_file(action::sync_file, file, "", 0, nullptr, 0);
    std::array<char, 4096> path{};
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    if (readlink(link.c_str(), path.data(), path.size() - 1) > 0) append_names(action::sync_folder, path.data());
}

bool is_there(const char* path)
{
    struct stat ignored = {};
    return lstat(path, &ignored) == 0;
}

// What opening did to the file.
void append_open(int file, const char* path, bool was_there, bool empties)
{
    if (!was_there) {
        append_file(action::create, file, path, 0, nullptr, 0);
    } else if (empties) {
        append_file(action::length, file, "", 0, nullptr, 0);
    }
}

// Does the call and, when it worked, notes it.
template <class Call, class Note> auto noted(Call call, Note note)
{
    const std::lock_guard held(guard);
    const auto result = call();
    if (log_file >= 0 && result >= 0) note(result);
    return result;
}

}  // namespace

void iocache_test::recorder::start(const std::string& log)
{
    const std::lock_guard held(guard);
    log_file = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600));
    if (log_file < 0) std::abort();
}

void iocache_test::recorder::stop()
{
    const std::lock_guard held(guard);
    if (log_file >= 0) close(log_file);
    log_file = -1;
}

void iocache_test::recorder::note_close(const std::string& path)
{
    const std::lock_guard held(guard);
    if (log_file >= 0) append_names(action::closed, path.c_str());
}

// Visible, so that the library finds these before the system's own.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's own names are reserved ones.
extern "C" {

IOCACHE_API FILE* fopen(const char* path, const char* mode)
{
    static auto* const forward = real<decltype(fopen)>("fopen");
    const std::lock_guard held(guard);
    if (log_file < 0 || *mode == 'r') return forward(path, mode);
    const bool was_there = is_there(path);
    FILE* const stream = forward(path, mode);
    if (stream != nullptr) append_open(fileno(stream), path, was_there, *mode == 'w');
    return stream;
}

IOCACHE_API int open(const char* path, int flags, ...)
{
    static auto* const forward = real<int(const char*, int, ...)>("open");
    std::va_list arguments;
    va_start(arguments, flags);
    const bool has_mode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    const mode_t mode = has_mode ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    const std::lock_guard held(guard);
    const bool changes = (flags & (O_CREAT | O_TRUNC)) != 0;
    if (log_file < 0 || !changes) return forward(path, flags, mode);
    const bool was_there = is_there(path);
    const int file = forward(path, flags, mode);
    if (file >= 0) append_open(file, path, was_there, (flags & O_TRUNC) != 0);
    return file;
}

IOCACHE_API size_t fwrite(const void* data, size_t size, size_t count, FILE* stream)
{
    static auto* const forward = real<decltype(fwrite)>("fwrite");
    const std::lock_guard held(guard);
    if (log_file < 0 || stream == stdout || stream == stderr) return forward(data, size, count, stream);
    const off_t offset = ftello(stream);
    const size_t items = forward(data, size, count, stream);
    const off_t end = ftello(stream);
    if (offset >= 0 && end > offset)
        append_file(action::write, fileno(stream), "", offset, data, static_cast<size_t>(end - offset));
    return items;
}

IOCACHE_API ssize_t write(int file, const void* data, size_t bytes)
{
    static auto* const forward = real<decltype(write)>("write");
    const off_t offset = lseek(file, 0, SEEK_CUR);
    return noted([&] { return forward(file, data, bytes); },
                 [&](ssize_t done) { append_file(action::write, file, "", offset, data, static_cast<size_t>(done)); });
}

IOCACHE_API ssize_t pwrite(int file, const void* data, size_t bytes, off_t offset)
{
    static auto* const forward = real<decltype(pwrite)>("pwrite");
    return noted([&] { return forward(file, data, bytes, offset); },
                 [&](ssize_t done) { append_file(action::write, file, "", offset, data, static_cast<size_t>(done)); });
}

IOCACHE_API ssize_t copy_file_range(int from, off64_t* from_at, int to, off64_t* to_at, size_t bytes, unsigned flags)
{
    static auto* const forward = real<decltype(copy_file_range)>("copy_file_range");
    const off_t read_from = from_at != nullptr ? *from_at : lseek(from, 0, SEEK_CUR);
    const off_t written_to = to_at != nullptr ? *to_at : lseek(to, 0, SEEK_CUR);
    return noted([&] { return forward(from, from_at, to, to_at, bytes, flags); },
                 [&](ssize_t done) {
                     std::vector<uint8_t> data(static_cast<size_t>(done));
                     if (pread(from, data.data(), data.size(), read_from) != done) std::abort();
                     append_file(action::write, to, "", written_to, data.data(), data.size());
                 });
}

IOCACHE_API int ftruncate(int file, off_t bytes) noexcept
{
    static auto* const forward = real<decltype(ftruncate)>("ftruncate");
    return noted([&] { return forward(file, bytes); },
                 [&](int) { append_file(action::length, file, "", bytes, nullptr, 0); });
}

IOCACHE_API int fsync(int file)
{
    static auto* const forward = real<decltype(fsync)>("fsync");
    return noted([&] { return forward(file); }, [&](int) { append_sync(file); });
}

IOCACHE_API int fdatasync(int file)
{
    static auto* const forward = real<decltype(fdatasync)>("fdatasync");
    return noted([&] { return forward(file); }, [&](int) { append_sync(file); });
}

IOCACHE_API int rename(const char* from, const char* to) noexcept
{
    static auto* const forward = real<decltype(rename)>("rename");
    return noted([&] { return forward(from, to); }, [&](int) { append_names(action::rename, from, to); });
}

IOCACHE_API int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) noexcept
{
    static auto* const forward = real<decltype(renameat2)>("renameat2");
    return noted(
        [&] { return forward(from_folder, from, to_folder, to, flags); },
        [&](int) { append_names((flags & RENAME_EXCHANGE) != 0 ? action::exchange : action::rename, from, to); });
}

IOCACHE_API int link(const char* from, const char* to) noexcept
{
    static auto* const forward = real<decltype(link)>("link");
    return noted([&] { return forward(from, to); }, [&](int) { append_names(action::link, from, to); });
}

IOCACHE_API int unlink(const char* path) noexcept
{
    static auto* const forward = real<decltype(unlink)>("unlink");
    return noted([&] { return forward(path); }, [&](int) { append_names(action::remove, path); });
}

IOCACHE_API int remove(const char* path) noexcept
{
    static auto* const forward = real<decltype(remove)>("remove");
    return noted([&] { return forward(path); }, [&](int) { append_names(action::remove, path); });
}

IOCACHE_API int rmdir(const char* path) noexcept
{
    static auto* const forward = real<decltype(rmdir)>("rmdir");
    return noted([&] { return forward(path); }, [&](int) { append_names(action::remove, path); });
}

IOCACHE_API int mkdir(const char* path, mode_t mode) noexcept
{
    static auto* const forward = real<decltype(mkdir)>("mkdir");
    return noted([&] { return forward(path, mode); }, [&](int) { append_names(action::folder, path); });
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
