// Positioned transfers of one block. Two families, alike but for what they do with their stream and their failures:
//
//   one-shot (cv_read, cv_write)     fp, closed after success, left open after a failed seek or transfer; failures go
//                                    to cv_errno and the host.
//   kept-open (cv_read2, cv_write2)  fp2, left open; a failed write closes it, so that the next one opens it afresh;
//                                    failures are only printed.

#include <cerrno>
#include <cstdio>
#include <string>

#include "iocache/canvas/canvas.h"
#include "iocache/setup/setup.h"

char* cv_name_file = nullptr;

namespace {

using namespace iocache;
using canvas::transfer_outcome;

// One item of `length` bytes or nothing. A signal in the middle starts the item again from its position.
template <class Transfer>
transfer_outcome transfer_item(FILE* stream, int64_t offset, int32_t length, Transfer transfer)
{
    if (length <= 0) return transfer_outcome::transfer_failed;
    do {
        std::clearerr(stream);
        if (fseeko(stream, offset, SEEK_SET) != 0) return transfer_outcome::seek_failed;
        errno = 0;
        if (transfer(static_cast<size_t>(length)) == 1) return transfer_outcome::done;
    } while (errno == EINTR);
    return transfer_outcome::transfer_failed;
}

transfer_outcome read_item(FILE* stream, int64_t offset, void* buffer, int32_t length)
{
    return transfer_item(stream, offset, length, [&](size_t bytes) { return std::fread(buffer, bytes, 1, stream); });
}

transfer_outcome write_item(FILE* stream, int64_t offset, const void* buffer, int32_t length)
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

// The one-shot stream is closed after success only.
transfer_outcome end_once(cv_canvas& record, transfer_outcome result)
{
    if (result != transfer_outcome::done) return result;
    std::fclose(record.fp);
    record.fp = nullptr;
    return result;
}

int32_t tell_of_once(const cv_canvas& record, transfer_outcome result, const reported& how)
{
    if (result == transfer_outcome::done) return 0;
    if (result == transfer_outcome::not_opened) return setup::fail({-255, how.open_error, how.open_message});
    const bool in_seek = result == transfer_outcome::seek_failed;
    setup::report(
        in_seek ? how.seek_error : how.transfer_error,
        setup::format_message("%s failed on %d %s\n", in_seek ? "seek" : how.verb, record.index, record.base_name));
    return -255;
}

int32_t tell_of_kept_open(const cv_canvas& record, transfer_outcome result, const char* open_message, const char* verb)
{
    if (result == transfer_outcome::done) return 0;
    setup::print_plainly(result == transfer_outcome::not_opened
                             ? open_message
                             : setup::format_message("%s failed on canvas %d %s\n",
                                                     result == transfer_outcome::seek_failed ? "seek" : verb,
                                                     record.index, record.base_name));
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

iocache::canvas::transfer_outcome iocache::canvas::write_once(cv_canvas& record, int64_t offset, const void* buffer,
                                                              int32_t length)
{
    if (record.fp == nullptr) record.fp = open_stream(record.file_name, "r+");
    if (record.fp == nullptr) return transfer_outcome::not_opened;
    return end_once(record, write_item(record.fp, offset, buffer, length));
}

int32_t iocache::canvas::tell_of_write_once(const cv_canvas& record, transfer_outcome result)
{
    return tell_of_once(record, result, writing);
}

iocache::canvas::transfer_outcome iocache::canvas::write_kept_open(cv_canvas& record, int64_t offset,
                                                                   const void* buffer, int32_t length)
{
    remember_written_file(record.file_name);
    if (writable_kept_stream(record) == nullptr) return transfer_outcome::not_opened;
    const transfer_outcome result = write_item(record.fp2, offset, buffer, length);
    if (result != transfer_outcome::done) close_kept_stream(record);
    return result;
}

int32_t iocache::canvas::tell_of_write_kept_open(const cv_canvas& record, transfer_outcome result)
{
    return tell_of_kept_open(record, result, "cannot open the file", "write");
}

int32_t cv_read(cv_canvas* canvas, int64_t offset, void* buffer, int32_t length)
{
    if (canvas->fp == nullptr) canvas->fp = canvas::open_stream(canvas->file_name, mode_for_reading(*canvas));
    const transfer_outcome result = canvas->fp == nullptr
                                        ? transfer_outcome::not_opened
                                        : end_once(*canvas, read_item(canvas->fp, offset, buffer, length));
    return tell_of_once(*canvas, result, reading);
}

int32_t cv_write(cv_canvas* canvas, int64_t offset, const void* buffer, int32_t length)
{
    return canvas::tell_of_write_once(*canvas, canvas::write_once(*canvas, offset, buffer, length));
}

int32_t cv_read2(cv_canvas* canvas, int64_t offset, void* buffer, int32_t length)
{
    const bool is_open =
        canvas->fp2 != nullptr || canvas::open_kept_stream(*canvas, mode_for_reading(*canvas)) != nullptr;
    const transfer_outcome result =
        is_open ? read_item(canvas->fp2, offset, buffer, length) : transfer_outcome::not_opened;
    return tell_of_kept_open(*canvas, result, "cannot open the file\n", "read");
}

int32_t cv_write2(cv_canvas* canvas, int64_t offset, const void* buffer, int32_t length)
{
    return canvas::tell_of_write_kept_open(*canvas, canvas::write_kept_open(*canvas, offset, buffer, length));
}
