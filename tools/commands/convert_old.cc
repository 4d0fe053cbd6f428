// iocache convert-old: block files and masks of version 1 become canvases of the same name.
#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>

#include <sys/wait.h>

#include <fmt/format.h>

#include "tools/commands/commands.h"
#include "tools/commands/file_reports.h"
#include "tools/commands/options.h"
#include "tools/file.h"
#include "tools/interrupt.h"
#include "tools/job_pool.h"
#include "tools/old/conversion.h"
#include "tools/output_file.h"

namespace iocache::tools {

namespace {

struct convert_old_options {
    std::vector<std::string> files;
    std::size_t jobs = 1;
    bool dry_run = false;
    bool keep = false;
    std::string report;
    run_options run;
};

json describe(const std::string& path, const conversion_plan& plan, const char* status)
{
    static constexpr const char* formats[] = {"block", "version 1", "canvas"};
    json all;
    all["file"] = path;
    all["status"] = status;
    all["format"] = formats[static_cast<std::size_t>(plan.file.format)];
    all["kind"] = plan.file.kind == canvas_kind::picture ? "picture" : "mask";
    all["width"] = plan.file.x_max + 1;
    all["height"] = plan.file.y_max + 1;
    all["canvas"] = plan.canvas;
    if (!plan.original.empty()) all["original"] = plan.original;
    return all;
}

json describe_failure(const std::string& path, exit_code code, const std::string& message)
{
    return {{"file", path}, {"status", "failed"}, {"exit_code", static_cast<int>(code)}, {"message", message}};
}

// Whatever goes wrong with one file is a result like any other.
template <class Work> json guarded(const std::string& path, const Work& work)
{
    json result;
    const std::optional<failure> problem = attempt(path, [&] { result = work(); });
    return problem ? describe_failure(path, problem->code(), problem->what()) : result;
}

conversion_options options_of(const convert_old_options& options)
{
    conversion_options wanted{options.keep, options.run.session};
    if (wanted.session.cache_bytes == 0) {
        const auto jobs = static_cast<std::int64_t>(options.jobs);
        wanted.session.cache_bytes = std::max(least_cache_bytes, default_cache_bytes() / jobs);
    }
    return wanted;
}

const char* done_text(const conversion_plan& plan)
{
    return plan.file.is_old() ? "already converted" : "already a canvas";
}

json plan_file(const std::string& path, const convert_old_options& options)
{
    using step = conversion_plan::step;
    const conversion_plan plan = plan_conversion(path, options_of(options));
    const char* const status = plan.next == step::none      ? done_text(plan)
                               : plan.next == step::convert ? "would be converted"
                                                            : "would be completed";
    json all = describe(path, plan, status);
    all["text"] = plan.file.text();
    return all;
}

json convert_file(const std::string& path, const convert_old_options& options)
{
    using step = conversion_plan::step;
    const conversion_result result = convert_old_file(path, options_of(options));
    const char* const status = result.plan.next == step::none      ? done_text(result.plan)
                               : result.plan.next == step::convert ? "converted"
                                                                   : "completed";
    json all = describe(path, result.plan, status);
    all["text"] = result.plan.file.text();
    for (std::size_t entry = 0; entry + 4 <= result.palette.size(); entry += 4) {
        const auto from = result.palette.begin() + static_cast<std::ptrdiff_t>(entry);
        all["palette"].push_back(std::vector<std::uint8_t>(from, from + 4));
    }
    return all;
}

// One line for one file.
void tell(const json& result)
{
    const auto text = [&](const char* key) { return result.value(key, std::string{}); };
    if (text("status") == "failed") {
        fmt::print(stderr, "iocache: {}\n", text("message"));
        return;
    }
    const bool is_beside = text("canvas") != text("file");
    std::string line = fmt::format("{}: {}: {}", text("file"), text("status"), text("text"));
    if (is_beside) {
        line += fmt::format("; the canvas is {}", text("canvas"));
    } else if (!text("original").empty()) {
        line += fmt::format("; the original is {}", text("original"));
    }
    fmt::print("{}\n", line);
    std::fflush(stdout);
}

// What a job's process that was ended has to say about it.
json result_of(const job_result& job, const std::string& path)
{
    const bool is_done = WIFEXITED(job.status) && WEXITSTATUS(job.status) == 0;
    json result = json::parse(job.text, nullptr, false);
    if (is_done && result.is_object()) return result;
    remove_left_work(path);
    if (WIFSIGNALED(job.status)) {
        return describe_failure(path, exit_code::not_readable,
                                fmt::format("{}: its conversion was ended by signal {}; the file is as it was", path,
                                            WTERMSIG(job.status)));
    }
    // The library has ended the process, and said why.
    const auto code =
        WEXITSTATUS(job.status) == static_cast<int>(exit_code::no_room) ? exit_code::no_room : exit_code::not_readable;
    return describe_failure(path, code, path + ": its conversion could not go on; the file is as it was");
}

std::vector<json> convert_files(const std::vector<std::string>& files, const convert_old_options& options)
{
    std::vector<json> results(files.size());
    try {
        job_pool pool(options.jobs, [&](std::size_t job) {
            return text_of(guarded(files[job], [&] { return convert_file(files[job], options); }));
        });
        pool.run(files.size(), [&](const job_result& job) {
            results[job.job] = result_of(job, files[job.job]);
            tell(results[job.job]);
        });
    } catch (const interrupted&) {
        // The jobs have ended by now.
        for (std::size_t i = 0; i < files.size(); ++i) {
            if (results[i].is_null()) remove_left_work(files[i]);
        }
        throw;
    }
    return results;
}

std::vector<json> plan_files(const std::vector<std::string>& files, const convert_old_options& options)
{
    std::vector<json> results;
    for (const std::string& path : files) {
        results.push_back(guarded(path, [&] { return plan_file(path, options); }));
        tell(results.back());
    }
    return results;
}

// Each file once, however often it was given, and by whatever way through the folders.
std::vector<std::string> different_files(const std::vector<std::string>& files)
{
    std::vector<std::string> different;
    std::set<std::filesystem::path> seen;
    for (const std::string& given : files) {
        const std::string path = file_to_convert(given);
        std::error_code unknown;
        const std::filesystem::path folder = std::filesystem::canonical(folder_of(path), unknown);
        const std::filesystem::path name = folder / std::filesystem::path(path).filename();
        const bool is_new = seen.insert(unknown ? std::filesystem::path(path) : name).second;
        if (is_new) different.push_back(path);
    }
    return different;
}

// An older report is replaced, and nothing else.
void refuse_unless_report(const std::string& path)
{
    std::error_code problem;
    if (!std::filesystem::exists(path, problem) || std::fgetc(open_input(path).get()) == '[') return;
    throw failure(exit_code::usage, path + ": is there already, and is no report; it is left alone");
}

// The report is opened before any file is touched, and complete when it gets its name.
class report_file {
public:
    explicit report_file(const convert_old_options& options)
    {
        if (options.report.empty()) return;
        for (const std::string& path : options.files) refuse_same_file(path, options.report);
        refuse_unless_report(options.report);
        output_ = std::make_unique<output_file>(options.report, true);
        stream_ = create_stream(output_->working_path());
        output_->made();
    }
    void write(const std::vector<json>& results)
    {
        if (!output_) return;
        json all = json::array();
        for (json result : results) {
            result.erase("text");
            all.push_back(std::move(result));
        }
        const std::string text = text_of(all) + "\n";
        const bool is_written = std::fwrite(text.data(), 1, text.size(), stream_.get()) == text.size();
        if (!is_written || std::fflush(stream_.get()) != 0)
            throw system_failure(output_->working_path(), "cannot write");
        output_->commit();
    }

private:
    std::unique_ptr<output_file> output_;
    file_stream stream_;
};

exit_code run_convert_old(const convert_old_options& options)
{
    report_file report(options);
    const std::vector<std::string> files = different_files(options.files);
    const std::vector<json> results = options.dry_run ? plan_files(files, options) : convert_files(files, options);
    report.write(results);
    int worst = 0;
    for (const json& result : results) worst = std::max(worst, result.value("exit_code", 0));
    return static_cast<exit_code>(worst);
}

}  // namespace

void add_convert_old(CLI::App& app, action& chosen)
{
    const auto options = std::make_shared<convert_old_options>();
    CLI::App* const command = app.add_subcommand(
        "convert-old",
        "Make canvases of old files: block files and masks of version 1, recognised by what is in them. Each is "
        "converted on a copy in a folder NAME.converting beside it; then the canvas gets the name, and the original is "
        "kept as NAME.orig. A run that was stopped is taken up by the next one; a file that is a canvas already counts "
        "as done; any other file is left alone");
    command->add_option("FILE", options->files, "The old files")->required();
    constexpr std::size_t most_jobs = 64;
    command->add_option("--jobs", options->jobs, "Convert so many files at the same time (default: 1)")
        ->check(CLI::Range(std::size_t{1}, most_jobs))
        ->type_name("N");
    command->add_flag("--dry-run", options->dry_run, "Say what would be done; nothing is written but the report");
    command->add_flag("--keep", options->keep,
                      "Keep the original under its own name too: the canvas is called NAME.canvas");
    command->add_option("--report", options->report, "Write a JSON array with one object for each file; palettes too")
        ->type_name("OUT.json");
    options->run.add_session_to(*command);
    command->callback([options, &chosen] { chosen = [options] { return run_convert_old(*options); }; });
}

}  // namespace iocache::tools
