#include "common/PipelineHarness.hpp"

#include <stdexcept>

#include "calibration/HandlerPsfAndDirections.hpp"
#include "core/FrameDrivers.hpp"

namespace kelvora::testing {

PipelineHarness::PipelineHarness(const synth::SyntheticCalibrationOptions& co,
                                 const synth::SceneOptions& so)
    : synth::OutputArrays(co.width * co.height),
      calibration_(synth::makeSyntheticCalibration(co)),
      scene_(so) {
  const uint32_t n = co.width * co.height;
  // The block-format operation also builds the kernel when there is a
  // stray-light model, which the container one never does.
  if (kelvora_calcQVPsfAndDirections(calibration_.get(), n) != 0) {
    throw std::runtime_error("directions failed");
  }
  parameters_ = defaultParameters(co.width, co.height);
  parameters_.numFreqs = static_cast<uint8_t>(co.frequencies.size() > 1 ? 2 : 1);
  parameters_.freq1 = co.frequencies[0];
  parameters_.freq2 = co.frequencies.size() > 1 ? co.frequencies[1] : 0;
  parameters_.useRemoveStrayLight = calibration_->psf != nullptr;
  parameters_.exposureLimitLower = 100;
  parameters_.exposureLimitUpper = 4000;
  geometry_ = synth::castScene(calibration_->directions, co.width, co.height, so);
}

int32_t PipelineHarness::initialise() {
  intermediate_.reset();
  KelvoraIntermediate* im = nullptr;
  const int32_t result = kelvoraTavelInit(&parameters_, calibration_.get(), &im);
  intermediate_.reset(im);
  return result;
}

synth::RenderedFrameSet PipelineHarness::render(uint32_t frameIndex) const {
  return synth::renderFrameSet(*calibration_, geometry_, scene_, frameIndex);
}

void PipelineHarness::process(const synth::RenderedFrameSet& frames) {
  if (!intermediate_) initialise();
  input_.temperature = frames.temperature;
  input_.intensityFrame = frames.grey.data();
  for (uint32_t f = 0; f < 2; ++f) {
    for (uint32_t k = 0; k < 4; ++k) {
      input_.modFrames[f][k] = frames.phase[f][k].empty() ? nullptr : frames.phase[f][k].data();
    }
  }
  for (int i = 0; i < 3; ++i) input_.exposureTimes[i] = frames.exposureTimes[i];
  KelvoraIntermediate* im = intermediate_.get();
  kelvora_processIntensity(&input_, calibration_.get(), &parameters_, im, &output);
  for (uint32_t f = 0; f < parameters_.numFreqs; ++f) {
    kelvora_processModFrames(&input_, calibration_.get(), &parameters_, im, &output, f);
  }
  kelvora_combineResults(&input_, calibration_.get(), &parameters_, im, &output);
}

}  // namespace kelvora::testing
