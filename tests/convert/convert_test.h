// What the conversion tests share: a host that has a name for a new file, or none.
#ifndef IOCACHE_TESTS_CONVERT_CONVERT_TEST_H
#define IOCACHE_TESTS_CONVERT_CONVERT_TEST_H

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/file_reader.h"
#include "tests/support/library.h"

namespace iocache_test {

class convert_test : public library_test {
protected:
    // New canvases of the host lie here; a folder that is not there leaves the host without a name.
    std::string new_files() const { return path("new"); }
    void SetUp() override
    {
        std::filesystem::create_directory(new_files());
        iocache_host_set_option("new_file_folder", new_files().c_str());
    }
    void TearDown() override { iocache_host_set_option("new_file_folder", nullptr); }

    std::string write(const std::string& name, const bytes& contents) const
    {
        write_whole_file(path(name), contents);
        return path(name);
    }
    bool no_new_file_is_left() const { return std::filesystem::is_empty(new_files()); }
};

// A folder in memory, on another file system than the test's own, which has the host's new files for as long as this
// lives.
class new_files_elsewhere {
public:
    new_files_elsewhere()
    {
        std::string name = "/dev/shm/iocache-test-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) return;
        path_ = name;
        iocache_host_set_option("new_file_folder", path_.c_str());
    }
    ~new_files_elsewhere()
    {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    new_files_elsewhere(const new_files_elsewhere&) = delete;
    new_files_elsewhere& operator=(const new_files_elsewhere&) = delete;

    bool is_elsewhere(const std::string& path) const
    {
        struct stat here = {};
        struct stat there = {};
        return !path_.empty() && stat(path.c_str(), &here) == 0 && stat(path_.c_str(), &there) == 0 &&
               here.st_dev != there.st_dev;
    }
    bool is_empty() const { return std::filesystem::is_empty(path_); }

private:
    std::string path_;
};

// One byte of the icon table's source column for icon column c, by the running sum.
inline int32_t icon_source(int32_t c, int32_t icon_width, int32_t icon_height, int32_t width, int32_t height)
{
    const double factor =
        height < width ? static_cast<double>(width) / icon_width : static_cast<double>(height) / icon_height;
    double sum = 0.0;
    for (int32_t i = 0; i < c; ++i) sum += factor;
    return static_cast<int32_t>(sum + 0.01);
}

// Canvas columns (rows) that stand in the reduced image: the first at or past a running sum of `scale`.
inline std::vector<int32_t> sampled(int32_t length, double scale)
{
    std::vector<int32_t> chosen;
    double threshold = 0.0;
    for (int32_t j = 0; j < length; ++j) {
        if (threshold > j) continue;
        chosen.push_back(j);
        threshold += scale;
    }
    return chosen;
}

}  // namespace iocache_test

#endif
