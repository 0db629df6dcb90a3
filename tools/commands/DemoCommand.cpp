// kelvora demo [--out DIR]: a synthetic camera looking at a known scene.
#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands/Commands.hpp"
#include "support/DemoReport.hpp"
#include "support/EngineSession.hpp"
#include "support/FrameOutputs.hpp"
#include "support/QuietStdout.hpp"
#include "support/StagingDir.hpp"
#include "support/SyntheticData.hpp"
#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

// What the demo promises on its default scene.
constexpr float kMedianErrorLimit = 0.01f;  // metres
constexpr double kSurfaceValidLimit = 0.90;

struct DemoOptions {
  std::string out = "kelvora-demo";
  uint32_t frameSets = 5;
  std::vector<std::string> settings;
};

std::string formatLine(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string formatLine(const char* format, ...) {
  char buffer[256];
  va_list args;
  va_start(args, format);
  std::vsnprintf(buffer, sizeof(buffer), format, args);
  va_end(args);
  return std::string(buffer) + "\n";
}

void runDemo(const DemoOptions& o) {
  SyntheticDataOptions d;  // 224 x 172, 80.32 and 60.24 MHz, the default scene
  d.frameSets = o.frameSets;
  std::unique_ptr<QuietStdout> quiet = std::make_unique<QuietStdout>();
  SyntheticData data = makeSyntheticData(d);
  EngineSession session(data.calibration, "(synthetic)");
  quiet.reset();
  session.configure(o.settings);
  session.useRecording(data.header, "(synthetic)");
  StagingDir out(o.out, "demo");
  {
    std::ofstream blob(out.file("calibration.bin"), std::ios::binary);
    blob.write(reinterpret_cast<const char*>(data.calibration.data()),
               static_cast<std::streamsize>(data.calibration.size()));
    if (!blob.flush()) throw ToolError("cannot write " + out.file("calibration.bin"));
  }
  writeRecording(out.file("recording.kvrec"), data.header, data.frameSets);

  std::string report = formatLine(
      "kelvora demo: synthetic %u x %u camera, %.2f and %.2f MHz, container calibration "
      "(%zu bytes)",
      data.header.width, data.header.height, data.header.frequencies[0] / 1e6,
      data.header.frequencies[1] / 1e6, data.calibration.size());
  report += formatLine(
      "scene: wall at %.1f m with a bright patch, box at 2.2-2.9 m, floor; %u frame sets with "
      "sensor noise",
      static_cast<double>(d.scene.wallDistance), o.frameSets);
  report += "\nframe set  time (ms)  valid pixels  exposure proposals (grey, 80 MHz, 60 MHz)\n";
  AccuracyTally tally(data.geometry);
  FrameResults last;
  for (uint32_t i = 0; i < data.frameSets.size(); ++i) {
    FrameResults r = session.process(data.frameSets[i]);
    AccuracyTally one(data.geometry);
    one.add(r);
    tally.add(r);
    std::string proposals;
    for (uint32_t p : r.exposureProposals) proposals += " " + std::to_string(p);
    report += formatLine("%9u  %9.2f  %10.1f %%  %s", i, r.milliseconds,
                         100.0 * one.overall().fraction(), proposals.c_str());
    last = std::move(r);
  }
  const float median = tally.errorPercentile(0.5f);
  const float p95 = tally.errorPercentile(0.95f);
  const double wall = tally.surface(synth::SurfaceLabel::kWall).fraction();
  const double box = tally.surface(synth::SurfaceLabel::kBox).fraction();
  report += formatLine(
      "\ndistance error on valid pixels (%zu pixel values): median %.1f mm, 95th percentile "
      "%.1f mm",
      tally.errorCount(), 1e3 * median, 1e3 * p95);
  report += formatLine(
      "valid pixels: %.1f %% overall, %.1f %% on the wall, %.1f %% on the box, %.1f %% on the "
      "floor, %.1f %% on the bright patch",
      100.0 * tally.overall().fraction(), 100.0 * wall, 100.0 * box,
      100.0 * tally.surface(synth::SurfaceLabel::kFloor).fraction(),
      100.0 * tally.surface(synth::SurfaceLabel::kPatch).fraction());
  report += formatLine(
      "exposure proposals for the next frame set: grey %u, 80 MHz %u, 60 MHz %u (recorded %u, "
      "%u, %u; limits 100..4000)",
      last.exposureProposals[0], last.exposureProposals[1], last.exposureProposals[2],
      data.frameSets.back().exposureTimes[0], data.frameSets.back().exposureTimes[1],
      data.frameSets.back().exposureTimes[2]);
  const bool accurate = median < kMedianErrorLimit;
  const bool covered = wall >= kSurfaceValidLimit && box >= kSurfaceValidLimit;
  report +=
      formatLine("check: median error below 1 cm: %s; at least 90 %% valid on wall and box: %s",
                 accurate ? "yes" : "NO", covered ? "yes" : "NO");

  OutputChoice choice;
  choice.arrays = true;
  writeFrameOutputs(out, "", last, choice);
  {
    std::ofstream file(out.file("report.txt"));
    file << report;
    if (!file.flush()) throw ToolError("cannot write " + out.file("report.txt"));
  }
  out.commit();
  std::cout << report << "\noutputs of the last frame set in " << o.out
            << "/: distance.png, amplitude.png, intensity.png, noise.png, flags.png, points.ply, "
               "*.npy, report.txt\n"
            << "the input is there too: kelvora process " << o.out << "/calibration.bin " << o.out
            << "/recording.kvrec --out <folder>\n";
}

}  // namespace

void addDemoCommand(CLI::App& app) {
  auto o = std::make_shared<DemoOptions>();
  CLI::App* cmd = app.add_subcommand(
      "demo", "Process a synthetic recording of a known scene and report the accuracy");
  cmd->add_option("--out", o->out, "output folder")->capture_default_str();
  cmd->add_option("--frames", o->frameSets, "number of frame sets")->capture_default_str();
  cmd->add_option("--set", o->settings, "set a processing parameter: name=value (repeatable)");
  cmd->callback([o] { runDemo(*o); });
}

}  // namespace kelvora::tools
