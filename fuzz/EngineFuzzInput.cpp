#include "EngineFuzzInput.hpp"

#include <cstring>

#include "FuzzSupport.hpp"
#include "calibration/HandlerPsfAndDirections.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"
#include "synthetic/SceneRenderer.hpp"

namespace kelvora::fuzz {

std::vector<synth::SyntheticCalibrationOptions> engineCalibrations() {
  std::vector<synth::SyntheticCalibrationOptions> all(4);
  const uint32_t sizes[4][2] = {{40, 30}, {13, 7}, {24, 16}, {9, 5}};
  for (size_t i = 0; i < all.size(); ++i) {
    all[i].width = sizes[i][0];
    all[i].height = sizes[i][1];
    all[i].maskedFraction = 0.05f;
  }
  all[1].frequencies = {60240000u};
  return all;
}

std::vector<uint8_t> engineCalibrationBlob(const synth::SyntheticCalibrationOptions& options) {
  RecordPtr c(synth::makeSyntheticCalibration(options));
  return synth::writeContainerCalibration(*c, {});
}

std::vector<uint8_t> renderedEngineInput(uint32_t calibrationIndex, uint32_t frameIndex) {
  const synth::SyntheticCalibrationOptions o = engineCalibrations().at(calibrationIndex);
  RecordPtr c(synth::makeSyntheticCalibration(o));
  kelvora_calcTavelPsfAndDirections(c.get(), o.width * o.height);
  const synth::SceneOptions scene;
  const synth::RenderedFrameSet frames = synth::renderFrameSet(
      *c, synth::castScene(c->directions, o.width, o.height, scene), scene, frameIndex);

  std::vector<uint8_t> in = {static_cast<uint8_t>(calibrationIndex), 0, 0, 1,
                             kProcessWholeReference};
  const auto put = [&in](const void* p, size_t bytes) {
    in.insert(in.end(), static_cast<const uint8_t*>(p), static_cast<const uint8_t*>(p) + bytes);
  };
  put(&frames.temperature, 4);  // little-endian host, as the layout is
  put(frames.exposureTimes, sizeof frames.exposureTimes);
  put(frames.grey.data(), 2 * frames.grey.size());
  for (uint32_t f = 0; f < 2; ++f) {
    for (const std::vector<uint16_t>& frame : frames.phase[f < frames.frequencyCount ? f : 0]) {
      put(frame.data(), 2 * frame.size());
    }
  }
  return in;
}

}  // namespace kelvora::fuzz
