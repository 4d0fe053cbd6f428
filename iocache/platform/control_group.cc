// Finds the control groups of a process and the folders where their limits can be read.
//
// The process's "cgroup" file names its group in each hierarchy, its "mountinfo" file tells where the hierarchies are
// mounted and which group is the mounted one: in a container mostly not the topmost. A limit of any group on the way
// up holds for all groups below it. Nearly everywhere the hierarchies are mounted at the same place, and a group that
// is found there is the one: the mount table, which is long where many containers run, is not read then.
#include "iocache/platform/control_group.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace iocache::platform {
namespace {

struct hierarchy {
    std::string group;        // the process's group, a path that starts with '/'
    std::string limit_file;   // name of the file with the memory limit
    std::string file_system;  // what it is mounted as
    std::string usual_place;  // where, below the usual mount of all control groups
    bool shared_mounts;       // version 1: only the mounts that list the memory controller are meant
};

struct mount {
    std::string root;    // the group that is mounted
    std::string folder;  // where
};

// All of a file; empty for one that cannot be read. These files are made as they are read and have no size.
std::string text_of(const std::string& path)
{
    constexpr std::size_t bytes_at_once = 4096;
    std::string text;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return text;
    std::array<char, bytes_at_once> some;
    for (ssize_t got = 0; (got = read(file, some.data(), some.size())) > 0;)
        text.append(some.data(), static_cast<std::size_t>(got));
    close(file);
    return text;
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    for (std::size_t from = 0; from < text.size();) {
        const std::size_t end = std::min(text.find(separator, from), text.size());
        parts.push_back(text.substr(from, end - from));
        from = end + 1;
    }
    return parts;
}

bool lists_memory(const std::string& names)
{
    const std::vector<std::string> list = split(names, ',');
    return std::find(list.begin(), list.end(), "memory") != list.end();
}

// Lines are "number:controllers:group"; version 2 has number 0 and no controllers. A group may hold colons.
std::vector<hierarchy> hierarchies_of(const std::string& process_folder)
{
    std::vector<hierarchy> found;
    for (const std::string& line : split(text_of(process_folder + "/cgroup"), '\n')) {
        const std::size_t controllers = line.find(':') + 1;
        const std::size_t group = line.find(':', controllers) + 1;
        if (controllers == 0 || group == 0) continue;
        const std::string names = line.substr(controllers, group - 1 - controllers);
        if (names.empty()) {
            found.push_back({line.substr(group), "memory.max", "cgroup2", "", false});
        } else if (lists_memory(names)) {
            // The memory of a process is in the hands of one hierarchy only.
            return {{line.substr(group), "memory.limit_in_bytes", "cgroup", "/memory", true}};
        }
    }
    return found;
}

// The mount table writes blanks and the like as a backslash and three octal digits.
std::string unescaped(const std::string& text)
{
    constexpr std::size_t digits = 3;
    constexpr int octal = 8;
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        int code = 0;
        const char* const first = text.data() + at + 1;
        if (text[at] == '\\' && at + digits < text.size() &&
            std::from_chars(first, first + digits, code, octal).ptr == first + digits) {
            result += static_cast<char>(code);
            at += digits;
        } else {
            result += text[at];
        }
    }
    return result;
}

// Lines are "id parent device root folder options optional... - file_system source super_options".
std::vector<mount> mounts_of(const hierarchy& wanted, const std::string& process_folder)
{
    constexpr std::size_t root_field = 3;
    constexpr std::size_t folder_field = 4;
    constexpr std::size_t fields_after_separator = 3;
    std::vector<mount> found;
    for (const std::string& line : split(text_of(process_folder + "/mountinfo"), '\n')) {
        if (line.find(" - " + wanted.file_system + " ") == std::string::npos)
            continue;  // most lines: looked at no further
        const std::vector<std::string> fields = split(line, ' ');
        const auto separator = std::find(fields.begin(), fields.end(), "-");
        if (separator - fields.begin() <= static_cast<std::ptrdiff_t>(folder_field)) continue;
        if (fields.end() - separator <= static_cast<std::ptrdiff_t>(fields_after_separator)) continue;
        if (separator[1] != wanted.file_system) continue;
        if (wanted.shared_mounts && !lists_memory(separator[fields_after_separator])) continue;
        found.push_back({unescaped(fields[root_field]), unescaped(fields[folder_field])});
    }
    return found;
}

// Where the group lies below the mounted one; empty when it is that one, or cannot be seen through this mount.
std::string group_below(const mount& mounted, const std::string& group)
{
    if (group.find("/..") != std::string::npos) return {};
    const std::string root = mounted.root == "/" ? "" : mounted.root;
    if (!group.starts_with(root)) return {};
    const std::string below = group.substr(root.size());
    return below.starts_with('/') && below != "/" ? below : std::string{};
}

std::int64_t read_limit(const std::string& path)
{
    const std::string text = text_of(path);
    std::int64_t bytes = 0;
    // "max", a number beyond 64 bits, and a file that is not there are all no limit.
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), bytes);
    return error == std::errc{} && bytes > 0 ? bytes : no_memory_limit;
}

std::int64_t smallest_limit(const hierarchy& of, const mount& mounted)
{
    std::int64_t smallest = no_memory_limit;
    std::string below = group_below(mounted, of.group);
    for (;;) {
        smallest = std::min(smallest, read_limit(mounted.folder + below + "/" + of.limit_file));
        if (below.empty()) return smallest;
        below.erase(below.rfind('/'));
    }
}

// The mount at the usual place, if the group can be seen there.
std::vector<mount> usual_mount_of(const hierarchy& of, const std::string& usual_mount)
{
    const std::string folder = usual_mount + of.usual_place;
    const std::string group = of.group == "/" ? "" : of.group;
    if (group.find("/..") != std::string::npos) return {};
    if (access((folder + group + "/" + of.limit_file).c_str(), R_OK) != 0) return {};
    return {{"/", folder}};
}

}  // namespace

std::int64_t control_group_memory_limit(const std::string& process_folder, const std::string& usual_mount)
{
    std::int64_t smallest = no_memory_limit;
    for (const hierarchy& each : hierarchies_of(process_folder)) {
        std::vector<mount> mounts = usual_mount_of(each, usual_mount);
        if (mounts.empty()) mounts = mounts_of(each, process_folder);
        for (const mount& mounted : mounts) smallest = std::min(smallest, smallest_limit(each, mounted));
    }
    return smallest;
}

}  // namespace iocache::platform
