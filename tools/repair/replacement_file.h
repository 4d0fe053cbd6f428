// A new content for a file that exists. It is made beside the file, and takes its name in one step once all of it is
// on the disk: whatever ends the program, the name leads to the old content or to the new one, whole.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/file.h"
#include "tools/output_file.h"
#include "tools/reader/canvas_file.h"

namespace iocache::tools {

class replacement_file {
public:
    // Makes an empty file beside the one at `path`, with its owner and its rights. A link is followed.
    explicit replacement_file(const std::string& path);

    // Where the new content is until it takes its place.
    [[nodiscard]] const std::string& working_path() const { return output_.working_path(); }
    // Takes the first bytes of a file, as many of these as it has.
    void copy_from(const canvas_file& file, std::int64_t bytes);
    // Cuts it, or makes it longer with zeros.
    void resize(std::int64_t bytes);
    void write_at(std::int64_t offset, std::span<const std::uint8_t> bytes);

    // Replaces the old content, which is gone then.
    void take_place();
    // The same, but the old file stays under the name returned: its own with the ending, and a number if that is taken.
    std::string take_place_keeping(const std::string& ending);

private:
    std::string path_;
    output_file output_;
    file_descriptor file_;

    void synchronise();
    [[nodiscard]] std::string keep_by_exchange(const std::string& kept);
};

}  // namespace iocache::tools
