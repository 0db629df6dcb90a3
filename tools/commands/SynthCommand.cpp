// kelvora synth --out DIR [options]: a synthetic calibration and recording.
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands/Commands.hpp"
#include "support/NpyWriter.hpp"
#include "support/StagingDir.hpp"
#include "support/SyntheticData.hpp"
#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

struct SynthOptions {
  std::string out;
  uint32_t width = 224;
  uint32_t height = 172;
  std::vector<uint32_t> frequencies = {80320000u, 60240000u};
  std::string format = "container";
  uint32_t frameSets = 5;
  float wall = 4.0f;
  bool noBox = false, noFloor = false, noPatch = false, noNoise = false;
  uint32_t seed = 7;
  bool strayLight = false;
};

void runSynth(const SynthOptions& o) {
  SyntheticDataOptions d;
  d.calibration.width = o.width;
  d.calibration.height = o.height;
  d.calibration.frequencies = o.frequencies;
  d.calibration.strayLight = o.strayLight;
  d.format = parseFormatName(o.format);
  d.frameSets = o.frameSets;
  d.scene.wallDistance = o.wall;
  d.scene.withBox = !o.noBox;
  d.scene.withFloor = !o.noFloor;
  d.scene.withPatch = !o.noPatch;
  d.scene.noise = !o.noNoise;
  d.scene.seed = o.seed;
  const SyntheticData data = makeSyntheticData(d);

  StagingDir out(o.out, "synth");
  std::vector<std::string> written = {"calibration.bin", "recording.kvrec", "true_distance.npy"};
  {
    std::ofstream blob(out.file(written[0]), std::ios::binary | std::ios::trunc);
    blob.write(reinterpret_cast<const char*>(data.calibration.data()),
               static_cast<std::streamsize>(data.calibration.size()));
    if (!blob.flush()) throw ToolError("cannot write " + out.file(written[0]));
  }
  writeRecording(out.file(written[1]), data.header, data.frameSets);
  writeNpy(out.file(written[2]), data.geometry.trueDistance.data(), {o.height, o.width});
  out.commit();
  std::cout << "wrote " << o.out << "/calibration.bin (" << o.format << ", "
            << data.calibration.size() << " bytes), " << o.out << "/recording.kvrec ("
            << data.frameSets.size() << " frame sets of " << o.width << " x " << o.height
            << ") and " << o.out << "/true_distance.npy\n";
  if (d.format == CalibrationFormat::kBlock) {
    std::cout << "note: the engine does not process block-format calibrations (its handlers "
                 "read them as legacy); kelvora calib "
              << o.out << "/calibration.bin shows what this one holds\n";
  }
}

}  // namespace

void addSynthCommand(CLI::App& app) {
  auto o = std::make_shared<SynthOptions>();
  CLI::App* cmd = app.add_subcommand(
      "synth", "Write a synthetic calibration and a recording of a scene with known distances");
  cmd->add_option("--out", o->out, "output folder")->required();
  cmd->add_option("--width", o->width, "frame width in pixels")->capture_default_str();
  cmd->add_option("--height", o->height, "frame height in pixels")->capture_default_str();
  cmd->add_option("--freq", o->frequencies, "modulation frequencies in Hz (one or two)")
      ->capture_default_str();
  cmd->add_option("--format", o->format, "calibration format: container, legacy or block")
      ->capture_default_str();
  cmd->add_option("--frames", o->frameSets, "number of frame sets")->capture_default_str();
  cmd->add_option("--wall", o->wall, "distance of the back wall in metres")->capture_default_str();
  cmd->add_flag("--no-box", o->noBox, "leave out the box in front of the wall");
  cmd->add_flag("--no-floor", o->noFloor, "leave out the floor");
  cmd->add_flag("--no-patch", o->noPatch, "leave out the bright (saturating) patch on the wall");
  cmd->add_flag("--no-noise", o->noNoise, "render without sensor noise");
  cmd->add_option("--seed", o->seed, "seed of the sensor noise")->capture_default_str();
  cmd->add_flag("--stray-light", o->strayLight, "give the calibration a stray-light model");
  cmd->callback([o] { runSynth(*o); });
}

}  // namespace kelvora::tools
