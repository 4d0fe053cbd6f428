// Control characters are the first 32 of ASCII and DEL, and a second set of 32 that UTF-8 writes in two bytes.
#include "tools/printable.h"

#include <fmt/format.h>

namespace iocache::tools {

namespace {

bool is_control(char character)
{
    constexpr unsigned char first_visible = 0x20;
    constexpr unsigned char del = 0x7F;
    const auto byte = static_cast<unsigned char>(character);
    return byte < first_visible || byte == del;
}

// Whether the text begins with one of the second set.
bool begins_with_long_control(std::string_view text)
{
    constexpr unsigned char lead = 0xC2;
    constexpr unsigned char first = 0x80;
    constexpr unsigned char last = 0x9F;
    if (text.size() < 2 || static_cast<unsigned char>(text[0]) != lead) return false;
    const auto byte = static_cast<unsigned char>(text[1]);
    return byte >= first && byte <= last;
}

}  // namespace

std::string printable(std::string_view text)
{
    std::string shown;
    while (!text.empty()) {
        const std::size_t controls = begins_with_long_control(text) ? 2 : is_control(text[0]) ? 1 : 0;
        for (const char byte : text.substr(0, controls)) {
            shown += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
        }
        if (controls == 0) shown += text[0];
        text.remove_prefix(controls == 0 ? 1 : controls);
    }
    return shown;
}

}  // namespace iocache::tools
