// Reading a rectangle from the command line.
#include "tools/rectangle.h"

#include <array>
#include <charconv>
#include <stdexcept>

namespace iocache::tools {

rectangle parse_rectangle(const std::string& text)
{
    std::array<std::int32_t, 4> numbers{};
    const char* at = text.data();
    const char* const end = at + text.size();
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        if (i > 0 && (at == end || *at++ != ',')) throw std::invalid_argument("expected X,Y,W,H: " + text);
        const auto [next, error] = std::from_chars(at, end, numbers[i]);
        if (error != std::errc{}) throw std::invalid_argument("expected X,Y,W,H: " + text);
        at = next;
    }
    if (at != end || numbers[2] < 1 || numbers[3] < 1) throw std::invalid_argument("expected X,Y,W,H: " + text);
    return {numbers[0], numbers[1], numbers[2], numbers[3]};
}

}  // namespace iocache::tools
