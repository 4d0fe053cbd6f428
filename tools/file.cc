// Thin wrappers around the system's calls.
#include "tools/file.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "tools/failure.h"

namespace iocache::tools {

file_stream open_input(const std::string& path)
{
    file_descriptor file = open_for_reading(path);
    file_stream stream(::fdopen(file.get(), "rb"));
    if (!stream) throw system_failure(path, "cannot open");
    static_cast<void>(file.release());  // the stream closes it
    return stream;
}

file_stream create_stream(const std::string& path)
{
    file_stream stream(std::fopen(path.c_str(), "wbe"));
    if (!stream) throw system_failure(path, "cannot open");
    return stream;
}

file_descriptor& file_descriptor::operator=(file_descriptor&& other) noexcept
{
    if (this != &other) {
        close();
        descriptor_ = other.descriptor_;
        other.descriptor_ = -1;
    }
    return *this;
}

file_descriptor::~file_descriptor()
{
    close();
}

int file_descriptor::release()
{
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor;
}

bool file_descriptor::close()
{
    const int descriptor = release();
    return descriptor < 0 || ::close(descriptor) == 0;
}

file_descriptor open_for_reading(const std::string& path)
{
    // Opening a pipe would otherwise wait for someone who writes to it.
    file_descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.get() < 0) throw system_failure(path, "cannot open");
    struct stat status {};
    if (fstat(file.get(), &status) != 0) throw system_failure(path, "cannot read");
    if (S_ISDIR(status.st_mode)) {
        errno = EISDIR;
        throw system_failure(path, "cannot open");
    }
    if (!S_ISREG(status.st_mode)) {
        throw failure(exit_code::not_readable,
                      path + ": not a regular file: pipes and devices are not supported as input");
    }
    return file;
}

std::optional<file_descriptor> lock_file(const std::string& path)
{
    file_descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.get() < 0 || ::flock(file.get(), LOCK_EX | LOCK_NB) == 0) return file;
    if (errno == EWOULDBLOCK) return std::nullopt;
    return file_descriptor();
}

std::int64_t file_bytes(const file_descriptor& file, const std::string& path)
{
    struct stat status {};
    if (fstat(file.get(), &status) != 0) throw system_failure(path, "cannot read");
    return status.st_size;
}

std::int64_t free_bytes(const std::string& path)
{
    struct statvfs system {};
    if (statvfs(path.c_str(), &system) != 0) return -1;
    return static_cast<std::int64_t>(system.f_bavail) * static_cast<std::int64_t>(system.f_frsize);
}

std::string ending_of(const std::string& path)
{
    std::string ending = std::filesystem::path(path).extension().string();
    std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return ending;
}

std::string folder_of(const std::string& path)
{
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    return folder.empty() ? "." : folder.string();
}

void refuse_same_file(const std::string& read, const std::string& written)
{
    std::error_code one_is_missing;
    if (std::filesystem::equivalent(read, written, one_is_missing)) {
        throw failure(exit_code::usage, written + ": would replace what is read");
    }
}

}  // namespace iocache::tools
