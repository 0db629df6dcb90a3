#include "common/EngineHarness.hpp"

#include <gtest/gtest.h>

#include "calibration/HandlerPsfAndDirections.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"

namespace kelvora::testing {

synth::SyntheticCalibrationOptions smallCalibration(std::vector<uint32_t> frequencies) {
  synth::SyntheticCalibrationOptions o;
  o.width = 40;
  o.height = 30;
  o.frequencies = std::move(frequencies);
  return o;
}

std::vector<uint8_t> containerBlobFor(const synth::SyntheticCalibrationOptions& options) {
  KelvoraCalibration* c = synth::makeSyntheticCalibration(options);
  std::vector<uint8_t> blob = synth::writeContainerCalibration(*c, {});
  kelvora_freeCalibration(c);
  return blob;
}

EnginePtr makeEngine(const std::vector<uint8_t>& blob) {
  const ArrayReference<unsigned char> bytes(const_cast<unsigned char*>(blob.data()),
                                            static_cast<uint32_t>(blob.size()));
  IKelvora* engine = nullptr;
  const KelvoraStatus s = getKelvora(bytes, &engine);
  EXPECT_EQ(s.code, KelvoraStatus::SUCCESS) << s.detail;
  return EnginePtr(engine);
}

Input<ArrayReference, 2> inputFor(synth::RenderedFrameSet& frames) {
  const uint32_t n = frames.width * frames.height;
  Input<ArrayReference, 2> in;
  in.temperature = frames.temperature;
  in.intensityExposureTime = frames.exposureTimes[0];
  in.intensityFrame = ArrayReference<unsigned short>(frames.grey.data(), n);
  for (uint32_t f = 0; f < frames.frequencyCount; ++f) {
    for (uint32_t k = 0; k < 4; ++k) {
      in.frequencies[f].phaseFrames[k] =
          ArrayReference<unsigned short>(frames.phase[f][k].data(), n);
    }
    in.frequencies[f].exposureTime = frames.exposureTimes[1 + f];
  }
  return in;
}

namespace {

template <ResultType RT>
void appendBytes(IKelvora& e, std::vector<unsigned char>& out) {
  const auto r = e.results<RT>();
  const auto* p = reinterpret_cast<const unsigned char*>(r.data());
  out.insert(out.end(), p, p + r.size() * sizeof(*r.data()));
}

}  // namespace

std::vector<unsigned char> resultBytes(IKelvora& engine) {
  std::vector<unsigned char> all;
  appendBytes<DISTANCE>(engine, all);
  appendBytes<AMPLITUDE>(engine, all);
  appendBytes<NOISE>(engine, all);
  appendBytes<INTENSITY>(engine, all);
  appendBytes<POINT_CLOUD>(engine, all);
  appendBytes<FLAGS>(engine, all);
  appendBytes<EXPOSURE_PROPOSALS>(engine, all);
  return all;
}

SceneForEngine::SceneForEngine(const synth::SyntheticCalibrationOptions& calibration,
                               const synth::SceneOptions& scene)
    : calibration_(synth::makeSyntheticCalibration(calibration)), scene_(scene) {
  const uint32_t n = calibration.width * calibration.height;
  kelvora_calcTavelPsfAndDirections(calibration_, n);
  geometry_ =
      synth::castScene(calibration_->directions, calibration.width, calibration.height, scene);
}

SceneForEngine::~SceneForEngine() {
  kelvora_freeCalibration(calibration_);
}

synth::RenderedFrameSet SceneForEngine::render(uint32_t frameIndex) const {
  return synth::renderFrameSet(*calibration_, geometry_, scene_, frameIndex);
}

}  // namespace kelvora::testing
