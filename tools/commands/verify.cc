// iocache verify: is a canvas file whole? Reads the file only; the library is not started.
#include <memory>

#include <fmt/format.h>

#include "tools/commands/commands.h"
#include "tools/commands/file_reports.h"
#include "tools/verify/checks.h"

namespace iocache::tools {

namespace {

struct verify_options {
    std::vector<std::string> canvases;
    bool quick = false;
    bool full = false;
    bool as_json = false;
};

const char* name_of(weight severity)
{
    return severity == weight::damage ? "damage" : "notice";
}

json as_json(const std::string& path, const std::vector<finding>& findings)
{
    json all;
    all["file"] = path;
    all["damaged"] = has_damage(findings);
    all["findings"] = json::array();
    for (const finding& one : findings) {
        all["findings"].push_back({{"id", one.id},
                                   {"severity", name_of(one.severity)},
                                   {"what", one.what},
                                   {"meaning", one.meaning},
                                   {"count", one.count}});
    }
    return all;
}

void print_text(const std::string& path, const std::vector<finding>& findings)
{
    fmt::print("{}: {}\n", path, has_damage(findings) ? "damaged" : "clean");
    for (const finding& one : findings) {
        fmt::print("  {} {}: {}\n    {}\n", name_of(one.severity), one.id, one.what, one.meaning);
    }
}

exit_code verify_file(const std::string& path, const verify_options& options, json& report)
{
    const canvas_file file(path);
    const std::vector<finding> findings = verify(file, options.full ? depth::full : depth::quick);
    if (options.as_json) {
        report = as_json(path, findings);
    } else {
        print_text(path, findings);
    }
    return has_damage(findings) ? exit_code::different : exit_code::done;
}

exit_code run_verify(const verify_options& options)
{
    file_reports reports(options.as_json);
    for (const std::string& path : options.canvases) {
        reports.add(path, [&](json& report) { return verify_file(path, options, report); });
    }
    return reports.finish();
}

}  // namespace

void add_verify(CLI::App& app, action& chosen)
{
    const auto options = std::make_shared<verify_options>();
    CLI::App* const command = app.add_subcommand("verify", "Look for damage in canvas files; never writes");
    command->add_option("CANVAS", options->canvases, "The canvas files")->required();
    CLI::Option* const quick =
        command->add_flag("--quick", options->quick, "Header, layout, length and the whole tile table (default)");
    command->add_flag("--full", options->full, "Every tile too: reduced image, icon and margins")->excludes(quick);
    command->add_flag("--json", options->as_json,
                      "Print a JSON array with one object for each file, also for one that cannot be read");
    command->callback([options, &chosen] { chosen = [options] { return run_verify(*options); }; });
}

}  // namespace iocache::tools
