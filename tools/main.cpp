// kelvora: runs the depth engine on synthetic or recorded frames, shows what
// a calibration holds, writes synthetic test data and serves a viewer for
// tuning the parameters on a recording.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <string>

#include "commands/Commands.hpp"
#include "kelvora/IKelvora.hpp"
#include "support/ToolError.hpp"

namespace {

// Exit code of a command line that cannot be run as given (the usual one of
// command-line programs); failures while running exit with 1.
constexpr int kUsageExit = 2;

// The short help for a bare `kelvora`: the commands with their one-line
// descriptions, taken from the parser so that a new command shows up here.
void printUsage(const CLI::App& app, std::FILE* to) {
  std::fprintf(to, "usage: kelvora COMMAND [options]\n\ncommands:\n");
  for (const CLI::App* command : app.get_subcommands({})) {
    std::fprintf(to, "  %-8s  %s\n", command->get_name().c_str(),
                 command->get_description().c_str());
  }
  std::fprintf(to,
               "\n`kelvora COMMAND --help` lists a command's options; `kelvora --version` "
               "names the library version.\n");
}

bool isCommand(const CLI::App& app, const std::string& word) {
  for (const CLI::App* command : app.get_subcommands({})) {
    if (command->check_name(word)) return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"kelvora: time-of-flight raw frames to depth data"};
  app.set_version_flag("--version", std::string("kelvora ") + kelvora::getVersion() + " (" +
                                        kelvora::getGitDescription() + ")");
  app.require_subcommand(1);
  kelvora::tools::addDemoCommand(app);
  kelvora::tools::addProcessCommand(app);
  kelvora::tools::addCalibCommand(app);
  kelvora::tools::addSynthCommand(app);
  kelvora::tools::addViewCommand(app);
  if (argc < 2) {
    printUsage(app, stderr);
    return kUsageExit;
  }
  // The parser would only say that a command is required.
  if (argv[1][0] != '-' && !isCommand(app, argv[1])) {
    std::fprintf(stderr, "kelvora: unknown command '%s'\n\n", argv[1]);
    printUsage(app, stderr);
    return kUsageExit;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    // One line, as for every other failure; --help shows the usage.
    std::fprintf(stderr, "kelvora: %s (see --help)\n", e.what());
    return kUsageExit;
  } catch (const kelvora::tools::ToolError& e) {
    std::fprintf(stderr, "kelvora: %s\n", e.what());
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "kelvora: unexpected failure: %s\n", e.what());
    return 1;
  }
  return 0;
}
