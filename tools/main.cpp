// kelvora: runs the depth engine on synthetic or recorded frames, shows what
// a calibration holds and writes synthetic test data.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

#include "commands/Commands.hpp"
#include "kelvora/IKelvora.hpp"
#include "support/ToolError.hpp"

int main(int argc, char** argv) {
  CLI::App app{"kelvora: time-of-flight raw frames to depth data"};
  app.set_version_flag("--version", kelvora::getVersion());
  app.require_subcommand(1);
  kelvora::tools::addDemoCommand(app);
  kelvora::tools::addProcessCommand(app);
  kelvora::tools::addCalibCommand(app);
  kelvora::tools::addSynthCommand(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    // One line, as for every other failure; --help shows the usage.
    std::fprintf(stderr, "kelvora: %s (see --help)\n", e.what());
    return e.get_exit_code() != 0 ? e.get_exit_code() : 2;
  } catch (const kelvora::tools::ToolError& e) {
    std::fprintf(stderr, "kelvora: %s\n", e.what());
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "kelvora: unexpected failure: %s\n", e.what());
    return 1;
  }
  return 0;
}
