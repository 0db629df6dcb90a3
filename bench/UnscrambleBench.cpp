#include <benchmark/benchmark.h>

#include "StageBenchData.hpp"
#include "core/UnscrambleIntensity.hpp"
#include "core/UnscrambleReIm.hpp"

namespace kelvora::bench {
namespace {

template <class D>
void BM_UnscrambleReIm(benchmark::State& state) {
  StageData s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  PerFrequency& p = s.f[0];
  for (auto _ : state) {
    UnscrambleReImKernel(D(), s.width, s.height, 1, 65000, s.frames(0), p.imag.data(),
                         p.real.data(), p.asym.data(), s.flags.data());
    benchmark::DoNotOptimize(p.asym.data());
  }
  state.SetItemsProcessed(state.iterations() * s.n);
}

template <class D>
void BM_UnscrambleIntensity(benchmark::State& state) {
  StageData s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  for (auto _ : state) {
    UnscrambleIntensityKernel(D(), s.width, s.height, s.f[0].frames[0].data(), s.f[0].fppn.data(),
                              intensityScale(500), s.dist.data(), s.intensity.data());
    benchmark::DoNotOptimize(s.intensity.data());
  }
  state.SetItemsProcessed(state.iterations() * s.n);
}

BENCHMARK_TEMPLATE(BM_UnscrambleReIm, simd::scalar::Tag)->Apply(sensorSizes);
BENCHMARK_TEMPLATE(BM_UnscrambleReIm, simd::NativeTag)->Apply(sensorSizes);
BENCHMARK_TEMPLATE(BM_UnscrambleIntensity, simd::scalar::Tag)->Apply(sensorSizes);
BENCHMARK_TEMPLATE(BM_UnscrambleIntensity, simd::NativeTag)->Apply(sensorSizes);

}  // namespace
}  // namespace kelvora::bench
