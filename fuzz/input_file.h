// What the fuzz targets share: a file in memory that holds the input, and a quiet host.
#ifndef IOCACHE_FUZZ_INPUT_FILE_H
#define IOCACHE_FUZZ_INPUT_FILE_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <string>

#include <unistd.h>

#include <iocache/iocache.h>

#include "host/iocache_host.h"

namespace iocache_fuzz {

// A folder that goes away with the process.
class scratch_folder {
public:
    scratch_folder()
    {
        std::string name = "/dev/shm/iocache-fuzz-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) std::abort();
        path_ = name;
    }
    ~scratch_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    scratch_folder(const scratch_folder&) = delete;
    scratch_folder& operator=(const scratch_folder&) = delete;
    std::string file(const char* name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

inline void write_file(const std::string& path, std::span<const uint8_t> bytes)
{
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) std::abort();
    if (!bytes.empty()) std::fwrite(bytes.data(), bytes.size(), 1, file);
    std::fclose(file);
}

inline int say_nothing(const char* /*format*/, ...)
{
    return 0;
}

// The library in in-line mode, with a small cache, a host that says nothing, and no wait for disks.
class quiet_library {
public:
    explicit quiet_library(const std::string& new_files)
    {
        setenv("CV_NO_CLOSE_SYNC", "1", 1);
        setenv("IOCACHE_CONFIG", "/dev/null", 1);
        setenv("CV_NON_CACHE_MEM", "100000000", 1);
        setenv("CV_MIN_MAIN_MEM", "8", 1);
        constexpr int32_t workers_item = 29;
        iocache_host_set_number(workers_item, 1);
        iocache_host_set_option("new_file_folder", new_files.c_str());
        iocache_host_on_message([](const char*) {});
        iocache_host_on_killer([] {});
        cv_master_init();
        cv_printf = say_nothing;
        constexpr int32_t small_frame = 128;  // so that small canvases have a reduced image
        cv_max_lres_hor = cv_max_lres_vert = small_frame;
    }
};

}  // namespace iocache_fuzz

#endif
