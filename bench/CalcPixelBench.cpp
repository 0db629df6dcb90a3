#include <benchmark/benchmark.h>

#include "StageBenchData.hpp"
#include "core/CalcPixel.hpp"
#include "core/UnscrambleReIm.hpp"

namespace kelvora::bench {
namespace {

template <class D>
void BM_CalcPixel(benchmark::State& state) {
  StageData s(static_cast<uint32_t>(state.range(0)), static_cast<uint32_t>(state.range(1)));
  PerFrequency& p = s.f[0];
  UnscrambleReImKernel(simd::NativeTag(), s.width, s.height, 0, 65535, s.frames(0), p.imag.data(),
                       p.real.data(), p.asym.data(), s.flags.data());
  const CalcPixelConstants c = s.constants(0);
  const CalcPixelBuffers b = s.buffers(0);
  for (auto _ : state) {
    CalcPixelRun(D(), c, b, s.n);
    benchmark::DoNotOptimize(p.distance.data());
  }
  state.SetItemsProcessed(state.iterations() * s.n);
}

BENCHMARK_TEMPLATE(BM_CalcPixel, simd::scalar::Tag)->Apply(sensorSizes);
BENCHMARK_TEMPLATE(BM_CalcPixel, simd::NativeTag)->Apply(sensorSizes);

}  // namespace
}  // namespace kelvora::bench
