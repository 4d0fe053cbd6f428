// A canvas that is open in the library, with its pixels by the rectangle.
//
// A new canvas is deleted with its file unless keep() was called; an opened one is closed.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include <iocache/iocache.h>

#include "tools/canvas/canvas_kind.h"
#include "tools/failure.h"
#include "tools/pipeline/canvas_block.h"
#include "tools/rectangle.h"

namespace iocache::tools {

// What the library said last, as a failure to do `what` with the canvas at `path`.
[[nodiscard]] failure library_failure(const std::string& path, const std::string& what);

class open_canvas {
public:
    // Makes a canvas with its top left pixel at (0, 0). Throws `failure`.
    [[nodiscard]] static open_canvas create(const std::string& path, canvas_kind kind, std::int32_t width,
                                            std::int32_t height);
    // Opens a canvas file, which is looked at first: what is no canvas never gets to the library. Throws `failure`.
    [[nodiscard]] static open_canvas open(const std::string& path);

    open_canvas(open_canvas&& other) noexcept;
    open_canvas& operator=(open_canvas&&) = delete;
    open_canvas(const open_canvas&) = delete;
    open_canvas& operator=(const open_canvas&) = delete;
    ~open_canvas();

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] canvas_kind kind() const;
    [[nodiscard]] rectangle bounds() const;
    [[nodiscard]] const cv_canvas& record() const { return *canvastable[number_]; }

    // Fills the block's pixels from the canvas; its place must lie within the bounds.
    void read(canvas_block& block) const;
    // Stores a block in the canvas.
    void write(const canvas_block& block);

    // Writes everything to the file, checks that it got there, and keeps the file. The canvas is closed then.
    void keep();

private:
    std::int32_t number_;
    std::string path_;

    open_canvas(std::int32_t number, std::string path) : number_(number), path_(std::move(path)) {}
    // Calls visit(first_x, last_x) for each stretch of columns that lies in one column of tiles.
    template <class Visit> void for_each_tile_column(const rectangle& place, const Visit& visit) const;
};

}  // namespace iocache::tools
