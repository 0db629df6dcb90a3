// Stray-light correction of one 224 x 172 frequency against the two 2-D
// transforms it has to run anyway: padding, spectrum product and write-back
// should add at most a quarter on top of them.
#include <benchmark/benchmark.h>
#include <kissfft/kiss_fftnd.h>

#include <algorithm>
#include <vector>

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraParameter.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "calibration/PointSpreadFunction.hpp"
#include "filters/StrayLight.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

constexpr uint32_t kWidth = 224;
constexpr uint32_t kHeight = 172;

// The synthetic module's scatter model on a kernel of the given size, and
// the scratch the engine would make for it.
struct StrayLightSetup {
  KelvoraCalibration* calibration;
  KelvoraIntermediate* intermediate = nullptr;

  StrayLightSetup(uint32_t kernelWidth, uint32_t kernelHeight) {
    synth::SyntheticCalibrationOptions options;
    options.width = kWidth;
    options.height = kHeight;
    options.frequencies = {80320000u};
    options.strayLight = true;
    calibration = synth::makeSyntheticCalibration(options);
    calibration->psfWidth = kernelWidth;
    calibration->psfHeight = kernelHeight;
    kelvora_allocateAndCalculatePsf(calibration);

    KelvoraParameter p{};
    p.width = kWidth;
    p.height = kHeight;
    p.numFreqs = 1;
    p.freq1 = options.frequencies[0];
    kelvoraIntermediateInit(&p, calibration, &intermediate);
    synth::SplitMix rng(3);
    for (uint32_t i = 0; i < kWidth * kHeight; ++i) {
      intermediate->probeData[0].real[i] = rng.uniform(-500.f, 1500.f);
      intermediate->probeData[0].imag[i] = rng.uniform(-500.f, 1500.f);
    }
  }
  ~StrayLightSetup() {
    kelvoraIntermediateFree(intermediate);
    kelvora_freeCalibration(calibration);
  }
  StrayLightSetup(const StrayLightSetup&) = delete;
  StrayLightSetup& operator=(const StrayLightSetup&) = delete;
};

// Each iteration starts from the same input: run in place, the correction
// would otherwise shrink the signal towards denormals, and the unnormalised
// transform pair would grow it to infinity. The restore is not timed.
void BM_RemoveStrayLight(benchmark::State& state) {
  StrayLightSetup s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  KelvoraIntermediateProbeData& probe = s.intermediate->probeData[0];
  const std::vector<float> re(probe.real, probe.real + kWidth * kHeight);
  const std::vector<float> im(probe.imag, probe.imag + kWidth * kHeight);
  for (auto _ : state) {
    removeStrayLight(&probe, &s.intermediate->strayLight, s.calibration);
    benchmark::ClobberMemory();
    state.PauseTiming();
    std::copy(re.begin(), re.end(), probe.real);
    std::copy(im.begin(), im.end(), probe.imag);
    state.ResumeTiming();
  }
}

// Only the forward and inverse transform of the same kernel size.
void BM_StrayLightTransformsOnly(benchmark::State& state) {
  StrayLightSetup s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  KelvoraIntermediateStrayLight& sl = s.intermediate->strayLight;
  // A padded frame as the correction would transform it.
  removeStrayLight(&s.intermediate->probeData[0], &sl, s.calibration);
  const std::vector<kiss_fft_cpx> input(sl.bufferA, sl.bufferA + state.range(0) * state.range(1));
  for (auto _ : state) {
    kiss_fftnd(sl.forwardPlan, sl.bufferA, sl.bufferB);
    kiss_fftnd(sl.inversePlan, sl.bufferB, sl.bufferA);
    benchmark::ClobberMemory();
    state.PauseTiming();
    std::copy(input.begin(), input.end(), sl.bufferA);
    state.ResumeTiming();
  }
}

// Kernel sizes with radices 2, 3 and 5 only: 256 x 192 (2^8, 2^6 * 3),
// 240 x 180, and 256 x 216, the synthetic module's own (image + 32 rounded up).
#define KELVORA_STRAY_LIGHT_SIZES(bm) \
  BENCHMARK(bm)->Args({256, 192})->Args({240, 180})->Args({256, 216})->Unit(benchmark::kMicrosecond)
KELVORA_STRAY_LIGHT_SIZES(BM_RemoveStrayLight);
KELVORA_STRAY_LIGHT_SIZES(BM_StrayLightTransformsOnly);

}  // namespace
}  // namespace kelvora
