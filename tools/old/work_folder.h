// Where an old file is converted: a folder beside it, NAME.converting, that holds the copy which becomes the canvas.
// Nothing in it is ever the only one of its kind, so whatever a killed run left there may be removed.
#pragma once

#include <string>

#include "tools/file.h"

namespace iocache::tools {

class work_folder {
public:
    // Makes the folder, empty. What an earlier run left is removed. Throws `failure` when something else has the name.
    explicit work_folder(const std::string& original);
    work_folder(const work_folder&) = delete;
    work_folder& operator=(const work_folder&) = delete;
    // Removes it with what is in it.
    ~work_folder();

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] std::string copy() const { return copy_of(original_); }

    [[nodiscard]] static std::string path_of(const std::string& original);
    [[nodiscard]] static std::string copy_of(const std::string& original);
    // NAME of a folder NAME.converting; empty for anything else.
    [[nodiscard]] static std::string original_of(const std::string& path);
    // Whether an earlier run left something, and removing that; what is not an earlier run's stays, and throws.
    [[nodiscard]] static bool is_left(const std::string& original);
    static void remove_left(const std::string& original);

private:
    std::string original_;
    std::string path_;
};

// Two runs never convert one file at the same time. Where the file system has no locks there is none.
class file_lock {
public:
    // Waits for a moment; throws `failure` when another run keeps the file.
    explicit file_lock(const std::string& path);

private:
    file_descriptor file_;  // the lock goes with it
};

}  // namespace iocache::tools
