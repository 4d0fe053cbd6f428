// A folder for the files of one test, gone with everything in it when the test ends.
#ifndef IOCACHE_TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define IOCACHE_TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <stdlib.h>

class temporary_folder {
public:
    temporary_folder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "iocache-test-XXXXXX").string();
        if (!mkdtemp(name.data())) throw std::runtime_error{"cannot make " + name};
        path_ = name;
    }
    ~temporary_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

    // Writes a file, with the folders above it, and returns its path.
    std::string write(const std::string& name, const std::string& contents) const
    {
        const std::filesystem::path file = std::filesystem::path{path_} / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream{file} << contents;
        return file.string();
    }

private:
    std::string path_;
};

#endif
