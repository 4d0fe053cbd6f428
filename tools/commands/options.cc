// How the shared options are spelt.
#include "tools/commands/options.h"

#include <functional>
#include <limits>

#include <fmt/format.h>

namespace iocache::tools {

namespace {

constexpr std::int32_t most_workers = 8;

// "20M", "1G", "4096k": binary units, as memory is counted.
std::int64_t parse_size(std::string text)
{
    std::uint64_t bytes = 0;
    try {
        const std::string normal = CLI::AsSizeValue(false)(text).empty() ? text : std::string{};
        bytes = std::stoull(normal);
    } catch (const std::exception&) {
        throw CLI::ValidationError("--cache", "not a size: " + text);
    }
    constexpr std::int64_t most = std::int64_t{std::numeric_limits<std::int32_t>::max()} * mebibyte;
    if (bytes < static_cast<std::uint64_t>(least_cache_bytes) || bytes > static_cast<std::uint64_t>(most)) {
        throw CLI::ValidationError("--cache",
                                   fmt::format("must be at least {}M: {}", least_cache_bytes / mebibyte, text));
    }
    return static_cast<std::int64_t>(bytes);
}

rectangle rectangle_of(const std::string& option, const std::string& text)
{
    try {
        return parse_rectangle(text);
    } catch (const std::invalid_argument& problem) {
        throw CLI::ValidationError(option, problem.what());
    }
}

void add_rectangle_option(CLI::App& command, const std::string& name, const std::string& help,
                          const std::function<void(const std::vector<std::string>&)>& take)
{
    command.add_option_function<std::vector<std::string>>(name, take, help)
        ->allow_extra_args(false)
        ->type_name("X,Y,W,H");
}

}  // namespace

void run_options::add_to(CLI::App& command)
{
    add_session_to(command);
    command.add_flag("--stats", statistics, "Print what the cache did, memory and time");
}

void run_options::add_session_to(CLI::App& command)
{
    command
        .add_option_function<std::string>(
            "--cache", [this](const std::string& text) { session.cache_bytes = parse_size(text); },
            "Memory for tiles, such as 20M or 1G (default 256M, at most half of the memory)")
        ->type_name("SIZE");
    command.add_option("--workers", session.workers, "Worker threads, 1 to 8 (default: one for each processor)")
        ->check(CLI::Range(1, most_workers))
        ->type_name("N");
    command.add_flag("--in-line", session.in_line, "Work without a cache process and with one worker");
}

void colour_options::add_to(CLI::App& command)
{
    command.add_option("--profile", profile, "CMYK profile of the canvas")->type_name("P.icc")->capture_default_str();
    add_choice<rendering_intent>(
        command, "--intent", intent,
        {{"perceptual", rendering_intent::perceptual},
         {"relative", rendering_intent::relative},
         {"saturation", rendering_intent::saturation},
         {"absolute", rendering_intent::absolute}},
        "Rendering intent: perceptual (default), relative (with black point compensation), saturation or absolute")
        ->type_name("INTENT");
}

void reading_options::add_to(CLI::App& command)
{
    add_choice<cmyk_polarity>(
        command, "--cmyk-jpeg", polarity,
        {{"auto", cmyk_polarity::automatic}, {"ink", cmyk_polarity::ink}, {"inverted", cmyk_polarity::inverted}},
        "What the numbers of a CMYK JPEG mean: ink, inverted, or auto (default): inverted when the file carries "
        "Adobe's mark")
        ->type_name("MEANING");
}

void add_rectangles(CLI::App& command, const std::string& name, std::vector<rectangle>& target, const std::string& help)
{
    add_rectangle_option(command, name, help, [&target, name](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) target.push_back(rectangle_of(name, text));
    });
}

void add_region(CLI::App& command, std::optional<rectangle>& target, const std::string& help)
{
    const std::string name = "--region";
    add_rectangle_option(command, name, help, [&target, name](const std::vector<std::string>& texts) {
        if (texts.size() > 1) throw CLI::ValidationError(name, "may be given once only");
        target = rectangle_of(name, texts.front());
    });
}

rectangle chosen_part(const std::optional<rectangle>& region, const rectangle& bounds)
{
    if (!region) return bounds;
    if (!bounds.contains(*region)) {
        throw CLI::ValidationError("--region", fmt::format("lies outside the canvas, which is {},{},{},{}", bounds.x,
                                                           bounds.y, bounds.width, bounds.height));
    }
    return *region;
}

}  // namespace iocache::tools
