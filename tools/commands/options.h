// Options that several commands share, each with one meaning.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/canvas/session.h"
#include "tools/colour/profile.h"
#include "tools/images/image_source.h"
#include "tools/rectangle.h"

namespace iocache::tools {

// --cache, --workers, --in-line, --stats
struct run_options {
    session_options session;
    bool statistics = false;

    void add_to(CLI::App& command);
    // Without --stats.
    void add_session_to(CLI::App& command);
};

// --profile, --intent
struct colour_options {
    std::string profile = default_cmyk_profile;
    rendering_intent intent = rendering_intent::perceptual;

    void add_to(CLI::App& command);
};

// --cmyk-jpeg
struct reading_options {
    cmyk_polarity polarity = cmyk_polarity::automatic;

    void add_to(CLI::App& command);
};

// Adds an option that takes one of these words.
template <class Value>
CLI::Option* add_choice(CLI::App& command, const std::string& name, Value& target,
                        const std::vector<std::pair<std::string, Value>>& choices, const std::string& help)
{
    const auto take = [name, &target, choices](const std::string& text) {
        std::vector<std::string> words;
        for (const auto& [word, value] : choices) {
            words.push_back(word);
            if (word != text) continue;
            target = value;
            return;
        }
        throw CLI::ValidationError(name, fmt::format("'{}' is none of {}", text, fmt::join(words, ", ")));
    };
    return command.add_option_function<std::string>(name, take, help);
}

// --region, which may be given once.
void add_region(CLI::App& command, std::optional<rectangle>& target, const std::string& help);

// Adds an option that takes X,Y,W,H and may be given several times.
void add_rectangles(CLI::App& command, const std::string& name, std::vector<rectangle>& target,
                    const std::string& help);

// The part given, or all of the canvas. Throws CLI::ValidationError for one that lies outside.
[[nodiscard]] rectangle chosen_part(const std::optional<rectangle>& region, const rectangle& bounds);

}  // namespace iocache::tools
