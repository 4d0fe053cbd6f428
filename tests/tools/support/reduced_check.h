// Reads reduced image and icon out of a canvas file, and computes from the canvas's pixels what they must be.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/reduced/reduced_model.h"
#include "tests/tools/support/canvas_reader.h"

namespace tool_tests {

struct point_image {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> colour;
    std::vector<std::uint8_t> alpha;  // empty for a mask and for an icon
};

// The pixels of a canvas in these columns and rows.
inline point_image picked(const canvas_pixels& canvas, const std::vector<std::int32_t>& columns,
                          const std::vector<std::int32_t>& rows)
{
    point_image image{static_cast<int>(columns.size()), static_cast<int>(rows.size()), {}, {}};
    const std::size_t bytes = canvas.picture ? 4 : 1;
    for (const std::int32_t y : rows) {
        for (const std::int32_t x : columns) {
            const auto pixel =
                static_cast<std::size_t>(y) * static_cast<std::size_t>(canvas.width) + static_cast<std::size_t>(x);
            for (std::size_t s = 0; s < bytes; ++s) image.colour.push_back(canvas.colour[pixel * bytes + s]);
            if (canvas.picture) image.alpha.push_back(canvas.alpha[pixel]);
        }
    }
    return image;
}

inline std::vector<std::int32_t> every(std::int32_t step, std::int32_t end)
{
    std::vector<std::int32_t> all;
    for (std::int32_t at = 0; at < end; at += step) all.push_back(at);
    return all;
}

inline double scale_of(const canvas_pixels& canvas)
{
    constexpr double frame = 1024.0;
    return std::max({1.0, canvas.width / frame, canvas.height / frame});
}

// The reduced image of a canvas; of one that fits the frame, all of it.
inline point_image expected_reduced(const canvas_pixels& canvas)
{
    const double scale = scale_of(canvas);
    return picked(canvas, iocache_test::sampled_axis(0, canvas.width, scale).coordinates(),
                  iocache_test::sampled_axis(0, canvas.height, scale).coordinates());
}

// The standard icon, of an image that was never different: what it does not reach is zero.
inline point_image expected_icon(const canvas_pixels& canvas)
{
    const point_image reduced = expected_reduced(canvas);
    const std::size_t bytes = canvas.picture ? 4 : 1;
    point_image icon{100, 100, std::vector<std::uint8_t>(100 * 100 * bytes), {}};
    iocache_test::put_icon(icon.colour, {100, 100}, reduced.colour, reduced.width, reduced.height, bytes);
    return icon;
}

// Where the two are in a file.
struct stored_regions {
    std::size_t icon = 0;
    std::size_t icon_bytes = 0;
    std::size_t reduced = 0;
    std::size_t reduced_bytes = 0;  // 0: the file has none
};

inline stored_regions regions_of(const std::vector<std::uint8_t>& file)
{
    const auto number = [&](std::size_t at) { return static_cast<std::size_t>(iocache_test::big_endian(file, at, 4)); };
    return {number(0x340), number(0x354), number(0x344), number(0x358)};
}

// What a file holds, without the zeros that fill a region up.
struct stored_images {
    std::vector<std::uint8_t> icon;
    std::vector<std::uint8_t> reduced;  // colour, then alpha; empty when there is none
};

inline std::vector<std::uint8_t> without_tail(const std::vector<std::uint8_t>& file, std::size_t at, std::size_t bytes)
{
    const auto from = file.begin() + static_cast<std::ptrdiff_t>(at);
    return {from, from + static_cast<std::ptrdiff_t>(bytes)};
}

inline stored_images read_stored(const std::string& path)
{
    const std::vector<std::uint8_t> file = read_bytes(path);
    const canvas_pixels canvas = read_canvas(path);
    const stored_regions at = regions_of(file);
    stored_images images;
    images.icon = without_tail(file, at.icon, std::size_t{100} * 100 * (canvas.picture ? 4 : 1));
    if (at.reduced_bytes > 0) {
        const point_image size = expected_reduced(canvas);
        images.reduced = without_tail(file, at.reduced, size.colour.size() + size.alpha.size());
    }
    return images;
}

inline stored_images expected_stored(const canvas_pixels& canvas)
{
    stored_images images;
    images.icon = expected_icon(canvas).colour;
    if (scale_of(canvas) > 1.0) {
        const point_image reduced = expected_reduced(canvas);
        images.reduced = reduced.colour;
        images.reduced.insert(images.reduced.end(), reduced.alpha.begin(), reduced.alpha.end());
    }
    return images;
}

}  // namespace tool_tests
