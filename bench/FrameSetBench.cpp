// One whole frame set through the three core drivers (grey frame, two
// frequencies, combine) on a rendered scene at each vector width, and each
// stage of it on its own on each vector target (the scalar path included), at
// the small and the large sensor size. Per-pixel costs are reported as
// counters so the two sizes can be compared directly.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "base/KelvoraInput.hpp"
#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "calibration/HandlerPsfAndDirections.hpp"
#include "core/CalcPixel.hpp"
#include "core/CombineStages.hpp"
#include "core/FrameDrivers.hpp"
#include "core/TwoFrequencyUnwrap.hpp"
#include "core/UnscrambleIntensity.hpp"
#include "core/UnscrambleReIm.hpp"
#include "filters/AdaptiveNoiseFilter.hpp"
#include "filters/AutoExposure.hpp"
#include "filters/Filter2Freq.hpp"
#include "filters/MultipathFlags.hpp"
#include "filters/StrayLight.hpp"
#include "simd/Targets.hpp"
#include "synthetic/DefaultParameters.hpp"
#include "synthetic/OutputArrays.hpp"
#include "synthetic/SceneRenderer.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

// The parameter registry's processing defaults, with exposure limits that
// give the auto exposure room.
KelvoraParameter defaultSwitches(uint32_t width, uint32_t height) {
  KelvoraParameter p = synth::defaultCoreParameters(width, height);
  p.useRemoveStrayLight = false;
  p.exposureLimitLower = 100;
  p.exposureLimitUpper = 4000;
  return p;
}

// A synthetic module, its scratch, one rendered frame set and output arrays
// of exactly n elements (as a caller's redirected arrays may be).
struct FrameSet : synth::OutputArrays {
  KelvoraCalibration* calibration = nullptr;
  KelvoraIntermediate* intermediate = nullptr;
  KelvoraParameter parameters{};
  KelvoraInput input{};
  synth::RenderedFrameSet frames;
  uint32_t n;

  FrameSet(uint32_t width, uint32_t height, bool strayLight)
      : synth::OutputArrays(width * height), n(width * height) {
    synth::SyntheticCalibrationOptions options;
    options.width = width;
    options.height = height;
    options.strayLight = strayLight;
    calibration = synth::makeSyntheticCalibration(options);
    // The block-format operation builds the stray-light kernel as well.
    kelvora_calcQVPsfAndDirections(calibration, n);
    parameters = defaultSwitches(width, height);
    parameters.useRemoveStrayLight = calibration->psf != nullptr;
    kelvoraTavelInit(&parameters, calibration, &intermediate);

    const synth::SceneOptions scene;
    const synth::SceneGeometry geometry =
        synth::castScene(calibration->directions, width, height, scene);
    frames = synth::renderFrameSet(*calibration, geometry, scene, 0);
    input.temperature = frames.temperature;
    input.intensityFrame = frames.grey.data();
    for (uint32_t f = 0; f < 2; ++f) {
      for (uint32_t k = 0; k < 4; ++k) input.modFrames[f][k] = frames.phase[f][k].data();
    }
    for (int i = 0; i < 3; ++i) input.exposureTimes[i] = frames.exposureTimes[i];

    processWhole();  // every stage's inputs hold real data from here on
  }
  ~FrameSet() {
    kelvoraTavelFree(intermediate);
    kelvora_freeCalibration(calibration);
  }
  FrameSet(const FrameSet&) = delete;
  FrameSet& operator=(const FrameSet&) = delete;

  void processWhole() {
    kelvora_processIntensity(&input, calibration, &parameters, intermediate, &output);
    for (uint32_t f = 0; f < parameters.numFreqs; ++f) {
      kelvora_processModFrames(&input, calibration, &parameters, intermediate, &output, f);
    }
    kelvora_combineResults(&input, calibration, &parameters, intermediate, &output);
  }
};

