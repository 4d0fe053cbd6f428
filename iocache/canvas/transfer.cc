// Positioned transfers of one block. Two families, alike but for what they do with their stream and their failures:
//
//   one-shot (cv_read, cv_write)     fp, closed after success, left open after a failed seek or transfer; failures go
//                                    to cv_errno and the host.
//   kept-open (cv_read2, cv_write2)  fp2, left open; a failed write closes it, so that the next one opens it afresh;
//                                    failures are only printed.

#include <cerrno>
#include <cstdio>
#include <mutex>
#include <string>

#include "iocache/canvas/canvas.h"
#include "iocache/setup/setup.h"

char* cv_name_file = nullptr;

namespace {

using namespace iocache;

enum class outcome { done, seek_failed, transfer_failed };

// One item of `length` bytes or nothing. A signal in the middle starts the item again from its position.
template <class Transfer> outcome transfer_item(FILE* stream, int64_t offset, int32_t length, Transfer transfer)
{
    if (length <= 0) return outcome::transfer_failed;
    do {
        std::clearerr(stream);
        if (fseeko(stream, offset, SEEK_SET) != 0) return outcome::seek_failed;
        errno = 0;
        if (transfer(static_cast<size_t>(length)) == 1) return outcome::done;
    } while (errno == EINTR);
    return outcome::transfer_failed;
}

outcome read_item(FILE* stream, int64_t offset, void* buffer, int32_t length)
{
    return transfer_item(stream, offset, length, [&](size_t bytes) { return std::fread(buffer, bytes, 1, stream); });
}

outcome write_item(FILE* stream, int64_t offset, const void* buffer, int32_t length)
{
    return transfer_item(stream, offset, length, [&](size_t bytes) {
        const size_t items = std::fwrite(buffer, bytes, 1, stream);
        return std::fflush(stream) == 0 ? items : size_t{0};
    });
}

const char* mode_for_reading(const cv_canvas& record)
{
    return cv_test_file(record.file_name, 1) == 0 ? "r+" : "r";
}

// Codes and formats of one direction of the one-shot family.
struct reported {
    int32_t open_error;
    const char* open_message;
    int32_t seek_error;
    int32_t transfer_error;
    const char* verb;
};
constexpr reported reading{999201, "cannot open the file\n", 999202, 999203, "read"};
constexpr reported writing{999206, "cannot open the file", 999207, 999208, "write"};

// Reports what became of a one-shot transfer; closes the stream after success only.
int32_t conclude(cv_canvas& record, outcome result, const reported& how)
{
    if (result == outcome::done) {
        std::fclose(record.fp);
        record.fp = nullptr;
        return 0;
    }
    const bool in_seek = result == outcome::seek_failed;
    setup::report(
        in_seek ? how.seek_error : how.transfer_error,
        setup::format_message("%s failed on %d %s\n", in_seek ? "seek" : how.verb, record.index, record.base_name));
    return -255;
}

// Prints what became of a kept-open transfer.
int32_t print_outcome(const cv_canvas& record, outcome result, const char* verb)
{
    if (result == outcome::done) return 0;
    setup::print_plainly(setup::format_message(
        "%s failed on canvas %d %s\n", result == outcome::seek_failed ? "seek" : verb, record.index, record.base_name));
    return -255;
}

// The name stays valid after its canvas is renamed or closed.
void remember_written_file(const char* path)
{
    static std::string kept;
    if (kept == path && cv_name_file == kept.data()) return;
    kept = path;
    cv_name_file = kept.data();
}

}  // namespace

int32_t cv_read(cv_canvas* canvas, int64_t offset, void* buffer, int32_t length)
{
    if (canvas->fp == nullptr) canvas->fp = canvas::open_stream(canvas->file_name, mode_for_reading(*canvas));
    if (canvas->fp == nullptr) return setup::fail({-255, reading.open_error, reading.open_message});
    return conclude(*canvas, read_item(canvas->fp, offset, buffer, length), reading);
}

int32_t cv_write(cv_canvas* canvas, int64_t offset, const void* buffer, int32_t length)
{
    if (canvas->fp == nullptr) canvas->fp = canvas::open_stream(canvas->file_name, "r+");
    if (canvas->fp == nullptr) return setup::fail({-255, writing.open_error, writing.open_message});
    return conclude(*canvas, write_item(canvas->fp, offset, buffer, length), writing);
}

int32_t cv_read2(cv_canvas* canvas, int64_t offset, void* buffer, int32_t length)
{
    if (canvas->fp2 == nullptr && canvas::open_kept_stream(*canvas, mode_for_reading(*canvas)) == nullptr) {
        setup::print_plainly("cannot open the file\n");
        return -255;
    }
    return print_outcome(*canvas, read_item(canvas->fp2, offset, buffer, length), "read");
}

int32_t cv_write2(cv_canvas* canvas, int64_t offset, const void* buffer, int32_t length)
{
    remember_written_file(canvas->file_name);
    if (canvas::writable_kept_stream(*canvas) == nullptr) {
        setup::print_plainly("cannot open the file");
        return -255;
    }
    const outcome result = write_item(canvas->fp2, offset, buffer, length);
    if (result != outcome::done) canvas::close_kept_stream(*canvas);
    return print_outcome(*canvas, result, "write");
}
