// A real file system in memory that is as full as one likes.
#ifndef IOCACHE_TESTS_SUPPORT_SMALL_DISK_H
#define IOCACHE_TESTS_SUPPORT_SMALL_DISK_H

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace iocache_test {

class no_small_disk : public std::runtime_error {
public:
    using runtime_error::runtime_error;
};

// Seen by this process and its children only, so that it goes with them.
class small_disk {
public:
    static constexpr int64_t page_bytes = 4096;

    small_disk(std::string folder, int mebibytes) : folder_(std::move(folder))
    {
        const uid_t user = getuid();
        if (unshare(CLONE_NEWNS) != 0) {
            if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) fail_to_mount();
            // The mount needs a root, if only that of a world of its own.
            std::ofstream("/proc/self/uid_map") << "0 " << user << " 1\n";
        }
        const std::string size = "size=" + std::to_string(mebibytes) + "M";
        const bool is_mounted = mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                                mount("tmpfs", folder_.c_str(), "tmpfs", 0, size.c_str()) == 0;
        if (!is_mounted) fail_to_mount();
    }
    ~small_disk() { umount2(folder_.c_str(), MNT_DETACH); }
    small_disk(const small_disk&) = delete;
    small_disk& operator=(const small_disk&) = delete;

    std::string file(const std::string& name) const { return folder_ + "/" + name; }
    int64_t free_pages() const
    {
        struct statvfs now = {};
        return statvfs(folder_.c_str(), &now) == 0 ? static_cast<int64_t>(now.f_bavail) : 0;
    }
    void clear() const
    {
        for (const auto& one : std::filesystem::directory_iterator(folder_)) std::filesystem::remove_all(one.path());
    }
    // Nothing but so many pages are left.
    void fill_up_to(int64_t pages) const
    {
        const int ballast = open(file(ballast_name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        const int64_t filling = (free_pages() - pages) * page_bytes;
        const bool is_filled = filling <= 0 || posix_fallocate(ballast, 0, filling) == 0;
        if (close(ballast) != 0 || !is_filled) throw std::runtime_error("the small disk cannot be filled");
    }
    // Whether there was something to take away.
    bool make_room() const { return std::filesystem::remove(file(ballast_name)); }

private:
    static constexpr const char* ballast_name = "ballast";
    std::string folder_;

    [[noreturn]] static void fail_to_mount()
    {
        throw no_small_disk(std::string("cannot mount a small disk: ") + std::strerror(errno));
    }
};

}  // namespace iocache_test

#endif
