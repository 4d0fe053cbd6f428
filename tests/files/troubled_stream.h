// A stream over a file's bytes in memory that meets trouble where the test says so: signals, short counts, a disk that
// gives out, a close that fails.
#ifndef IOCACHE_TESTS_FILES_TROUBLED_STREAM_H
#define IOCACHE_TESTS_FILES_TROUBLED_STREAM_H

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <limits>

#include "tests/support/file_reader.h"

namespace iocache_test {

struct troubled_file {
    bytes contents;
    size_t position = 0;
    size_t most_bytes = std::numeric_limits<size_t>::max();  // moved by one read; a shorter write is an error here
    int signals = 0;                                         // calls that a signal ends, after the first few bytes
    int read_error = 0;                                      // of every read, when the signals are over
    int write_error = 0;                                     // of every write, likewise
    bool seeks = true;
    bool closes = true;
    int transfers = 0;
    bool is_closed = false;

    // Owned by the caller, or by the canvas it is given to; this file must live longer.
    FILE* open(bool is_buffered = false)
    {
        FILE* const stream = fopencookie(this, "w+", {read, write, seek, close});
        if (!is_buffered) std::setvbuf(stream, nullptr, _IONBF, 0);
        return stream;
    }

private:
    static constexpr size_t bytes_before_a_signal = 5;

    // How many bytes the next call may move; less than wanted with errno.
    size_t next_count(size_t wanted, int error)
    {
        ++transfers;
        if (signals > 0) {
            errno = EINTR;
            return --signals % 2 == 0 ? 0 : std::min(wanted, bytes_before_a_signal);
        }
        if (error != 0) return errno = error, 0;
        return wanted;
    }

    static ssize_t read(void* cookie, char* buffer, size_t wanted)
    {
        auto& file = *static_cast<troubled_file*>(cookie);
        const size_t count = file.next_count(wanted, file.read_error);
        if (count == 0) return -1;
        const size_t left = file.contents.size() - std::min(file.position, file.contents.size());
        const size_t moved = std::min({count, left, file.most_bytes});
        std::copy_n(file.contents.data() + file.position, moved, buffer);
        file.position += moved;
        return static_cast<ssize_t>(moved);
    }
    static ssize_t write(void* cookie, const char* buffer, size_t wanted)
    {
        auto& file = *static_cast<troubled_file*>(cookie);
        const size_t moved = file.next_count(wanted, file.write_error);
        if (moved == 0) return 0;  // not -1: what a stream of this kind answers on failure
        file.contents.resize(std::max(file.contents.size(), file.position + moved));
        std::copy_n(buffer, moved, file.contents.data() + file.position);
        file.position += moved;
        return static_cast<ssize_t>(moved);
    }
    static int seek(void* cookie, off64_t* offset, int whence)
    {
        auto& file = *static_cast<troubled_file*>(cookie);
        if (!file.seeks || whence != SEEK_SET) return errno = EINVAL, -1;
        file.position = static_cast<size_t>(*offset);
        return 0;
    }
    static int close(void* cookie)
    {
        auto& file = *static_cast<troubled_file*>(cookie);
        file.is_closed = true;
        return file.closes ? 0 : (errno = EIO, -1);
    }
};

}  // namespace iocache_test

#endif
