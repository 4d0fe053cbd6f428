// How the shared options are spelt.
#include "tools/commands/options.h"

#include <limits>
#include <map>

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
    const std::map<std::string, rendering_intent> names{{"perceptual", rendering_intent::perceptual},
                                                        {"relative", rendering_intent::relative},
                                                        {"saturation", rendering_intent::saturation},
                                                        {"absolute", rendering_intent::absolute}};
    command
        .add_option("--intent", intent,
                    "Rendering intent: perceptual (default), relative (with black point compensation), saturation "
                    "or absolute")
        ->transform(CLI::CheckedTransformer(names).description(""))
        ->type_name("INTENT");
}

void reading_options::add_to(CLI::App& command)
{
    const std::map<std::string, cmyk_polarity> names{
        {"auto", cmyk_polarity::automatic}, {"ink", cmyk_polarity::ink}, {"inverted", cmyk_polarity::inverted}};
    command
        .add_option("--cmyk-jpeg", polarity,
                    "What the numbers of a CMYK JPEG mean: ink, inverted, or auto (default): inverted when the file "
                    "carries Adobe's mark")
        ->transform(CLI::CheckedTransformer(names).description(""))
        ->type_name("MEANING");
}

CLI::Option* add_rectangles(CLI::App& command, const std::string& name, std::vector<rectangle>& target,
                            const std::string& help)
{
    const auto take = [&target, name](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            try {
                target.push_back(parse_rectangle(text));
            } catch (const std::invalid_argument& problem) {
                throw CLI::ValidationError(name, problem.what());
            }
        }
    };
    return command.add_option_function<std::vector<std::string>>(name, take, help)
        ->allow_extra_args(false)
        ->type_name("X,Y,W,H");
}

rectangle chosen_part(const std::vector<rectangle>& region, const rectangle& bounds)
{
    if (region.empty()) return bounds;
    const rectangle part = region.back();
    if (!bounds.contains(part)) {
        throw CLI::ValidationError("--region", fmt::format("lies outside the canvas, which is {},{},{},{}", bounds.x,
                                                           bounds.y, bounds.width, bounds.height));
    }
    return part;
}

}  // namespace iocache::tools
