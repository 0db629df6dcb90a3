#include <benchmark/benchmark.h>

#include "StageBenchData.hpp"
#include "core/CalcPixel.hpp"
#include "core/TwoFrequencyUnwrap.hpp"
#include "core/UnscrambleReIm.hpp"

namespace kelvora::bench {
namespace {

void prepareDistances(StageData& s) {
  for (uint32_t k = 0; k < 2; ++k) {
    PerFrequency& p = s.f[k];
    UnscrambleReImKernel(simd::NativeTag(), s.width, s.height, 0, 65535, s.frames(k), p.imag.data(),
                         p.real.data(), p.asym.data(), s.flags.data());
    CalcPixelRun(simd::NativeTag(), s.constants(k), s.buffers(k), s.n);
  }
}

template <class D>
void BM_Calc2Freq(benchmark::State& state) {
  StageData s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  prepareDistances(s);
  const TwoFrequencyConstants c = twoFrequencyConstants(kF1, kF2);
  for (auto _ : state) {
    Calc2FreqRun(D(), c, s.n, s.f[0].distance.data(), s.f[1].distance.data(),
                 s.f[0].distNoise.data(), s.f[1].distNoise.data(), s.dist.data(), s.diff.data(),
                 s.noise.data());
    benchmark::DoNotOptimize(s.dist.data());
  }
  state.SetItemsProcessed(state.iterations() * s.n);
}

BENCHMARK_TEMPLATE(BM_Calc2Freq, simd::scalar::Tag)->Apply(sensorSizes);
BENCHMARK_TEMPLATE(BM_Calc2Freq, simd::NativeTag)->Apply(sensorSizes);

// Raw phase frames of both frequencies to one unwrapped distance image; the
// counter is the time per pixel and frequency.
template <class D>
void BM_RawToDistanceTwoFrequencies(benchmark::State& state) {
  StageData s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  const TwoFrequencyConstants c = twoFrequencyConstants(kF1, kF2);
  for (auto _ : state) {
    for (uint32_t k = 0; k < 2; ++k) {
      PerFrequency& p = s.f[k];
      UnscrambleReImKernel(D(), s.width, s.height, 0, 65535, s.frames(k), p.imag.data(),
                           p.real.data(), p.asym.data(), s.flags.data());
      CalcPixelRun(D(), s.constants(k), s.buffers(k), s.n);
    }
    Calc2FreqRun(D(), c, s.n, s.f[0].distance.data(), s.f[1].distance.data(),
                 s.f[0].distNoise.data(), s.f[1].distNoise.data(), s.dist.data(), s.diff.data(),
                 s.noise.data());
    benchmark::DoNotOptimize(s.dist.data());
  }
  state.counters["per_pixel_and_frequency"] = benchmark::Counter(
      2.0 * s.n, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

BENCHMARK_TEMPLATE(BM_RawToDistanceTwoFrequencies, simd::scalar::Tag)->Apply(sensorSizes);
BENCHMARK_TEMPLATE(BM_RawToDistanceTwoFrequencies, simd::NativeTag)->Apply(sensorSizes);

}  // namespace
}  // namespace kelvora::bench
