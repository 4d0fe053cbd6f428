// The memory limit that the system sets for a group of processes. For the hardware inventory.
#ifndef IOCACHE_PLATFORM_CONTROL_GROUP_H
#define IOCACHE_PLATFORM_CONTROL_GROUP_H

#include <cstdint>
#include <limits>
#include <string>

namespace iocache::platform {

inline constexpr std::int64_t no_memory_limit = std::numeric_limits<std::int64_t>::max();

// The smallest memory limit, in bytes, of the control groups of a process, of either version, from its own group up
// to the topmost one in sight; no_memory_limit when there is none. The folder of the process is /proc/self and the
// usual mount /sys/fs/cgroup, or a test's.
std::int64_t control_group_memory_limit(const std::string& process_folder, const std::string& usual_mount);

}  // namespace iocache::platform

#endif
