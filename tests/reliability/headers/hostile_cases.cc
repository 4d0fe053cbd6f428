#include "tests/reliability/headers/hostile_cases.h"

#include <limits>

namespace {

using namespace iocache_test;
namespace canvas = iocache::canvas;

constexpr int byte_values = 256;

bytes big_endian_bytes(int64_t value, size_t count)
{
    bytes result(count);
    put_big_endian(result, 0, count, static_cast<uint64_t>(value));
    return result;
}

std::vector<bytes> edge_values(const canvas::file_field& field)
{
    std::vector<int64_t> values;
    if (field.bytes == 2) values = {-32'768, -1, 0, 1, 2, 255, 257, 32'767};
    if (field.bytes == 4) {
        values = {std::numeric_limits<int32_t>::min(), -1, 0, 1, 512, 4096, 65'536, 16'777'215,
                  std::numeric_limits<int32_t>::max()};
    }
    // Doubles: zero, minus one, the smallest, infinity, not a number.
    if (field.bytes == 8) values = {0, -0x4010000000000000, 1, 0x7FF0000000000000, 0x7FF8000000000000};
    std::vector<bytes> all;
    all.reserve(values.size());
    for (const int64_t value : values) all.push_back(big_endian_bytes(value, field.bytes));
    return all;
}

std::vector<variant> edge_pairs(const canvas::file_field& one, const canvas::file_field& other)
{
    std::vector<variant> variants;
    for (const bytes& a : edge_values(one)) {
        for (const bytes& b : edge_values(other)) variants.push_back({{one.offset, a}, {other.offset, b}});
    }
    return variants;
}

}  // namespace

std::vector<canvas::file_field> iocache_test::fields_that_matter()
{
    std::vector<canvas::file_field> fields;
    for (const canvas::file_field& field : canvas::header_fields) {
        const bool is_read = !field.name.starts_with("reserved") && !field.name.starts_with("tone") &&
                             !field.name.starts_with("orig") && field.name != "magic";
        if (is_read) fields.push_back(field);
    }
    return fields;
}

std::vector<hostile_case> iocache_test::all_cases(size_t fields)
{
    std::vector<hostile_case> all;
    for (size_t place = 0; place < size_t{canvas::header_bytes}; ++place) all.push_back({false, place, 0});
    for (size_t one = 0; one < fields; ++one) {
        for (size_t other = one + 1; other < fields; ++other) all.push_back({true, one, other});
    }
    return all;
}

std::string iocache_test::name_of(const hostile_case& one, const std::vector<canvas::file_field>& fields)
{
    if (!one.is_pair) return "byte " + std::to_string(one.first);
    return std::string(fields[one.first].name) + " and " + std::string(fields[one.second].name);
}

std::vector<variant> iocache_test::variants_of(const hostile_case& one, const std::vector<canvas::file_field>& fields,
                                               const bytes& header)
{
    if (one.is_pair) return edge_pairs(fields[one.first], fields[one.second]);
    std::vector<variant> variants;
    for (int value = 0; value < byte_values; ++value) {
        if (value == header[one.first]) continue;
        variants.push_back({{one.first, {static_cast<uint8_t>(value)}}});
    }
    return variants;
}
