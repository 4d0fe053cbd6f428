// Telling image files apart by their first bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace iocache::tools {

enum class image_sort { none, tiff, jpeg, png };

inline constexpr std::size_t signature_bytes = 8;

// The sort of the file that begins like this; a shorter file is followed by zeros, which no signature ends in.
[[nodiscard]] image_sort sort_of(const std::array<std::uint8_t, signature_bytes>& file);

// The sort of the file at this path. Throws `failure` when it cannot be read.
[[nodiscard]] image_sort sort_of_file(const std::string& path);

[[nodiscard]] const char* name_of(image_sort sort);

}  // namespace iocache::tools
