// Makes canvas blocks of decoded image blocks: converts their colours, collects rows into bands, and
// turns them upright.
#pragma once

#include <functional>

#include "tools/colour/converter.h"
#include "tools/images/image_source.h"
#include "tools/pipeline/canvas_block.h"
#include "tools/pipeline/orientation.h"

namespace iocache::tools {

class band_builder {
public:
    // `rows` is the height of a band of a source that delivers rows; other blocks go through one by one.
    band_builder(const image_description& source, const converter& colours, std::int32_t rows)
        : source_(source),
          colours_(colours),
          rows_(rows)
    {}

    // Adds a decoded block to `band`. Whenever the band is full, `full` is called: it takes the band away
    // and leaves another in its place, or returns false to end the work, as add() then does.
    bool add(const image_block& block, canvas_block& band, const std::function<bool(canvas_block&)>& full);

private:
    const image_description& source_;
    const converter& colours_;
    std::int32_t rows_;
    std::int32_t filled_ = 0;  // rows of the current band
    canvas_block spare_;       // the other side of turning

    void convert_rows(const image_block& block, std::int32_t first, std::int32_t count, canvas_block& band);
    void turn(canvas_block& band);
};

}  // namespace iocache::tools
