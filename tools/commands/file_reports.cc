// One failure, one message on standard error, one object.
#include "tools/commands/file_reports.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include <fmt/format.h>

namespace iocache::tools {

std::string text_of(const json& value)
{
    return value.dump(2, ' ', false, json::error_handler_t::replace);
}

std::optional<failure> attempt(const std::string& path, const std::function<void()>& work)
{
    try {
        work();
        return std::nullopt;
    } catch (const failure& problem) {
        return problem;
    } catch (const std::bad_alloc&) {
        return failure(exit_code::no_room, path + ": would not fit: there is not enough memory");
    } catch (const std::exception& problem) {
        return failure(exit_code::not_readable, path + ": " + problem.what());
    }
}

void describe_failure(json& object, const failure& problem)
{
    object["error"] = problem.what();
    object["exit_code"] = static_cast<int>(problem.code());
}

void file_reports::add(const std::string& path, const std::function<exit_code(json& report)>& work)
{
    json report;
    exit_code result = exit_code::done;
    if (const std::optional<failure> problem = attempt(path, [&] { result = work(report); })) {
        fmt::print(stderr, "iocache: {}\n", problem->what());
        result = problem->code();
        report = {{"file", path}};
        describe_failure(report, *problem);
    }
    worst_ = std::max(worst_, result);
    if (as_json_) all_.push_back(std::move(report));
}

exit_code file_reports::finish() const
{
    if (as_json_) fmt::print("{}\n", text_of(all_));
    return worst_;
}

}  // namespace iocache::tools
