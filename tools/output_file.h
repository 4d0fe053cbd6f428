// A file in the making. Nothing half made is ever found under the name the user gave, unless the user
// of this class makes it there, and nothing half made stays behind.
#pragma once

#include <string>

namespace iocache::tools {

class output_file {
public:
    enum class place {
        beside,       // under a name of its own beside the final one, which it takes at the end
        final_place,  // under the final name, unless an older file has to stay until the end
    };

    // Refuses a path where something exists, unless it is an ordinary file and `replace` is set. Makes nothing yet.
    output_file(std::string path, bool replace, place where);
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;
    // Removes what was made, unless it was committed.
    ~output_file();

    // Where to make it.
    [[nodiscard]] const std::string& working_path() const { return working_path_; }
    // The file at working_path() is there, and is this object's to remove.
    void made();
    // It is complete: gives it its name.
    void commit();

private:
    std::string path_;
    std::string working_path_;
    bool replace_;
    bool made_ = false;
};

// Removes every file in the making; for an end that skips destructors.
void remove_partial_files();

}  // namespace iocache::tools
