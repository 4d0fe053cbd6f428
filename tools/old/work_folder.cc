// The folder's names, and what may be removed.
#include "tools/old/work_folder.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string_view>
#include <thread>

#include <sys/file.h>
#include <sys/stat.h>

#include "tools/failure.h"

namespace iocache::tools {

namespace {

constexpr std::string_view folder_ending = ".converting";
constexpr const char* copy_name = "copy";

// The copy, and the new canvas under the name that the host gives it.
bool is_own(const std::string& name)
{
    const bool is_new_canvas = (name.starts_with("mask-") || name.starts_with("picture-")) && name.ends_with(".canvas");
    return name == copy_name || is_new_canvas;
}

void check_contents(const std::string& folder)
{
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (is_own(entry.path().filename().string()) &&
            entry.symlink_status().type() == std::filesystem::file_type::regular)
            continue;
        throw failure(exit_code::not_readable,
                      entry.path().string() + ": not made by this command; it is left alone, and so is the old file");
    }
}

}  // namespace

std::string work_folder::path_of(const std::string& original)
{
    return original + std::string(folder_ending);
}

std::string work_folder::copy_of(const std::string& original)
{
    return path_of(original) + "/" + copy_name;
}

std::string work_folder::original_of(const std::string& path)
{
    std::string_view name = path;
    while (name.ends_with('/')) name.remove_suffix(1);
    struct stat status {};
    const bool is_folder = ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    if (!is_folder || !name.ends_with(folder_ending)) return {};
    return std::string(name.substr(0, name.size() - folder_ending.size()));
}

bool work_folder::is_left(const std::string& original)
{
    struct stat status {};
    return ::lstat(path_of(original).c_str(), &status) == 0;
}

void work_folder::remove_left(const std::string& original)
{
    if (!is_left(original)) return;
    const std::string path = path_of(original);
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(path))) {
        throw failure(exit_code::not_readable, path + ": not a folder; it is left alone, and so is the old file");
    }
    check_contents(path);
    for (const auto& entry : std::filesystem::directory_iterator(path)) std::filesystem::remove(entry.path());
    std::filesystem::remove(path);
}

work_folder::work_folder(const std::string& original) : original_(original), path_(path_of(original))
{
    remove_left(original);
    if (::mkdir(path_.c_str(), S_IRWXU) != 0) throw system_failure(path_, "cannot make a folder");
}

work_folder::~work_folder()
{
    try {
        remove_left(original_);
    } catch (const std::exception&) {
        // Something got into it, or it cannot be read any more: the next run tells.
        return;
    }
}

file_lock::file_lock(const std::string& path) : file_(open_for_reading(path))
{
    using namespace std::chrono_literals;
    // A killed run's processes end within moments.
    for (int tries = 0; ::flock(file_.get(), LOCK_EX | LOCK_NB) != 0; ++tries) {
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK) return;
        constexpr int most_tries = 200;
        if (tries == most_tries) {
            throw failure(exit_code::not_readable, path + ": another process is converting it");
        }
        std::this_thread::sleep_for(10ms);
    }
}

}  // namespace iocache::tools
