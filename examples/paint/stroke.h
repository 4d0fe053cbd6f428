// A stroke: stamps of a brush at even distances along the way of the pointer.
#ifndef IOCACHE_EXAMPLES_PAINT_STROKE_H
#define IOCACHE_EXAMPLES_PAINT_STROKE_H

#include <cstdint>
#include <vector>

#include "area.h"
#include "brush.h"
#include "document.h"

namespace paint {

struct point {
    double x = 0.0, y = 0.0;  // canvas pixels
};

class stroke {
public:
    stroke(document& on, const brush& with, const ink& what) : document_(on), brush_(with), ink_(what) {}

    // Sets the pen down: the first stamp. Both return the canvas pixels that may have changed.
    area begin(point where);
    // Moves the pen: as many stamps as fit on the way, also none.
    area move_to(point where);

    [[nodiscard]] int32_t stamps() const { return stamps_; }
    // A line could not be read or stored; what was painted before it stays.
    [[nodiscard]] bool failed() const { return failed_; }

private:
    area stamp(point where);
    bool stamp_row(point where, int32_t row, const area& part);

    document& document_;
    brush brush_;
    ink ink_;
    point last_stamp_;
    int32_t stamps_ = 0;
    bool failed_ = false;
    pixel_line line_;                // pixels of the row that is being painted
    std::vector<uint8_t> coverage_;  // and how much the stamp covers of them
};

}  // namespace paint

#endif
