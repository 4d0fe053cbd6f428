#include "options.h"

#include <charconv>
#include <string_view>

namespace {

using namespace paint;

constexpr int32_t measured_cache_mebibytes = 64;  // unless it is said otherwise
constexpr int32_t most_cache_mebibytes = 1'048'576;
constexpr int32_t longest_side = 32'767;  // the bounds of a file are 16 bits wide
constexpr int32_t most_stamps = 1'000'000;

bool number(std::string_view text, int32_t most, int32_t& value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size() && value >= 1 && value <= most;
}

bool size(std::string_view text, canvas_size& value)
{
    const size_t between = text.find('x');
    return between != std::string_view::npos && number(text.substr(0, between), longest_side, value.width) &&
           number(text.substr(between + 1), longest_side, value.height);
}

// Takes arguments from the front.
class reader {
public:
    explicit reader(std::span<const char* const> arguments) : rest_(arguments) {}

    bool read(options& wanted)
    {
        bool cache_said = false;
        while (!rest_.empty()) {
            const std::string_view argument = next();
            if (argument == "--cache") cache_said = true;
            if (!read_one(argument, wanted)) return false;
        }
        if (wanted.measured_stamps > 0 && !cache_said) wanted.cache_mebibytes = measured_cache_mebibytes;
        return is_whole(wanted);
    }

private:
    std::string_view next()
    {
        if (rest_.empty()) return {};
        const std::string_view first = rest_.front();
        rest_ = rest_.subspan(1);
        return first;
    }
    bool read_one(std::string_view argument, options& wanted)
    {
        if (argument == "--new") return size(next(), wanted.created.emplace());
        if (argument == "--cache") return number(next(), most_cache_mebibytes, wanted.cache_mebibytes);
        if (argument == "--measure") return number(next(), most_stamps, wanted.measured_stamps);
        if (argument == "--mask") {
            wanted.kind = canvas_kind::mask;
            return true;
        }
        if (argument == "--in-line") {
            wanted.mode = cache_mode::in_line;
            return true;
        }
        if (argument.empty() || argument.starts_with("--") || !wanted.file.empty()) return false;
        wanted.file = argument;
        return true;
    }
    // An existing canvas is what it is; a measurement makes its own.
    static bool is_whole(const options& wanted)
    {
        if (wanted.kind == canvas_kind::mask && !wanted.created) return false;
        if (wanted.measured_stamps > 0) return wanted.file.empty() && !wanted.created;
        return !wanted.file.empty();
    }

    std::span<const char* const> rest_;
};

}  // namespace

std::optional<paint::options> paint::read_options(std::span<const char* const> arguments)
{
    options wanted;
    if (!reader(arguments).read(wanted)) return std::nullopt;
    return wanted;
}
