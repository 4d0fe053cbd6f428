// Messages: the user's names, and the system's reason in words.
#include "tools/failure.h"

#include <cerrno>
#include <system_error>

#include <fmt/format.h>

#include "tools/output_file.h"

namespace iocache::tools {

namespace {

std::string with_final_names(std::string message)
{
    const std::string ending = partial_ending();
    for (std::size_t at = message.find(ending); at != std::string::npos; at = message.find(ending, at))
        message.erase(at, ending.size());
    return message;
}

}  // namespace

failure::failure(exit_code code, const std::string& message)
    : std::runtime_error(with_final_names(message)),
      code_(code)
{}

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
