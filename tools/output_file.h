// A file in the making: it lies beside its final place, under a name of its own, until it is complete. Nothing half made
// is ever found under the name the user gave, and nothing half made stays behind but that of a process that was killed.
#pragma once

#include <string>

#include "tools/file.h"

namespace iocache::tools {

class output_file {
public:
    // Refuses a path where something exists, unless it is an ordinary file that no program has locked, and `replace` is
    // set. Makes nothing yet.
    output_file(std::string path, bool replace);
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
    // Brings that name to the disk, for a file whose content is there already.
    void synchronise_name() const;

private:
    std::string path_;
    std::string working_path_;
    file_descriptor replaced_;  // with its lock, so that no program begins to work on what is about to go
    bool replace_;
    bool made_ = false;
};

// What a file in the making has behind its final name.
[[nodiscard]] std::string partial_ending();

// Removes every file in the making; for an end that skips destructors.
void remove_partial_files();

}  // namespace iocache::tools
