// Reads configuration files and knows where they are.
#include "host/configuration_file.h"

#include "host/configuration.h"
#include "host/iocache_host.h"

#include <cstdlib>
#include <fstream>
#include <string_view>

namespace iocache::host {
namespace {

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

void report(const std::string& path, int line_number, const char* what)
{
    wrt_err((path + ", line " + std::to_string(line_number) + " : " + what).c_str());
}

// The environment's text, empty where there is none.
std::string from_environment(const char* name)
{
    const char* const text = std::getenv(name);
    return text ? text : "";
}

}  // namespace

std::optional<named_values> read_configuration_file(const std::string& path)
{
    std::ifstream file{path};
    if (!file) return std::nullopt;
    named_values values;
    int line_number = 0;
    for (std::string whole; std::getline(file, whole);) {
        ++line_number;
        const std::string_view line = trimmed(whole);
        if (line.empty() || line.starts_with('#')) continue;
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            report(path, line_number, "no '='");
            continue;
        }
        const std::string name = canonical_name(trimmed(line.substr(0, equals)));
        if (name.empty()) {
            report(path, line_number, "no such option");
            continue;
        }
        values.insert_or_assign(name, std::string{trimmed(line.substr(equals + 1))});
    }
    // A folder opens as well, but cannot be read.
    if (file.bad()) return std::nullopt;
    return values;
}

std::string usual_configuration_file()
{
    if (std::string named = from_environment("IOCACHE_CONFIG"); !named.empty()) return named;
    if (const std::string folder = from_environment("XDG_CONFIG_HOME"); !folder.empty()) {
        return folder + "/iocache/config";
    }
    const std::string home = from_environment("HOME");
    return home.empty() ? home : home + "/.config/iocache/config";
}

}  // namespace iocache::host
