// The system's reason for a failure, in words.
#include "tools/failure.h"

#include <cerrno>
#include <system_error>

#include <fmt/format.h>

namespace iocache::tools {

failure system_failure(const std::string& path, const std::string& what)
{
    const std::string reason = std::generic_category().message(errno);
    return {exit_code::not_readable, fmt::format("{}: {}: {}", path, what, reason)};
}

}  // namespace iocache::tools
