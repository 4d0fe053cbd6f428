// The library, started and stopped. One session at a time; it must outlive every open canvas.
//
// The settings that a canvas file depends on (tile size, largest canvas) are fixed here, whatever the
// user's configuration of other programs says. Messages of the library are collected instead of printed.
#pragma once

#include <cstdint>
#include <string>

namespace iocache::tools {

struct session_options {
    std::int64_t cache_bytes = 0;  // 0: default_cache_bytes()
    std::int32_t workers = 0;      // 0: as many as the machine has processors
    bool in_line = false;          // requests are served in the calling thread, without a cache process
};

inline constexpr std::int64_t mebibyte = std::int64_t{1} << 20;
inline constexpr std::int64_t least_cache_bytes = 2 * mebibyte;

// 256 MiB, or half of the memory that this process may use if that is less.
[[nodiscard]] std::int64_t default_cache_bytes();

class session {
public:
    explicit session(const session_options& options);
    session(const session&) = delete;
    session& operator=(const session&) = delete;
    ~session();

    [[nodiscard]] std::int64_t cache_bytes() const { return cache_bytes_; }

private:
    std::int64_t cache_bytes_;
};

// The library's latest message, without its line end; empty when there is none.
[[nodiscard]] std::string library_message();
void forget_library_message();

}  // namespace iocache::tools
