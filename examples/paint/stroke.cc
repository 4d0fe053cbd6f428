#include "stroke.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr double closest_stamps = 1.0;  // pixels
}

paint::area paint::stroke::begin(point where)
{
    return stamp(where);
}

paint::area paint::stroke::move_to(point where)
{
    const double distance = std::max(closest_stamps, brush_.spacing * 2.0 * brush_.radius);
    area changed;
    for (;;) {
        const double dx = where.x - last_stamp_.x;
        const double dy = where.y - last_stamp_.y;
        const double left_to_go = std::hypot(dx, dy);
        if (left_to_go < distance) return changed;
        const double part = distance / left_to_go;
        changed = changed.joined_with(stamp({last_stamp_.x + dx * part, last_stamp_.y + dy * part}));
    }
}

paint::area paint::stroke::stamp(point where)
{
    last_stamp_ = where;
    ++stamps_;
    const area part = stamp_area(brush_, where.x, where.y).common_with(document_.bounds());
    if (part.is_empty()) return {};
    for (int32_t row = part.top; row <= part.bottom; ++row) {
        if (stamp_row(where, row, part)) continue;
        failed_ = true;
        break;
    }
    return part;
}

bool paint::stroke::stamp_row(point where, int32_t row, const area& part)
{
    if (!document_.read_line(row, part.left, part.right, line_)) return false;
    coverage_.resize(static_cast<size_t>(part.width()));
    cover_row(brush_, where.x, where.y, row, part.left, coverage_);
    if (document_.is_picture()) {
        blend_picture(coverage_, ink_, line_.colour, line_.alpha);
    } else {
        blend_mask(coverage_, ink_, line_.colour);
    }
    return document_.store_line(row, part.left, part.right, line_);
}
