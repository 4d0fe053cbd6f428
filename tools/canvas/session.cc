// Start-up: the library takes its settings from the environment and from the host, so both are set
// before it starts.
#include "tools/canvas/session.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include <unistd.h>

#include <fmt/format.h>
#include <iocache/iocache.h>
#include <iocache/iocache_host.h>

#include "iocache/platform/platform.h"
#include "tools/failure.h"
#include "tools/output_file.h"

namespace iocache::tools {

namespace {

// Configuration items, by the library's numbers.
constexpr std::int32_t product_name_item = 22;
constexpr std::int32_t product_release_item = 23;
constexpr std::int32_t workers_item = 29;
constexpr std::int32_t largest_canvas_item = 41;
constexpr std::int32_t tile_width_item = 47;
constexpr std::int32_t tile_height_item = 48;

constexpr std::int32_t tile_side = 256;
constexpr std::int32_t largest_canvas = 45;  // squared, times 1024 squared: the most that 32 bits hold

// More than any machine has: what the library then gives its cache is the floor, to the byte.
constexpr std::int64_t memory_left_alone_mib = 2'000'000;

constexpr std::int32_t no_tile_memory = 999012;  // the library's code

std::mutex message_guard;
std::string last_message;  // under message_guard

void take_message(const char* text)
{
    std::string line(text);
    while (!line.empty() && (line.back() == '\n' || line.back() == ' ')) line.pop_back();
    const std::lock_guard held(message_guard);
    if (!line.empty()) last_message = line;
}

int take_printed(const char* format, ...)
{
    std::array<char, 512> line{};
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    take_message(line.data());
    return length;
}

// The library cannot go on. Nothing of it may be used any more, so only the file it was making is removed.
void end_at_once()
{
    remove_partial_files();
    const bool no_memory = cv_errno == no_tile_memory;
    fmt::print(stderr, "iocache: {}\n",
               no_memory ? "would not fit: there is not enough memory for this cache" : library_message());
    ::_exit(static_cast<int>(no_memory ? exit_code::no_room : exit_code::not_readable));
}

void set_environment(const char* name, const std::string& value)
{
    ::setenv(name, value.c_str(), 1);
}

}  // namespace

std::int64_t default_cache_bytes()
{
    constexpr std::int64_t usual = 256 * mebibyte;
    std::int64_t memory = 0;
    setinvent();
    while (const cv_inventory* const entry = getinvent()) {
        if (entry->inv_class == inventory_class_memory && entry->inv_type == inventory_type_main_memory) {
            memory = entry->inv_state;
        }
    }
    endinvent();
    if (memory <= 0) return usual;
    return std::clamp(memory / 2, least_cache_bytes, usual);
}

session::session(const session_options& options)
    : cache_bytes_(options.cache_bytes > 0 ? options.cache_bytes : default_cache_bytes())
{
    cache_bytes_ -= cache_bytes_ % mebibyte;
    set_environment("CV_NON_CACHE_MEM", std::to_string(memory_left_alone_mib));
    set_environment("CV_MIN_MAIN_MEM", std::to_string(cache_bytes_ / mebibyte));
    if (options.in_line) {
        set_environment("TQ_NUMPROC", "1");
        ::unsetenv("CV_CACHE_PROCESS");
    } else {
        set_environment("CV_CACHE_PROCESS", "1");
        ::unsetenv("TQ_NUMPROC");
    }
    iocache_host_set_text(product_name_item, "iocache");
    iocache_host_set_text(product_release_item, IOCACHE_TOOL_VERSION);
    if (options.workers > 0) iocache_host_set_number(workers_item, options.workers);
    iocache_host_set_number(largest_canvas_item, largest_canvas);
    iocache_host_set_number(tile_width_item, tile_side);
    iocache_host_set_number(tile_height_item, tile_side);
    iocache_host_on_message(take_message);
    iocache_host_on_killer(end_at_once);

    cv_master_init();
    cv_printf = take_printed;
}

session::~session()
{
    cv_master_exit();
}

std::string library_message()
{
    const std::lock_guard held(message_guard);
    return last_message;
}

void forget_library_message()
{
    const std::lock_guard held(message_guard);
    last_message.clear();
}

}  // namespace iocache::tools
