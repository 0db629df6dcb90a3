// Stray-light correction of one 224 x 172 frequency against the two 2-D
// transforms it has to run anyway: padding, spectrum product and write-back
// should add at most a quarter on top of them.
#include <benchmark/benchmark.h>
#include <kissfft/kiss_fftnd.h>

#include <cstdlib>
#include <cstring>
#include <random>

#include "calibration/KelvoraCalibration.hpp"
#include "core/KelvoraIntermediate.hpp"
#include "core/KelvoraParameter.hpp"
#include "filters/StrayLight.hpp"

namespace kelvora {
namespace {

constexpr uint32_t kWidth = 224;
constexpr uint32_t kHeight = 172;

struct StrayLightSetup {
  KelvoraCalibration* calibration;
  KelvoraIntermediate* intermediate = nullptr;

  StrayLightSetup(uint32_t kernelWidth, uint32_t kernelHeight) {
    calibration = allocateCalibration(kWidth * kHeight);
    const uint32_t roi[4] = {0, 0, kWidth, kHeight};
    std::memcpy(calibration->calibrationROI, roi, sizeof roi);
    calibration->psfWidth = kernelWidth;
    calibration->psfHeight = kernelHeight;
    const uint32_t bins = kernelWidth * kernelHeight;
    calibration->psf = static_cast<float*>(std::malloc(sizeof(float) * bins));
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> u(0.7f, 1.0f);
    for (uint32_t k = 0; k < bins; ++k) calibration->psf[k] = u(rng);

    KelvoraParameter p{};
    p.width = kWidth;
    p.height = kHeight;
    p.numFreqs = 1;
    p.freq1 = 80000000;
    kelvoraIntermediateInit(&p, calibration, &intermediate);
    std::uniform_real_distribution<float> raw(-500.f, 1500.f);
    for (uint32_t i = 0; i < kWidth * kHeight; ++i) {
      intermediate->probeData[0].real[i] = raw(rng);
      intermediate->probeData[0].imag[i] = raw(rng);
    }
  }
  ~StrayLightSetup() {
    kelvoraIntermediateFree(intermediate);
    kelvora_freeCalibration(calibration);
  }
};

void BM_RemoveStrayLight(benchmark::State& state) {
  StrayLightSetup s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  for (auto _ : state) {
    removeStrayLight(&s.intermediate->probeData[0], &s.intermediate->strayLight, s.calibration);
    benchmark::ClobberMemory();
  }
}

// Only the forward and inverse transform of the same kernel size.
void BM_StrayLightTransformsOnly(benchmark::State& state) {
  StrayLightSetup s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  KelvoraIntermediateStrayLight& sl = s.intermediate->strayLight;
  for (auto _ : state) {
    kiss_fftnd(sl.forwardPlan, sl.bufferA, sl.bufferB);
    kiss_fftnd(sl.inversePlan, sl.bufferB, sl.bufferA);
    benchmark::ClobberMemory();
  }
}

// 256 x 192 (2^8, 2^6 * 3) and 240 x 180 (radices 2, 3, 5 only), both at
// least the image plus the scatter reach at the borders.
BENCHMARK(BM_RemoveStrayLight)->Args({256, 192})->Args({240, 180})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_StrayLightTransformsOnly)
    ->Args({256, 192})
    ->Args({240, 180})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace kelvora
