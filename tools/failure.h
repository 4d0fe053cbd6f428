// How a command of the tool ends when it cannot do what was asked: a message for a person and the
// exit code that scripts rely on. Thrown anywhere, told to the user once, in main.cc.
#pragma once

#include <stdexcept>
#include <string>

namespace iocache::tools {

// Part of the command's interface: scripts test these numbers.
enum class exit_code : int {
    done = 0,
    different = 1,     // compare or diff found a difference, verify or repair damage
    usage = 2,         // the command line makes no sense
    not_readable = 3,  // something could not be read or written
    unsupported = 4,   // not a canvas, not an image, or of a sort that is not supported
    no_room = 5,       // would not fit: on the disk, in the format, in the memory granted
};

class failure : public std::runtime_error {
public:
    // A file in the making is named as the user named it.
    failure(exit_code code, const std::string& message);
    [[nodiscard]] exit_code code() const noexcept { return code_; }

private:
    exit_code code_;
};

// Whether this error of the system says that there is no room for what is to be written: on the disk, in someone's
// share of it, or within the limit for the size of a file.
[[nodiscard]] bool is_no_room(int error);

// "PATH: REASON", the reason being the system's for errno as it stands.
[[nodiscard]] failure system_failure(const std::string& path, const std::string& what);

}  // namespace iocache::tools
