#include "EngineFuzzInput.hpp"

#include <cstring>

#include "FuzzSupport.hpp"
#include "calibration/HandlerPsfAndDirections.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"
#include "synthetic/SceneRenderer.hpp"

namespace kelvora::fuzz {

std::vector<EngineCalibration> engineCalibrations() {
  auto make = [](uint32_t w, uint32_t h, std::vector<uint32_t> freqs) {
    EngineCalibration e;
    e.options.width = w;
    e.options.height = h;
    e.options.frequencies = std::move(freqs);
    e.options.maskedFraction = 0.05f;
    return e;
  };
  return {
      make(40, 30, {80320000u, 60240000u}),
      make(13, 7, {60240000u}),
      make(24, 16, {80320000u, 60240000u}),
      make(9, 5, {80320000u, 60240000u}),
  };
}

std::vector<uint8_t> engineCalibrationBlob(const EngineCalibration& entry) {
  RecordPtr c(synth::makeSyntheticCalibration(entry.options));
  return synth::writeContainerCalibration(*c, {});
}

std::vector<uint8_t> renderedEngineInput(uint32_t calibrationIndex, uint32_t frameIndex) {
  const EngineCalibration entry = engineCalibrations().at(calibrationIndex);
  RecordPtr c(synth::makeSyntheticCalibration(entry.options));
  const uint32_t n = entry.options.width * entry.options.height;
  kelvora_calcTavelPsfAndDirections(c.get(), n);
  synth::SceneOptions scene;
  const synth::SceneGeometry geometry =
      synth::castScene(c->directions, entry.options.width, entry.options.height, scene);
  const synth::RenderedFrameSet frames = synth::renderFrameSet(*c, geometry, scene, frameIndex);

  std::vector<uint8_t> in = {static_cast<uint8_t>(calibrationIndex), 0, 0, 1,
                             kProcessWholeReference};
  auto put32 = [&in](uint32_t v) {
    for (int b = 0; b < 4; ++b) in.push_back(static_cast<uint8_t>(v >> (8 * b)));
  };
  uint32_t t;
  std::memcpy(&t, &frames.temperature, 4);
  put32(t);
  for (uint32_t e : frames.exposureTimes) put32(e);
  auto putFrame = [&in](const std::vector<uint16_t>& f) {
    for (uint16_t v : f) {
      in.push_back(static_cast<uint8_t>(v));
      in.push_back(static_cast<uint8_t>(v >> 8));
    }
  };
  putFrame(frames.grey);
  for (uint32_t f = 0; f < 2; ++f) {
    for (uint32_t k = 0; k < 4; ++k) {
      putFrame(f < frames.frequencyCount ? frames.phase[f][k] : frames.phase[0][k]);
    }
  }
  return in;
}

}  // namespace kelvora::fuzz
