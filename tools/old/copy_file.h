// A copy of a file, without its pages going through this process where the system can do that.
#pragma once

#include <string>

namespace iocache::tools {

// Makes `to`, which must not exist, readable and writable for its owner only. Throws `failure`; `no_room` for a full
// disk.
void copy_file(const std::string& from, const std::string& to);

}  // namespace iocache::tools
