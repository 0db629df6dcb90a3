// kelvora process CALIBRATION RECORDING --out DIR [--params FILE] [--set name=value ...]
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "commands/Commands.hpp"
#include "interface/ParameterRegistry.hpp"
#include "kelvora/HostSupport.hpp"
#include "support/CalibrationFile.hpp"
#include "support/EngineSession.hpp"
#include "support/FrameOutputs.hpp"
#include "support/InputFile.hpp"
#include "support/Recording.hpp"
#include "support/StagingDir.hpp"
#include "support/ToolError.hpp"
#include "view/ParameterFile.hpp"

namespace kelvora::tools {

namespace {

struct ProcessOptions {
  std::string calibration;
  std::string recording;
  std::string out;
  std::string params;
  std::vector<std::string> settings;
  bool listParameters = false;
  bool noImages = false;
  bool noArrays = false;
  uint32_t imageScale = 2;
};

// Without a calibration, every parameter of the library; with one, exactly
// those its engine accepts, with the values a new engine starts from.
void listParameters(const std::string& calibration) {
  std::vector<ParameterInfo> list;
  if (calibration.empty()) {
    std::vector<Parameter> all;
    for (const auto& entry : getAllParameters()) all.push_back(entry.second);
    list = kelvora::listParameters(
        Configuration(ArrayReference<Parameter>(all.data(), static_cast<uint32_t>(all.size()))));
  } else {
    EngineSession session(readFileBytes(calibration, "calibration", "calibration.bin"),
                          calibration);
    list = kelvora::listParameters(session.engine().configuration());
  }
  std::cout << std::left << std::setw(28) << "name" << std::setw(10) << "type" << std::setw(11)
            << "default" << std::setw(20) << "bounds"
            << "description\n";
  for (const ParameterInfo& p : list) {
    const std::string bounds =
        p.hasBounds ? "[" + p.lowerBound + ", " + p.upperBound + "]" : std::string("none");
    std::cout << std::left << std::setw(28) << p.name << std::setw(10) << p.type << std::setw(11)
              << (calibration.empty() ? p.defaultValue : p.value) << std::setw(20) << bounds
              << p.description << "\n";
  }
  if (calibration.empty()) {
    std::cout << "A calibration fixes some of these: numFreqs, freq2 and the multipath switches "
                 "when it holds one frequency, useRemoveStrayLight when it has no stray-light "
                 "model. kelvora process --list-parameters CALIBRATION lists what it accepts.\n";
  }
  std::cout << "The tool sets useValidateImage=false, exposureLimitLower=100 and "
               "exposureLimitUpper=4000 before applying --params and --set.\n";
}

size_t validCount(const FrameResults& r) {
  size_t valid = 0;
  for (size_t i = 0; i < static_cast<size_t>(r.width) * r.height; ++i) valid += r.flags[i] == 0;
  return valid;
}

void runProcess(const ProcessOptions& o) {
  if (o.listParameters) {
    listParameters(o.calibration);
    return;
  }
  if (o.calibration.empty() || o.recording.empty() || o.out.empty()) {
    throw ToolError("process needs a calibration file, a recording and --out DIR");
  }
  if (o.imageScale < 1 || o.imageScale > 8) throw ToolError("--scale must be 1..8");
  // Everything that can be refused is checked before the first file is written.
  const std::vector<uint8_t> blob = readFileBytes(o.calibration, "calibration", "calibration.bin");
  if (detectCalibrationFormat(blob) == CalibrationFormat::kBlock) {
    // The library tries its handlers in the order container, legacy, block,
    // and the legacy handler takes every blob, so an engine never reads a
    // block file as one.
    throw ToolError("calibration " + o.calibration +
                    " is in the block format, which the engine cannot process; kelvora calib " +
                    o.calibration + " shows what it holds");
  }
  EngineSession session(blob, o.calibration);
  Configuration configuration = session.engine().configuration();
  applySettings(configuration, toolDefaultSettings());
  if (!o.params.empty()) applyParameterFile(configuration, o.params);
  applySettings(configuration, o.settings);
  session.apply(configuration);
  RecordingReader reader(o.recording);
  session.useRecording(reader.header(), o.recording);
  if (reader.frameSetCount() == 0)
    throw ToolError("recording " + o.recording + " holds no frame sets");

  StagingDir out(o.out, "process");
  OutputChoice choice;
  choice.images = !o.noImages;
  choice.arrays = !o.noArrays;
  choice.imageScale = o.imageScale;
  std::ostringstream report;
  report << "calibration " << o.calibration << ", recording " << o.recording << " ("
         << reader.frameSetCount() << " frame sets of " << reader.header().width << " x "
         << reader.header().height << ")\n";
  if (!o.params.empty()) report << "parameter file " << o.params << "\n";
  for (const std::string& s : o.settings) report << "set " << s << "\n";
  report << "frame set  time (ms)  valid pixels  exposure proposals (grey, per frequency)\n";
  const uint32_t n = reader.frameSetCount();
  const uint32_t progressStep = n >= 10 ? n / 10 : 0;
  RecordedFrameSet frameSet;
  double totalMs = 0.0;
  for (uint32_t i = 0; reader.next(frameSet); ++i) {
    const FrameResults r = session.process(frameSet);
    totalMs += r.milliseconds;
    char prefix[32];
    std::snprintf(prefix, sizeof(prefix), "frame_%04u_", i);
    writeFrameOutputs(out, prefix, r, choice);
    char line[160];
    const double valid = 100.0 * static_cast<double>(validCount(r)) / (r.width * r.height);
    int len =
        std::snprintf(line, sizeof(line), "%9u  %9.2f  %10.1f %%  ", i, r.milliseconds, valid);
    for (uint32_t p : r.exposureProposals) {
      len += std::snprintf(line + len, sizeof(line) - static_cast<size_t>(len), " %u", p);
    }
    report << line << "\n";
    if (progressStep != 0 && (i + 1) % progressStep == 0) {
      std::cout << "processed " << (i + 1) << " of " << n << " frame sets\n";
      std::cout.flush();
    }
  }
  report << std::fixed << std::setprecision(2) << "mean processing time " << totalMs / n
         << " ms per frame set\n";
  {
    std::ofstream file(out.file("report.txt"));
    file << report.str();
    if (!file.flush()) throw ToolError("cannot write " + out.file("report.txt"));
  }
  out.commit();
  std::cout << report.str() << "outputs in " << o.out << "\n";
}

}  // namespace

void addProcessCommand(CLI::App& app) {
  auto o = std::make_shared<ProcessOptions>();
  CLI::App* cmd = app.add_subcommand(
      "process", "Process a recording with a calibration: images, point clouds and .npy arrays");
  cmd->add_option("calibration", o->calibration,
                  "calibration file in the container or legacy format (block files: kelvora "
                  "calib only)");
  cmd->add_option("recording", o->recording, "recording of raw frame sets (docs/RECORDING.md)");
  cmd->add_option("--out", o->out, "output folder");
  cmd->add_option("--params", o->params,
                  "parameter file (JSON, as kelvora view saves it) applied before --set");
  cmd->add_option("--set", o->settings, "set a processing parameter: name=value (repeatable)");
  cmd->add_flag("--list-parameters", o->listParameters,
                "list the parameters (those the calibration's engine accepts when one is given) "
                "and exit");
  cmd->add_flag("--no-images", o->noImages, "write no PNG images");
  cmd->add_flag("--no-arrays", o->noArrays, "write no .npy arrays");
  cmd->add_option("--scale", o->imageScale, "image pixels per result pixel")->capture_default_str();
  cmd->callback([o] { runProcess(*o); });
}

}  // namespace kelvora::tools
