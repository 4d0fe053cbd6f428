// The subcommands of `iocache`. Each adds itself to the command line and says what to run when it was
// chosen; main runs it. What a command returns is the process's exit code; failures are thrown.
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "tools/failure.h"

namespace iocache::tools {

using action = std::function<exit_code()>;

// Each adds a subcommand to `app`. When the command line chooses it, `chosen` is set to its work.
void add_import(CLI::App& app, action& chosen);
void add_convert_old(CLI::App& app, action& chosen);
void add_export(CLI::App& app, action& chosen);
void add_info(CLI::App& app, action& chosen);
void add_compare(CLI::App& app, action& chosen);
void add_preview(CLI::App& app, action& chosen);
void add_separations(CLI::App& app, action& chosen);
void add_refresh(CLI::App& app, action& chosen);
void add_verify(CLI::App& app, action& chosen);
void add_repair(CLI::App& app, action& chosen);
void add_diff(CLI::App& app, action& chosen);
void add_compact(CLI::App& app, action& chosen);

}  // namespace iocache::tools
