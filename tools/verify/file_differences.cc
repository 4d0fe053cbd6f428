// Numbers by the list of the layout, texts by a list of their own.
#include "tools/verify/file_differences.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include <fmt/format.h>

#include "iocache/canvas/file_layout.h"
#include "tools/reader/sound_header.h"

namespace iocache::tools {

namespace {

constexpr auto text_fields = std::to_array<canvas::file_field>({
    {offsetof(cv_header, gamma_text), sizeof(cv_header::gamma_text), "gamma_text"},
    {offsetof(cv_header, red_xyz), sizeof(cv_header::red_xyz), "red_xyz"},
    {offsetof(cv_header, green_xyz), sizeof(cv_header::green_xyz), "green_xyz"},
    {offsetof(cv_header, blue_xyz), sizeof(cv_header::blue_xyz), "blue_xyz"},
    {offsetof(cv_header, white_xyz), sizeof(cv_header::white_xyz), "white_xyz"},
    {offsetof(cv_header, header_part), sizeof(cv_header::header_part), "header_part"},
    {offsetof(cv_header, host_name), sizeof(cv_header::host_name), "host_name"},
    {offsetof(cv_header, create_user), sizeof(cv_header::create_user), "create_user"},
    {offsetof(cv_header, create_date), sizeof(cv_header::create_date), "create_date"},
    {offsetof(cv_header, user), sizeof(cv_header::user), "user"},
    {offsetof(cv_header, date), sizeof(cv_header::date), "date"},
    {offsetof(cv_header, aspect_tag), sizeof(cv_header::aspect_tag), "aspect_tag"},
    {offsetof(cv_header, color_model), sizeof(cv_header::color_model), "color_model"},
    {offsetof(cv_header, tqcms_procname), sizeof(cv_header::tqcms_procname), "tqcms_procname"},
});

const std::uint8_t* at(const cv_header& header, std::size_t offset)
{
    return reinterpret_cast<const std::uint8_t*>(&header) + offset;
}

bool is_floating(const canvas::file_field& field)
{
    constexpr std::array<std::string_view, 4> floats{"x_size", "y_size", "x_resolution", "y_resolution"};
    return field.bytes == sizeof(double) || std::ranges::find(floats, field.name) != floats.end();
}

std::string number_text(const cv_header& header, const canvas::file_field& field)
{
    if (!is_floating(field)) return fmt::format("{}", integer_of(header, field));
    if (field.bytes == sizeof(double)) {
        double value = 0.0;
        std::memcpy(&value, at(header, field.offset), sizeof value);
        return fmt::format("{}", value);
    }
    float value = 0.0F;
    std::memcpy(&value, at(header, field.offset), sizeof value);
    return fmt::format("{}", value);
}

std::string text_of(const cv_header& header, const canvas::file_field& field)
{
    const auto* const text = reinterpret_cast<const char*>(at(header, field.offset));
    return {text, strnlen(text, field.bytes)};
}

bool holds_same(const canvas_file& one, const file_region& mine, const canvas_file& other, const file_region& its)
{
    constexpr std::int64_t piece_bytes = std::int64_t{1} << 20;
    if (mine.bytes != its.bytes) return false;
    std::vector<std::uint8_t> a;
    std::vector<std::uint8_t> b;
    for (std::int64_t done = 0; done < mine.bytes; done += piece_bytes) {
        const auto count = static_cast<std::size_t>(std::min(piece_bytes, mine.bytes - done));
        a.resize(count);
        b.resize(count);
        one.read_at(mine.offset + done, a);
        other.read_at(its.offset + done, b);
        if (a != b) return false;
    }
    return true;
}

}  // namespace

std::vector<header_difference> header_differences(const canvas_file& one, const canvas_file& other)
{
    std::vector<header_difference> all;
    const auto differs = [&](const canvas::file_field& field) {
        return std::memcmp(at(one.header(), field.offset), at(other.header(), field.offset), field.bytes) != 0;
    };
    for (const canvas::file_field& field : canvas::header_fields) {
        if (differs(field))
            all.push_back(
                {std::string(field.name), number_text(one.header(), field), number_text(other.header(), field)});
    }
    for (const canvas::file_field& field : text_fields) {
        if (differs(field))
            all.push_back({std::string(field.name), text_of(one.header(), field), text_of(other.header(), field)});
    }
    return all;
}

std::vector<std::string> region_differences(const canvas_file& one, const canvas_file& other)
{
    std::vector<std::string> names;
    const std::vector<file_region> mine = one.regions();
    const std::vector<file_region> its = other.regions();
    // Not the header in front, nor table and tiles at the end.
    for (std::size_t i = 1; i + 2 < mine.size(); ++i) {
        if (!holds_same(one, mine[i], other, its[i])) names.emplace_back(mine[i].name);
    }
    return names;
}

}  // namespace iocache::tools
