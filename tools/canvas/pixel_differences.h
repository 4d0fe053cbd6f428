// Two blocks of canvas pixels against each other: how many pixels differ, and which is the first of them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/pipeline/canvas_block.h"
#include "tools/rectangle.h"

namespace iocache::tools {

class pixel_differences {
public:
    // How the two are called in what first() says, such as "the canvas" and "the image".
    pixel_differences(std::string one, std::string other, std::vector<rectangle> exceptions = {})
        : one_name_(std::move(one)),
          other_name_(std::move(other)),
          exceptions_(std::move(exceptions))
    {}

    // Called for each pixel that differs.
    void on_difference(std::function<void(std::int64_t x, std::int64_t y)> note) { note_ = std::move(note); }

    // Compares blocks of one kind and size. Places are those of `one`; blocks may come in any order.
    void compare(const canvas_block& one, const canvas_block& other);

    [[nodiscard]] std::int64_t count() const { return count_; }
    // The first difference in reading order, in words; empty when there is none.
    [[nodiscard]] const std::string& first() const { return first_text_; }
    [[nodiscard]] std::int64_t first_x() const { return first_x_; }
    [[nodiscard]] std::int64_t first_y() const { return first_y_; }

private:
    std::string one_name_;
    std::string other_name_;
    std::vector<rectangle> exceptions_;
    std::function<void(std::int64_t, std::int64_t)> note_;
    std::int64_t count_ = 0;
    std::int64_t first_x_ = 0;
    std::int64_t first_y_ = 0;
    std::string first_text_;

    void add(const canvas_block& one, const canvas_block& other, std::size_t pixel);
};

}  // namespace iocache::tools
