// Cells of one size in a grid; colours are only as good as it takes to tell tiles apart.
#include "tools/repair/contact_sheet.h"

#include <algorithm>
#include <array>

#include "tools/images/image_sink.h"
#include "tools/reader/small_images.h"
#include "tools/repair/evidence.h"

namespace iocache::tools {

namespace {

constexpr std::size_t picture_side = 64;
constexpr std::size_t gap = 4;
constexpr std::size_t digit_width = 3;
constexpr std::size_t digit_height = 5;
constexpr std::size_t digit_scale = 2;
constexpr std::size_t label_height = digit_height * digit_scale + gap;
constexpr std::size_t cell_width = picture_side + gap;
constexpr std::size_t cell_height = picture_side + label_height + gap;
constexpr std::size_t columns = 10;  // tile, chosen slot, other slots
constexpr std::size_t most_rows = 200;
constexpr std::size_t rgb_bytes = 3;
constexpr std::uint8_t ground = 96;
constexpr std::uint32_t full = 255;

// Three bits a line, from the top.
constexpr std::array<std::array<std::uint8_t, digit_height>, 10> digits{{{7, 5, 5, 5, 7},
                                                                         {2, 6, 2, 2, 7},
                                                                         {7, 1, 7, 4, 7},
                                                                         {7, 1, 7, 1, 7},
                                                                         {5, 5, 7, 1, 1},
                                                                         {7, 4, 7, 1, 7},
                                                                         {7, 4, 7, 5, 7},
                                                                         {7, 1, 1, 1, 1},
                                                                         {7, 5, 7, 5, 7},
                                                                         {7, 5, 7, 1, 7}}};

using colour = std::array<std::uint8_t, rgb_bytes>;

// Inks laid on white; a mask is grey.
colour screen_colour(const std::uint8_t* pixel, bool is_picture)
{
    if (!is_picture) return {pixel[0], pixel[0], pixel[0]};
    const std::uint32_t light = full - pixel[3];
    colour result{};
    for (std::size_t i = 0; i < rgb_bytes; ++i) result[i] = static_cast<std::uint8_t>((full - pixel[i]) * light / full);
    return result;
}

class sheet {
public:
    explicit sheet(std::size_t rows)
        : width_(columns * cell_width + gap),
          height_(rows * cell_height + gap),
          pixels_(width_ * height_ * rgb_bytes, ground)
    {}

    void set(std::size_t x, std::size_t y, const colour& value)
    {
        std::copy(value.begin(), value.end(),
                  pixels_.begin() + static_cast<std::ptrdiff_t>((y * width_ + x) * rgb_bytes));
    }
    static std::size_t left(std::size_t column) { return gap + column * cell_width; }
    static std::size_t top(std::size_t row) { return gap + row * cell_height + label_height; }

    void label(std::size_t row, std::size_t column, std::int64_t number)
    {
        std::size_t x = left(column);
        for (const char c : std::to_string(number)) {
            draw_digit(x, top(row) - label_height, static_cast<std::size_t>(c - '0'));
            x += (digit_width + 1) * digit_scale;
        }
    }

    void write(const std::string& path) const
    {
        sink_description image;
        image.width = static_cast<std::int32_t>(width_);
        image.height = static_cast<std::int32_t>(height_);
        image.model = colour_model::rgb;
        png_sink sink(path, image);
        sink.write_rows(pixels_);
        sink.finish();
    }

private:
    std::size_t width_;
    std::size_t height_;
    std::vector<std::uint8_t> pixels_;

    void draw_digit(std::size_t left, std::size_t top, std::size_t digit)
    {
        constexpr colour white{255, 255, 255};
        for (std::size_t y = 0; y < digit_height * digit_scale; ++y) {
            for (std::size_t x = 0; x < digit_width * digit_scale; ++x) {
                const std::uint32_t line = digits[digit][y / digit_scale];
                if ((line >> (digit_width - 1 - x / digit_scale) & 1U) != 0) set(left + x, top + y, white);
            }
        }
    }
};

class sheet_writer {
public:
    sheet_writer(const canvas_file& file, const repair_plan& plan)
        : file_(file),
          map_(plan.header),
          evidence_(gather_evidence(file, map_)),
          sheet_(std::min(plan.unclear.size(), most_rows))
    {}

    void show(std::size_t row, const unclear_match& match)
    {
        if (match.tile != no_tile) {
            sheet_.label(row, 0, match.tile);
            show_evidence(row, evidence_[static_cast<std::size_t>(match.tile)]);
        }
        std::size_t column = 1;
        if (match.chosen != no_slot) show_slot(row, column++, match.chosen);
        for (const std::int64_t slot : match.candidates) {
            if (column < columns) show_slot(row, column++, slot);
        }
    }
    void write(const std::string& path) const { sheet_.write(path); }

private:
    const canvas_file& file_;
    file_map map_;
    std::vector<tile_evidence> evidence_;
    sheet sheet_;

    [[nodiscard]] colour colour_of(const std::uint8_t* pixel) const { return screen_colour(pixel, map_.has_alpha()); }

    void show_slot(std::size_t row, std::size_t column, std::int64_t slot)
    {
        sheet_.label(row, column, slot);
        const std::vector<std::uint8_t> bytes = read_slot(file_, map_, slot);
        for (std::size_t y = 0; y < picture_side; ++y) {
            for (std::size_t x = 0; x < picture_side; ++x) {
                const std::size_t line = y * static_cast<std::size_t>(map_.tile_height) / picture_side;
                const std::size_t from = line * static_cast<std::size_t>(map_.tile_width) +
                                         x * static_cast<std::size_t>(map_.tile_width) / picture_side;
                sheet_.set(sheet::left(column) + x, sheet::top(row) + y, colour_of(&bytes[from * map_.pixel_bytes()]));
            }
        }
    }

    // Each of its few pixels as a spot around its place in the tile.
    void show_evidence(std::size_t row, const tile_evidence& evidence)
    {
        const auto width = static_cast<std::size_t>(map_.tile_width);
        const auto height = static_cast<std::size_t>(map_.tile_height);
        for (std::size_t i = 0; i < evidence.places.size(); ++i) {
            const std::size_t x = evidence.places[i] % width * picture_side / width;
            const std::size_t y = evidence.places[i] / width * picture_side / height;
            const colour value = colour_of(&evidence.colour[i * map_.pixel_bytes()]);
            const std::size_t spot = spot_side(evidence.places.size());
            for (std::size_t dy = 0; dy < spot && y + dy < picture_side; ++dy) {
                for (std::size_t dx = 0; dx < spot && x + dx < picture_side; ++dx)
                    sheet_.set(sheet::left(0) + x + dx, sheet::top(row) + y + dy, value);
            }
        }
    }

    static std::size_t spot_side(std::size_t spots)
    {
        std::size_t side = 1;
        while ((side + 1) * (side + 1) * spots <= picture_side * picture_side) ++side;
        return side;
    }
};

}  // namespace

void write_contact_sheet(const canvas_file& damaged, const repair_plan& plan, const std::string& path)
{
    sheet_writer writer(damaged, plan);
    for (std::size_t row = 0; row < std::min(plan.unclear.size(), most_rows); ++row) {
        writer.show(row, plan.unclear[row]);
    }
    writer.write(path);
}

}  // namespace iocache::tools
