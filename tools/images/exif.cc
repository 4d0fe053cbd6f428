// Walks the first directory of an EXIF block, which has the structure of a small TIFF file. Every
// offset is checked against the block: it comes from a file that anyone may have written.
#include "tools/images/exif.h"

#include <cstddef>

namespace iocache::tools {

namespace {

constexpr std::int32_t upright = 1;
constexpr std::int32_t last_orientation = 8;
constexpr std::uint32_t orientation_tag = 0x0112;
constexpr std::uint32_t short_type = 3;
constexpr std::size_t mark_bytes = 8;    // byte order, 42, offset of the first directory
constexpr std::size_t entry_bytes = 12;  // tag, type, count, value
constexpr std::size_t value_in_entry = 8;

class numbers {
public:
    numbers(std::span<const std::uint8_t> bytes, bool little_endian) : bytes_(bytes), little_endian_(little_endian) {}

    [[nodiscard]] std::uint32_t two_at(std::size_t offset) const
    {
        const std::uint32_t first = bytes_[offset];
        const std::uint32_t second = bytes_[offset + 1];
        return little_endian_ ? second << 8 | first : first << 8 | second;
    }
    [[nodiscard]] std::uint32_t four_at(std::size_t offset) const
    {
        const std::uint32_t first = two_at(offset);
        const std::uint32_t second = two_at(offset + 2);
        return little_endian_ ? second << 16 | first : first << 16 | second;
    }

private:
    std::span<const std::uint8_t> bytes_;
    bool little_endian_;
};

}  // namespace

std::int32_t exif_orientation(std::span<const std::uint8_t> block)
{
    if (block.size() < mark_bytes || block[0] != block[1] || (block[0] != 'I' && block[0] != 'M')) return upright;
    const numbers number(block, block[0] == 'I');
    const std::size_t directory = number.four_at(4);
    if (directory > block.size() - 2) return upright;
    const std::size_t entries = number.two_at(directory);
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t entry = directory + 2 + i * entry_bytes;
        if (entry + entry_bytes > block.size()) return upright;
        if (number.two_at(entry) != orientation_tag || number.two_at(entry + 2) != short_type) continue;
        const auto value = static_cast<std::int32_t>(number.two_at(entry + value_in_entry));
        return value >= upright && value <= last_orientation ? value : upright;
    }
    return upright;
}

}  // namespace iocache::tools
