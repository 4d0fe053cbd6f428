// A large RGB photograph that no camera took: gradients, waves and grain, so that neither decoding nor converting it is
// easier than a real one. Written once as JPEG and as TIFF; decoded as plainly as their libraries can.
#pragma once

#include <cstdint>
#include <filesystem>

namespace iocache_bench {

inline constexpr int32_t photograph_bytes = 3;  // a pixel

// One row of the photograph.
void photograph_row(int32_t y, int32_t side, uint8_t* pixels);

void make_jpeg(const std::filesystem::path& path, int32_t side);
void make_tiff(const std::filesystem::path& path, int32_t side);

// Decodes every row into one buffer; seconds.
double decode_jpeg(const std::filesystem::path& path);
double decode_tiff(const std::filesystem::path& path);

}  // namespace iocache_bench
