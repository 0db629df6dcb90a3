#pragma once
// The subcommands. Each adds itself to the application; its callback runs
// the command and throws ToolError on failure.
#include <CLI/CLI.hpp>

namespace kelvora::tools {

void addDemoCommand(CLI::App& app);
void addProcessCommand(CLI::App& app);
void addCalibCommand(CLI::App& app);
void addSynthCommand(CLI::App& app);
void addViewCommand(CLI::App& app);

}  // namespace kelvora::tools
