// A file without anything between: whole transfers at byte positions, and the page cache told to forget it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

namespace iocache_bench {

class raw_file {
public:
    enum class purpose { read, create };

    // Ends the program with a message when it cannot be opened; so do transfers that come out short.
    raw_file(const std::filesystem::path& path, purpose what);
    ~raw_file();
    raw_file(const raw_file&) = delete;
    raw_file& operator=(const raw_file&) = delete;

    void read(std::span<uint8_t> bytes, int64_t offset) const;
    void write(std::span<const uint8_t> bytes, int64_t offset) const;
    void synchronise() const;

    // Written pages go to the disk, then every page of the file leaves the page cache (posix_fadvise). What a
    // hypervisor or a drive keeps of it stays there.
    void forget_pages() const;

private:
    int descriptor_;
};

// Memory as an operating system gives it: on page boundaries and zero, freed at the end.
class page_memory {
public:
    enum class pages { usual, huge };  // huge: where the kernel can

    explicit page_memory(int64_t bytes, pages wanted = pages::usual);
    ~page_memory();
    page_memory(const page_memory&) = delete;
    page_memory& operator=(const page_memory&) = delete;

    [[nodiscard]] uint8_t* data() const { return data_; }
    [[nodiscard]] std::span<uint8_t> part(int64_t offset, int64_t bytes) const
    {
        return {data_ + offset, static_cast<size_t>(bytes)};
    }

private:
    size_t bytes_;
    uint8_t* data_ = nullptr;
};

}  // namespace iocache_bench
