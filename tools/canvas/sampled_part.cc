// A band never holds rows of two rows of tiles unless it has to, and goes through its tiles one after the
// other, so that each tile is brought in once for all of its sampled rows.
#include "tools/canvas/sampled_part.h"

#include <algorithm>

#include "tools/interrupt.h"

namespace iocache::tools {

namespace {

class band_reader {
public:
    band_reader(const open_canvas& canvas, const rectangle& part, std::int32_t level)
        : canvas_(canvas),
          part_(part),
          level_(level)
    {}

    void read(canvas_block& band)
    {
        const std::int32_t columns = band.place.width;
        for (std::int32_t first = 0; first < columns;) {
            std::int32_t end = first + 1;
            while (end < columns && tile_column(end) == tile_column(first)) ++end;
            for (std::int32_t row = 0; row < band.place.height; ++row) read_run(band, row, first, end);
            first = end;
        }
    }

private:
    const open_canvas& canvas_;
    rectangle part_;
    std::int32_t level_;
    canvas_block run_;  // part of one row of one tile

    [[nodiscard]] std::int32_t canvas_x(std::int32_t column) const { return part_.x + (column << level_); }
    [[nodiscard]] std::int32_t tile_column(std::int32_t column) const
    {
        return (canvas_x(column) + canvas_.record().geom_orig.x_offset) >> canvas_.record().tile_shift_x;
    }

    void read_run(canvas_block& band, std::int32_t row, std::int32_t first, std::int32_t end)
    {
        const std::int32_t y = part_.y + ((band.place.y + row) << level_);
        run_.place = {canvas_x(first), y, canvas_x(end - 1) - canvas_x(first) + 1, 1};
        canvas_.read(run_);
        const std::size_t bytes = colour_bytes(canvas_.kind());
        std::size_t to = static_cast<std::size_t>(row) * static_cast<std::size_t>(band.place.width) +
                         static_cast<std::size_t>(first);
        for (std::size_t from = 0; from < run_.place.pixels(); from += std::size_t{1} << level_, ++to) {
            std::copy_n(&run_.colour[from * bytes], bytes, &band.colour[to * bytes]);
            if (!band.alpha.empty()) band.alpha[to] = run_.alpha[from];
        }
    }
};

}  // namespace

rectangle sampled_size(const rectangle& part, std::int32_t level)
{
    return {0, 0, ((part.width - 1) >> level) + 1, ((part.height - 1) >> level) + 1};
}

void read_sampled(const open_canvas& canvas, const rectangle& part, std::int32_t level,
                  const std::function<void(const canvas_block&)>& take)
{
    const rectangle size = sampled_size(part, level);
    const std::int32_t rows_of_a_tile = std::max(1, canvas.record().tile_height >> level);
    const std::int32_t rows = std::min(band_rows(size.width, canvas.kind()), rows_of_a_tile);
    band_reader reader(canvas, part, level);
    canvas_block band;
    for (std::int32_t y = 0; y < size.height; y += rows) {
        check_interrupt();
        band.shape({0, y, size.width, std::min(rows, size.height - y)}, canvas.kind());
        reader.read(band);
        take(band);
    }
}

}  // namespace iocache::tools