void perPixel(benchmark::State& state, uint32_t n, const char* name = "ns_per_pixel") {
  state.counters[name] = benchmark::Counter(
      static_cast<double>(n) * 1e-9,
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Runs one benchmark on one vector target and restores the default
// afterwards; skips it where the target is missing.
class TargetChoice {
 public:
  TargetChoice(benchmark::State& state, simd::Target target)
      : ok_(simd::targetAvailable(target)), previous_(simd::selectTarget(target)) {
    if (!ok_) state.SkipWithError("target not available here");
  }
  ~TargetChoice() { simd::selectTarget(previous_); }
  TargetChoice(const TargetChoice&) = delete;
  TargetChoice& operator=(const TargetChoice&) = delete;
  bool ok() const { return ok_; }

 private:
  bool ok_;
  simd::Target previous_;
};

// The target of a width: AVX-512, AVX2, or the four-lane one this library
// is built for.
simd::Target widthTarget(int64_t lanes) {
  if (lanes == 16) return simd::Target::kAvx512;
  if (lanes == 8) return simd::Target::kAvx2;
  const unsigned previous = simd::setVectorLanes(4);
  const simd::Target baseline = simd::selectedTarget();
  simd::setVectorLanes(previous);
  return baseline;
}

void sizes(benchmark::internal::Benchmark* b) {
  b->ArgNames({"w", "h", "lanes"})->Unit(benchmark::kMicrosecond);
  for (const auto& [w, h] : {std::pair<int64_t, int64_t>{224, 172}, {640, 480}}) {
    for (const int64_t lanes : {4, 8, 16}) b->Args({w, h, lanes});
  }
}

void BM_FrameSet(benchmark::State& state) {
  const TargetChoice target(state, widthTarget(state.range(2)));
  if (!target.ok()) return;
  FrameSet s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)), false);
  for (auto _ : state) {
    s.processWhole();
    benchmark::ClobberMemory();
  }
  perPixel(state, s.n);
}
BENCHMARK(BM_FrameSet)->Apply(sizes);

void BM_FrameSetStrayLight(benchmark::State& state) {
  FrameSet s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)), true);
  if (!s.parameters.useRemoveStrayLight) {
    state.SkipWithError("no stray-light kernel");
    return;
  }
  for (auto _ : state) {
    s.processWhole();
    benchmark::ClobberMemory();
  }
  perPixel(state, s.n);
}
BENCHMARK(BM_FrameSetStrayLight)
    ->Args({224, 172})
    ->ArgNames({"w", "h"})
    ->Unit(benchmark::kMicrosecond);

// The stages one by one, in driver order, on the data the frame set left.
enum Stage : int64_t {
  kIntensity,
  kUnscramble,
  kStrayLight,
  kCalcPixel,
  kUnwrap,
  kFilter2Freq,
  kAdaptiveNoise,
  kMultipath,
  kFinish,
  kAutoExposure,
  kStageCount
};
const char* const kStageNames[kStageCount] = {
    "intensity",     "unscramble(f0)", "straylight(f0)",
    "calcPixel(f0)", "calc2Freq",      "filter2Freq",
    "adaptiveNoise", "multipath",      "noise+flying+pointCloud+amplitude+validate",
    "autoExposure"};

