// Putting a finished file in another one's place, which keeps its bytes under a second name.
#pragma once

#include <string>

namespace iocache::tools {

// Everything written to a file or a folder is on the disk. Throws `failure`.
void synchronise(const std::string& path);

// Whether both names are of one file.
[[nodiscard]] bool is_same_file(const std::string& one, const std::string& other);

// `replacement` gets the name `path`; the file that had it is called `kept` from then on, which no other file may be.
// Where the file system can give a file two names, `path` is at every moment that of the old or of the new file;
// elsewhere the old file is called `kept` alone for a moment. All three lie on one file system. Throws `failure`; then
// everything is as it was.
void swap_in(const std::string& replacement, const std::string& path, const std::string& kept);

// Renames, unless the new name is taken. Throws `failure`.
void rename_to_free_name(const std::string& from, const std::string& to);

}  // namespace iocache::tools
