// Where the values of configuration items come from: this program, the environment, a file, in this order.
//
// Values are texts. They are kept under one name for each option: "item.number" where it has a number, else the name
// of the option. Everything is guarded by one mutex; texts that config_get handed out live until the same item gets
// another value.
#include "host/configuration.h"

#include "host/configuration_file.h"
#include "host/iocache_host.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <utility>

namespace iocache::host {
namespace {

enum class value_kind { text, number };

struct option {
    int32_t item;  // no_item for what only the host itself asks for
    std::string_view name;
    value_kind kind;
};

constexpr int32_t no_item = -1;

constexpr std::array options{
    option{22, "product_name", value_kind::text},
    option{23, "product_release", value_kind::text},
    option{29, "workers", value_kind::number},
    option{41, "largest_side", value_kind::number},
    option{47, "tile_width", value_kind::number},
    option{48, "tile_height", value_kind::number},
    option{49, "memory_left_free", value_kind::number},
    option{no_item, "new_file_folder", value_kind::text},
    option{no_item, "disk_full_program", value_kind::text},
};

constexpr std::string_view numbered = "item.";

struct store {
    std::mutex mutex;
    named_values set_by_program;
    named_values from_file;
    bool file_was_read = false;  // or is being read
    bool program_chose_file = false;
    named_values handed_out;  // what config_get's callers point into
};

// Never destroyed: a thread may still ask while the program ends.
store& the_store()
{
    static store& only = *new store;
    return only;
}

template <class Condition> const option* find_option(Condition condition)
{
    const auto* const found = std::find_if(options.begin(), options.end(), condition);
    return found == options.end() ? nullptr : found;
}

const option* option_named(std::string_view name)
{
    return find_option([&](const option& each) { return each.name == name; });
}

const option* option_numbered(int32_t item)
{
    return find_option([&](const option& each) { return item != no_item && each.item == item; });
}

std::string name_of(int32_t item)
{
    return std::string{numbered} + std::to_string(item);
}

std::string name_of(const option& known)
{
    return known.item == no_item ? std::string{known.name} : name_of(known.item);
}

// All of the text as a number, or nothing.
std::optional<int32_t> as_number(std::string_view text)
{
    int32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, problem] = std::from_chars(text.data(), end, number);
    if (problem != std::errc{} || stopped != end) return std::nullopt;
    return number;
}

// "item.47" is IOCACHE_ITEM_47 in the environment, "tile_width" is IOCACHE_TILE_WIDTH.
std::optional<std::string> from_environment(std::string_view name)
{
    std::string variable = "IOCACHE_";
    for (const char c : name) {
        variable += c == '.' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    const char* const text = std::getenv(variable.c_str());
    return text ? std::optional<std::string>{text} : std::nullopt;
}

std::optional<std::string> from(const named_values& values, const std::string& name)
{
    const auto found = values.find(name);
    return found == values.end() ? std::nullopt : std::optional<std::string>{found->second};
}

// Reads the usual file unless some file was read before. The mutex is free while it does: there may be messages.
void have_file_read()
{
    store& all = the_store();
    {
        const std::lock_guard guard{all.mutex};
        if (std::exchange(all.file_was_read, true)) return;
    }
    const std::string path = usual_configuration_file();
    std::optional<named_values> values = read_configuration_file(path);
    // Nobody need have a file, but one that was asked for by name should be there.
    if (!values && std::getenv("IOCACHE_CONFIG")) wrt_err(("Configuration : cannot read " + path).c_str());
    const std::lock_guard guard{all.mutex};
    // A program may have had a file of its own read meanwhile, when it was told of a bad line for one: that one counts.
    if (values && !all.program_chose_file) all.from_file = std::move(*values);
}

// The value kept under this name, and in the environment also under the option's other name. Called with the mutex.
std::optional<std::string> look_up(const store& all, const std::string& name, const option* known)
{
    std::optional<std::string> value = from(all.set_by_program, name);
    if (!value) value = from_environment(name);
    if (!value && known) value = from_environment(known->name);
    if (!value) value = from(all.from_file, name);
    return value;
}

void set(const std::string& name, const char* text)
{
    store& all = the_store();
    const std::lock_guard guard{all.mutex};
    if (text) {
        all.set_by_program[name] = text;
    } else {
        all.set_by_program.erase(name);
    }
}

}  // namespace

std::string canonical_name(std::string_view name)
{
    if (const option* const known = option_named(name)) return name_of(*known);
    if (!name.starts_with(numbered)) return {};
    const std::optional<int32_t> item = as_number(name.substr(numbered.size()));
    return item ? name_of(*item) : std::string{};
}

std::string option_text(std::string_view name)
{
    have_file_read();
    const option* const known = option_named(name);
    if (!known) return {};
    const std::lock_guard guard{the_store().mutex};
    return look_up(the_store(), name_of(*known), known).value_or("");
}

}  // namespace iocache::host

using namespace iocache::host;

int32_t config_get(int32_t item, const char** text, int32_t* number)
{
    have_file_read();
    const option* const known = option_numbered(item);
    const std::string name = name_of(item);
    store& all = the_store();
    const std::lock_guard guard{all.mutex};
    const std::optional<std::string> value = look_up(all, name, known);
    if (!value) return -1;
    const std::optional<int32_t> as_read = as_number(*value);
    // A number that is none is as good as not configured.
    if (known && known->kind == value_kind::number && !as_read) return -1;
    std::string& handed_out = all.handed_out[name];
    if (handed_out != *value) handed_out = *value;
    if (text) *text = handed_out.c_str();
    if (number) *number = as_read.value_or(0);
    return 0;
}

void iocache_host_set_number(int32_t item, int32_t number)
{
    set(name_of(item), std::to_string(number).c_str());
}

void iocache_host_set_text(int32_t item, const char* text)
{
    set(name_of(item), text);
}

int32_t iocache_host_set_option(const char* name, const char* text)
{
    const option* const known = name ? option_named(name) : nullptr;
    if (!known) return -1;
    set(name_of(*known), text);
    return 0;
}

int32_t iocache_host_read_configuration(const char* path)
{
    std::optional<named_values> values = path ? read_configuration_file(path) : std::nullopt;
    if (!values) return -1;
    store& all = the_store();
    const std::lock_guard guard{all.mutex};
    all.from_file = std::move(*values);
    all.file_was_read = true;
    all.program_chose_file = true;
    return 0;
}
