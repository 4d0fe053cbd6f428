// Start-up, shutdown, the log, and how every folder reports a failure.
//
// The functions here may be called from either side, at any time after canvas_init; before it they still report,
// straight to the host.
#pragma once

#include <cstdarg>
#include <cstdint>

#include <iocache/iocache.h>

namespace iocache::setup {

// What a failing step reports: the caller's result, the library's error code, the text for the host.
struct failure {
    int32_t result;
    int32_t error;
    const char* message;
};

// Stores the code in cv_errno and passes the text to the host. fail() also answers the step's result.
void report(int32_t error, const char* message);
int32_t fail(const failure& what);
// Passes a text to the host without touching cv_errno.
void tell_host(const char* message);

// Formats into error_m, cut to its size, and returns a copy that no other thread writes (its own thread's buffer).
[[gnu::format(printf, 1, 2)]] const char* format_message(const char* format, ...);
// To the console, through cv_printf once that is set.
[[gnu::format(printf, 1, 2)]] void print(const char* format, ...);
// To standard output, whatever cv_printf points to.
void print_plainly(const char* text);
// The host's fatal stop. Returns when the host's killer does.
void kill_host();

// One configuration item of the host: its number, or `otherwise` when it is not configured.
int32_t configured_number(int32_t item, int32_t otherwise);
// Its text, or null.
const char* configured_text(int32_t item);

// The tile budget in bytes, from total_main_memory and decr_main_memory (both set here) and the environment.
int64_t measure_budget();

// Opens the log's outputs as the environment asks and writes its first lines.
void start_log();
// Writes its last line and closes the file.
void end_log();

// Ends the cache process, when there is one: exit flag, one ring, then waits for its thread. False when the caller is the
// cache process: then it leaves after this, and its client may still be on the way out of what they share.
bool stop_cache_process();

// The id that sproc answered for the cache process; 0 when there is none. Set once at start.
extern int32_t cache_process_id;

}  // namespace iocache::setup
