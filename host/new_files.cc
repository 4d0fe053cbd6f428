// Names for files that the library wants to make. A name is handed out once only, and no file had it at that moment;
// the library creates exclusively, so that a file that comes up later is not lost either.
#include "host/configuration.h"
#include "host/iocache_host.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <random>

#include <unistd.h>

namespace {

constexpr int most_tries = 100;

std::string folder_for_new_files()
{
    std::string folder = iocache::host::option_text("new_file_folder");
    const char* const temporary = std::getenv("TMPDIR");
    if (folder.empty() && temporary) folder = temporary;
    return folder.empty() ? "/tmp" : folder;
}

// Random, so that other programs hit on other names; counted, so that this one never repeats itself.
std::string next_name(int32_t kind)
{
    static std::atomic<uint32_t> names_made{0};
    constexpr char digits[] = "0123456789abcdefghijklmnopqrstuv";
    constexpr unsigned digit_count = sizeof digits - 1;
    constexpr int random_digits = 12;
    std::random_device random;
    std::string name = kind == 0 ? "mask-" : "picture-";
    for (int i = 0; i < random_digits; ++i) name += digits[random() % digit_count];
    return name + "-" + std::to_string(names_made.fetch_add(1)) + ".canvas";
}

bool is_taken(const std::string& path)
{
    return access(path.c_str(), F_OK) == 0 || errno != ENOENT;
}

}  // namespace

char* canvas_create_new_filename(int32_t kind)
{
    thread_local std::string path;
    const std::string folder = folder_for_new_files();
    if (access(folder.c_str(), W_OK | X_OK) != 0) return nullptr;
    for (int i = 0; i < most_tries; ++i) {
        path = folder + "/" + next_name(kind);
        if (!is_taken(path)) return path.data();
    }
    return nullptr;
}
