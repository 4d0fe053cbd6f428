// The options of the reference host by name, for the files of this folder.
#ifndef IOCACHE_HOST_CONFIGURATION_H
#define IOCACHE_HOST_CONFIGURATION_H

#include <string>
#include <string_view>

namespace iocache::host {

// The one name under which the values of an option are kept, for its name and for "item.number" alike; empty for
// anything else.
std::string canonical_name(std::string_view name);

// The value of an option by its name, empty when it has none.
std::string option_text(std::string_view name);

}  // namespace iocache::host

#endif
