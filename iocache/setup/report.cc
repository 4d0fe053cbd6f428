// How failures reach the host: a code, a text, and for the worst ones the host's own end.

#include "iocache/setup/setup.h"

#include "iocache/platform/inherited_mutex.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <mutex>

int32_t cv_errno = 0;
char error_m[100] = "";
void (*cv_wrt_err)(const char* text) = nullptr;
int (*cv_printf)(const char* format, ...) = nullptr;
void (*cv_killer)(void) = nullptr;

namespace {

using namespace iocache;

constexpr size_t console_line_bytes = 4352;  // the longest path and the words around it

platform::inherited_mutex error_m_guard;  // either side may format a text at the same moment

}  // namespace

void iocache::setup::tell_host(const char* message)
{
    (cv_wrt_err != nullptr ? cv_wrt_err : wrt_err)(message);
}

void iocache::setup::report(int32_t error, const char* message)
{
    std::atomic_ref(cv_errno).store(error, std::memory_order_relaxed);
    tell_host(message);
}

int32_t iocache::setup::fail(const failure& what)
{
    report(what.error, what.message);
    return what.result;
}

const char* iocache::setup::format_message(const char* format, ...)
{
    thread_local std::array<char, sizeof error_m> text;
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    const std::lock_guard held(error_m_guard);
    std::memcpy(error_m, text.data(), text.size());
    return text.data();
}

// The host's console function takes a finished text, so that no name ever serves as a format.
void iocache::setup::print(const char* format, ...)
{
    std::array<char, console_line_bytes> text;
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    (cv_printf != nullptr ? cv_printf : std::printf)("%s", text.data());
}

void iocache::setup::print_plainly(const char* text)
{
    std::fputs(text, stdout);
}

void iocache::setup::kill_host()
{
    (cv_killer != nullptr ? cv_killer : killer)();
}
