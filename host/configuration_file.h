// Configuration files: lines of "name = value" or "item.number = value". For configuration.cc.
#ifndef IOCACHE_HOST_CONFIGURATION_FILE_H
#define IOCACHE_HOST_CONFIGURATION_FILE_H

#include <map>
#include <optional>
#include <string>

namespace iocache::host {

// Values by the canonical names of configuration.h; of two lines for one name the last counts.
using named_values = std::map<std::string, std::string, std::less<>>;

// Reads a whole file; nothing when it cannot be read. Lines that make no sense are reported through wrt_err.
std::optional<named_values> read_configuration_file(const std::string& path);

// Where the file is when the program does not say; empty when there is no such place.
std::string usual_configuration_file();

}  // namespace iocache::host

#endif
