// The system's reason for a failure, in words.
#include "tools/failure.h"

#include <cerrno>
#include <system_error>

#include <fmt/format.h>

namespace iocache::tools {

bool is_no_room(int error)
{
    return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

failure system_failure(const std::string& path, const std::string& what)
{
    const int error = errno;
    const exit_code code = is_no_room(error) ? exit_code::no_room : exit_code::not_readable;
    const std::string reason = std::generic_category().message(error);
    return {code, fmt::format("{}: {}: {}", path, what, reason)};
}

}  // namespace iocache::tools
