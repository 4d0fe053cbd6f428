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

failure system_failure(const std::string& path, const std::string& what)
{
    const std::string reason = std::generic_category().message(errno);
    return {exit_code::not_readable, fmt::format("{}: {}: {}", path, what, reason)};
}

}  // namespace iocache::tools
