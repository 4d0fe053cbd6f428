// What becomes of the library's messages and of its fatal errors. Any thread may come here.
#include "host/iocache_host.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

void print_message(const char* text)
{
    // Some messages end in a newline of their own. One call writes the whole line, so that lines do not mix.
    std::string_view line{text};
    while (line.ends_with('\n')) line.remove_suffix(1);
    std::fprintf(stderr, "iocache: %.*s\n", static_cast<int>(line.size()), line.data());
}

void end_program()
{
    print_message("a fatal error ends the program");
    std::fflush(stdout);
    // Other threads still run: what they use must stay, so that no destructor is called.
    std::quick_exit(IOCACHE_HOST_KILLED);
}

std::atomic<void (*)(const char*)> message_handler{print_message};
std::atomic<void (*)()> killer_handler{end_program};

}  // namespace

void iocache_host_on_message(void (*handler)(const char*))
{
    message_handler.store(handler ? handler : print_message);
}

void iocache_host_on_killer(void (*handler)())
{
    killer_handler.store(handler ? handler : end_program);
}

void wrt_err(const char* text)
{
    if (text) message_handler.load()(text);
}

void killer()
{
    killer_handler.load()();
}
