// Options that several commands share, each with one meaning.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

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

// Adds an option that takes X,Y,W,H and may be given several times.
CLI::Option* add_rectangles(CLI::App& command, const std::string& name, std::vector<rectangle>& target,
                            const std::string& help);

// The part given last, or all of the canvas. Throws CLI::ValidationError for one that lies outside.
[[nodiscard]] rectangle chosen_part(const std::vector<rectangle>& region, const rectangle& bounds);

}  // namespace iocache::tools
