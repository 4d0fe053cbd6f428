// Every pixel of a part of a canvas, or every second, fourth, eighth... of every such row: points, not averages.
#pragma once

#include <cstdint>
#include <functional>

#include "tools/canvas/open_canvas.h"
#include "tools/pipeline/canvas_block.h"
#include "tools/rectangle.h"

namespace iocache::tools {

// Levels beyond this one would leave the largest canvas a single pixel.
inline constexpr std::int32_t highest_level = 15;

// The size of a part at a level: pixel (x, y) of it is pixel (x << level, y << level) of the part.
[[nodiscard]] rectangle sampled_size(const rectangle& part, std::int32_t level);

// Hands the pixels over in bands of whole rows, from the top; their places count from the part's own top left
// pixel, at this level. The part lies within the canvas. Throws `failure` and `interrupted`.
void read_sampled(const open_canvas& canvas, const rectangle& part, std::int32_t level,
                  const std::function<void(const canvas_block&)>& take);

}  // namespace iocache::tools
