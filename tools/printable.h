// Texts out of files, for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace iocache::tools {

// The text with its control characters as \xNN: whoever made the file does not get to steer the terminal.
[[nodiscard]] std::string printable(std::string_view text);

}  // namespace iocache::tools