void runStage(FrameSet& s, Stage stage) {
  KelvoraParameter& p = s.parameters;
  KelvoraIntermediate* im = s.intermediate;
  KelvoraIntermediateProbeData* probes = im->probeData;
  const int w = static_cast<int>(p.width), h = static_cast<int>(p.height);
  switch (stage) {
    case kIntensity:
      kelvora_processIntensity(&s.input, s.calibration, &p, im, &s.output);
      break;
    case kUnscramble:
      unscrambleReIm_flagSaturation_arm(&s.input, &p, &probes[0], &s.output, s.input.modFrames[0]);
      break;
    case kStrayLight:
      removeStrayLight(&probes[0], &im->strayLight, s.calibration);
      break;
    case kCalcPixel:
      calcPixel(&s.input, &p, s.calibration, im, &s.output, 0);
      break;
    case kUnwrap:
      calc2Freq_arm(s.n, probes[0].distance, probes[1].distance, probes[0].distanceNoise,
                    probes[1].distanceNoise, p.freq1, p.freq2, s.output.distance,
                    im->distanceDifference, s.output.noise);
      break;
    case kFilter2Freq:
      filter2Freq(w, h, p.freq1, p.freq2, im->filterScratch, s.output.distance);
      break;
    case kAdaptiveNoise:
      filterAdaptiveNoise_arm(w, h, p.adaptiveNoiseFilterType, im->filterScratch, s.output.noise,
                              s.output.flags, s.output.distance);
      break;
    case kMultipath:
      kelvora_flagMultipath(&p, im, &s.output);
      break;
    case kFinish:
      finishOutput(p, *s.calibration, *im, s.output);
      break;
    case kAutoExposure:
      calcAutoExposure(s.n, s.output.amplitude, &p, &im->autoExposure, s.input.exposureTimes,
                       s.output.exposureProposal);
      break;
    default:
      break;
  }
}

void BM_FrameSetStage(benchmark::State& state) {
  const auto stage = static_cast<Stage>(state.range(0));
  const uint32_t w = static_cast<uint32_t>(state.range(1));
  const uint32_t h = static_cast<uint32_t>(state.range(2));
  const TargetChoice target(state, static_cast<simd::Target>(state.range(3)));
  if (!target.ok()) return;
  FrameSet s(w, h, stage == kStrayLight);
  if (stage == kStrayLight && !s.parameters.useRemoveStrayLight) {
    state.SkipWithError("no stray-light kernel");
    return;
  }
  state.SetLabel(std::string(kStageNames[stage]) + " on " +
                 simd::targetName(simd::selectedTarget()));
  // Stages that work in place (stray light, the filters) see their own output
  // again; restore the frame set's state now and then so they keep working on
  // realistic data. The restore is not timed.
  uint64_t count = 0;
  for (auto _ : state) {
    runStage(s, stage);
    benchmark::ClobberMemory();
    if ((++count & 63u) == 0 && stage != kIntensity && stage != kUnscramble) {
      state.PauseTiming();
      s.processWhole();
      state.ResumeTiming();
    }
  }
  perPixel(state, s.n);
}
void stages(benchmark::internal::Benchmark* b) {
  b->ArgNames({"stage", "w", "h", "target"})->Unit(benchmark::kMicrosecond);
  for (int64_t st = 0; st < kStageCount; ++st) {
    for (unsigned t = 0; t < simd::kTargetCount; ++t) {
      if (!simd::targetAvailable(static_cast<simd::Target>(t))) continue;
      b->Args({st, 224, 172, t});
      if (st != kStrayLight) b->Args({st, 640, 480, t});
    }
  }
}
BENCHMARK(BM_FrameSetStage)->Apply(stages);

// Unscrambling, the per-pixel stage and the unwrapping of both frequencies,
// as the drivers run them, per pixel and frequency.
void BM_FrameSetRawToDistance(benchmark::State& state) {
  const TargetChoice target(state, widthTarget(state.range(2)));
  if (!target.ok()) return;
  FrameSet s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)), false);
  for (auto _ : state) {
    for (uint32_t f = 0; f < 2; ++f) {
      unscrambleReIm_flagSaturation_arm(&s.input, &s.parameters, &s.intermediate->probeData[f],
                                        &s.output, s.input.modFrames[f]);
      calcPixel(&s.input, &s.parameters, s.calibration, s.intermediate, &s.output, f);
    }
    runStage(s, kUnwrap);
    benchmark::ClobberMemory();
  }
  perPixel(state, 2 * s.n, "ns_per_pixel_and_frequency");
}
BENCHMARK(BM_FrameSetRawToDistance)->Apply(sizes);

}  // namespace
}  // namespace kelvora
