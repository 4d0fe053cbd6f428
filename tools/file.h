// Files that close themselves, and folders of paths.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace iocache::tools {

struct stream_closer {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using file_stream = std::unique_ptr<std::FILE, stream_closer>;

// Open a file as a stream of bytes: one that is there, as open_for_reading does, or a new one in place of what is there.
[[nodiscard]] file_stream open_input(const std::string& path);
[[nodiscard]] file_stream create_stream(const std::string& path);

// A descriptor that closes itself.
class file_descriptor {
public:
    file_descriptor() = default;
    explicit file_descriptor(int descriptor) : descriptor_(descriptor) {}
    file_descriptor(file_descriptor&& other) noexcept : descriptor_(other.descriptor_) { other.descriptor_ = -1; }
    file_descriptor& operator=(file_descriptor&& other) noexcept;
    file_descriptor(const file_descriptor&) = delete;
    file_descriptor& operator=(const file_descriptor&) = delete;
    ~file_descriptor();

    [[nodiscard]] int get() const { return descriptor_; }
    // Hands it over to someone else who closes it.
    [[nodiscard]] int release();
    // Closes now; false when the system reports that something was not written.
    bool close();

private:
    int descriptor_ = -1;
};

// Opens a regular file for reading and never waits; throws `failure` when it cannot, and for everything that is none:
// pipes and devices may have no end, and nothing can be read from them twice.
[[nodiscard]] file_descriptor open_for_reading(const std::string& path);

// Opens a file with a lock on it, which programs that have a canvas open hold as well. Nothing when one does. A file that
// cannot be opened, or locked, for another reason counts as free; then there is no descriptor.
[[nodiscard]] std::optional<file_descriptor> lock_file(const std::string& path);

// The size of an open file in bytes.
[[nodiscard]] std::int64_t file_bytes(const file_descriptor& file, const std::string& path);

// Bytes that an ordinary user may still write to the file system of `path`, or -1 when it cannot be told.
[[nodiscard]] std::int64_t free_bytes(const std::string& path);

// The folder a path lies in; "." for a bare name.
[[nodiscard]] std::string folder_of(const std::string& path);

// How a path ends, in lower case, with the dot; empty for a name without one.
[[nodiscard]] std::string ending_of(const std::string& path);

// Throws `failure` when a command is about to replace what it reads.
void refuse_same_file(const std::string& read, const std::string& written);

}  // namespace iocache::tools
