// The pixels of a canvas file by the rectangle, read by the file's layout. The library is not asked.
#pragma once

#include "tools/pipeline/canvas_block.h"
#include "tools/reader/canvas_file.h"
#include "tools/reader/file_map.h"
#include "tools/reader/slot_table.h"

namespace iocache::tools {

class pixel_reader {
public:
    // Throws `failure`: `unsupported` for a file that opening would refuse.
    explicit pixel_reader(const canvas_file& file);

    [[nodiscard]] const file_map& map() const { return map_; }
    [[nodiscard]] const slot_table& table() const { return table_; }
    // Fills the block; what no tile holds is zero.
    void read(canvas_block& block) const;

private:
    const canvas_file& file_;
    file_map map_;
    slot_table table_;

    void take(canvas_block& block, std::int64_t tile) const;
};

}  // namespace iocache::tools
