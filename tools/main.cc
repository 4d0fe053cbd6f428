// The `iocache` command: images in, canvases, images out. Everything that can go wrong ends here, as
// one line on standard error and an exit code.
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/commands/commands.h"
#include "tools/failure.h"
#include "tools/interrupt.h"

namespace {

using namespace iocache::tools;

constexpr const char* exit_codes =
    "Exit codes: 0 done (compare, diff: same; verify: clean), 1 different (compare, diff) or\n"
    "damaged (verify, repair), 2 usage, 3 cannot read or write, 4 not a canvas or not\n"
    "supported, 5 would not fit.";

int tell(exit_code code, const std::string& message)
{
    fmt::print(stderr, "iocache: {}\n", message);
    return static_cast<int>(code);
}

// Why the command line makes no sense: a word in the place of the command is the better reason than that none is there.
std::string reason_of(const CLI::App& app, const CLI::ParseError& problem)
{
    const std::vector<std::string> unknown = app.remaining();
    const bool names_a_command = !unknown.empty() && !unknown.front().starts_with('-');
    if (!app.get_subcommands().empty() || !names_a_command) return problem.what();
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return fmt::format("there is no command '{}', only {}", unknown.front(), fmt::join(names, ", "));
}

int tell_usage(const CLI::App& app, const CLI::ParseError& problem)
{
    const std::vector<CLI::App*> commands = app.get_subcommands();
    const std::string command = commands.empty() ? "" : commands.front()->get_name() + " ";
    return tell(exit_code::usage, fmt::format("{} (iocache {}--help tells more)", reason_of(app, problem), command));
}

int run(const action& chosen)
{
    note_interrupts();
    let_oversized_writes_fail();
    int result = 0;
    try {
        result = static_cast<int>(chosen());
    } catch (const interrupted& stop) {
        std::fflush(nullptr);
        end_by_signal(stop.signal);
    } catch (const failure& problem) {
        return tell(problem.code(), problem.what());
    } catch (const CLI::Error& problem) {  // found out only once a canvas was open
        return tell(exit_code::usage, problem.what());
    } catch (const std::bad_alloc&) {
        return tell(exit_code::no_room, "would not fit: there is not enough memory");
    } catch (const std::exception& problem) {
        return tell(exit_code::not_readable, problem.what());
    }
    if (std::fflush(stdout) != 0) return tell(exit_code::not_readable, "cannot write to standard output");
    return result;
}

int parse_and_run(int argc, char** argv)
{
    CLI::App app{"Pictures and masks far larger than memory, in canvas files"};
    app.name("iocache");
    app.set_version_flag("--version", std::string("iocache ") + IOCACHE_TOOL_VERSION);
    app.require_subcommand(1);
    app.footer(exit_codes);
    action chosen;
    add_import(app, chosen);
    add_export(app, chosen);
    add_info(app, chosen);
    add_compare(app, chosen);
    add_preview(app, chosen);
    add_separations(app, chosen);
    add_refresh(app, chosen);
    add_verify(app, chosen);
    add_repair(app, chosen);
    add_diff(app, chosen);
    add_compact(app, chosen);
    add_convert_old(app, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& problem) {
        if (problem.get_exit_code() == 0) return app.exit(problem);  // --help and --version
        return tell_usage(app, problem);
    }
    return run(chosen);
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        return parse_and_run(argc, argv);
    } catch (...) {  // only the command line's own machinery is left
        std::fputs("iocache: the command line cannot be read\n", stderr);
        return static_cast<int>(exit_code::usage);
    }
}
