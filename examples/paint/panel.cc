#include "panel.h"

#include <array>

#include <imgui.h>

#include "screen_colour.h"

namespace {

using namespace paint;

constexpr double mebibyte = 1'048'576.0;
constexpr float most_radius = 256.0F;

void slide(const char* name, double& value, float least, float most, const char* format)
{
    auto position = static_cast<float>(value);
    if (ImGui::SliderFloat(name, &position, least, most, format, ImGuiSliderFlags_AlwaysClamp)) value = position;
}

void slide(const char* name, uint8_t& value)
{
    int position = value;
    if (ImGui::SliderInt(name, &position, 0, full, "%d", ImGuiSliderFlags_AlwaysClamp))
        value = static_cast<uint8_t>(position);
}

void headline(const char* text)
{
    ImGui::Spacing();
    ImGui::TextDisabled("%s", text);
    ImGui::Separator();
}

void draw_brush(brush& with)
{
    headline("Brush");
    slide("radius", with.radius, 1.0F, most_radius, "%.0f px");
    slide("hardness", with.hardness, 0.0F, 1.0F, "%.2f");
    slide("opacity", with.opacity, 0.0F, 1.0F, "%.2f");
    slide("spacing", with.spacing, 0.02F, 1.0F, "%.2f");
}

void draw_swatch(const ink& what, bool is_picture)
{
    std::array<uint8_t, rgba_bytes> rgba{};
    if (is_picture) {
        picture_to_rgba(what.inks, full, rgba);
    } else {
        mask_to_rgba(what.mask_value, rgba);
    }
    const auto part = [&](size_t i) { return static_cast<float>(rgba[i]) / full; };
    const ImVec2 size = {190.0F, 24.0F};
    ImGui::ColorButton("##swatch", {part(0), part(1), part(2), 1.0F}, ImGuiColorEditFlags_NoTooltip, size);
}

void draw_ink(ink& what, bool is_picture)
{
    headline(is_picture ? "Ink" : "Mask value");
    if (is_picture) {
        constexpr std::array names = {"cyan", "magenta", "yellow", "black"};
        for (size_t i = 0; i < names.size(); ++i) slide(names[i], what.inks[i]);
    } else {
        slide("value", what.mask_value);
    }
    draw_swatch(what, is_picture);
}

void draw_canvas(const panel_facts& facts, panel_wishes& wishes)
{
    const cv_canvas& record = facts.canvas.record();
    headline("Canvas");
    ImGui::TextUnformatted(record.base_name);
    ImGui::Text("%s, %d x %d pixels", facts.canvas.is_picture() ? "picture" : "mask", record.geom.width,
                record.geom.height);
    ImGui::Text("%d x %d tiles, zoom %.1f %%", record.tiles_across, record.tiles_down, facts.zoom * 100.0);
    wishes.save = ImGui::Button("Save");
    ImGui::SameLine();
    wishes.fit = ImGui::Button("Fit");
    ImGui::SameLine();
    wishes.full_pixels = ImGui::Button("1 : 1");
    ImGui::TextUnformatted(facts.status.c_str());  // also an empty one: what is below stays where it is
}

void draw_cache(const panel_facts& facts)
{
    const cache_statistics& cache = facts.cache;
    headline("Tile cache");
    ImGui::TextUnformatted(cv_access_process == 1 ? "in-line" : "with a cache process");
    ImGui::Text("tiles in memory  %d", cache.tiles);
    ImGui::Text("dirty tiles      %d", cache.dirty_tiles);
    ImGui::Text("zones in use     %d of %d", cache.zones_used, cache.zones);
    ImGui::Text("memory           %.1f of %.1f MiB", static_cast<double>(cache.bytes_used) / mebibyte,
                static_cast<double>(cache.bytes) / mebibyte);
    const float used = cache.zones == 0 ? 0.0F : static_cast<float>(cache.zones_used) / static_cast<float>(cache.zones);
    ImGui::ProgressBar(used);
}

void draw_latency(const latency_recorder& latency)
{
    headline("Pointer to reduced image");
    if (latency.count() == 0) {
        ImGui::TextUnformatted("nothing painted yet");
        return;
    }
    ImGui::Text("last %zu events", latency.count());
    ImGui::Text("median %.2f ms, worst %.2f ms", latency.median_milliseconds(), latency.worst_milliseconds());
}

void draw_help()
{
    headline("Keys");
    ImGui::TextUnformatted("left drag        paint\n"
                           "middle drag,\n"
                           "space and drag   pan\n"
                           "wheel            zoom\n"
                           "0, 1             fit, full pixels\n"
                           "[ ]              brush radius\n"
                           "Ctrl+S, Ctrl+Q   save, quit");
}

}  // namespace

paint::panel_wishes paint::draw_panel(const panel_facts& facts, brush& with, ink& what, int32_t window_height)
{
    panel_wishes wishes;
    ImGui::SetNextWindowPos({0.0F, 0.0F});
    ImGui::SetNextWindowSize({static_cast<float>(panel_width), static_cast<float>(window_height)});
    ImGui::Begin("paint", nullptr,
                 ImGuiWindowFlags_NoTitleBar | ImGuiWindowFlags_NoResize | ImGuiWindowFlags_NoMove |
                     ImGuiWindowFlags_NoCollapse);
    draw_canvas(facts, wishes);
    draw_brush(with);
    draw_ink(what, facts.canvas.is_picture());
    draw_cache(facts);
    draw_latency(facts.latency);
    draw_help();
    ImGui::End();
    return wishes;
}
