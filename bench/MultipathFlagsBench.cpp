// The multipath stage and its 3x3 median at 224x172 and 640x480. The per-pixel
// kernels and the median run on the native vector backend, and beside it on the
// scalar one (the median also in its plain scalar form).
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "filters/MultipathFlags.hpp"
#include "filters/MultipathFlagsKernel.hpp"
#include "filters/MultipathMedian.hpp"
#include "filters/MultipathMedianKernel.hpp"
#include "simd/Simd.hpp"

namespace {

struct Buffers {
  std::size_t n;
  std::vector<std::vector<float>> f;
  std::vector<uint32_t> flags;
  explicit Buffers(std::size_t count) : n(count), f(12, std::vector<float>(count)), flags(count) {
    std::mt19937 rng(2);
    std::uniform_real_distribution<float> amp(50.0f, 1500.0f);
    std::uniform_real_distribution<float> small(0.0f, 0.2f);
    for (auto& b : f)
      for (auto& v : b) v = amp(rng);
    for (std::size_t i = 0; i < n; ++i) {
      f[8][i] = small(rng);         // distance difference, metres
      f[9][i] = small(rng) * 0.1f;  // output noise, metres
    }
  }
};

void sizes(benchmark::internal::Benchmark* b) {
  b->Args({224, 172})->Args({640, 480})->ArgNames({"w", "h"})->Unit(benchmark::kMicrosecond);
}

// The library's entry point, on the native backend.
void BM_MultipathMedian(benchmark::State& state) {
  const auto w = static_cast<uint32_t>(state.range(0));
  const auto h = static_cast<uint32_t>(state.range(1));
  Buffers b(static_cast<std::size_t>(w) * h);
  for (auto _ : state) {
    kelvora::zyn_mpiFastMedian(w, h, b.f[0].data(), b.f[1].data());
    benchmark::DoNotOptimize(b.f[0].data());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * b.n));
}
BENCHMARK(BM_MultipathMedian)->Apply(sizes);

// The plain scalar form the vector one must match bit for bit: the speed-up's
// baseline.
void BM_MultipathMedianScalar(benchmark::State& state) {
  const auto w = static_cast<uint32_t>(state.range(0));
  const auto h = static_cast<uint32_t>(state.range(1));
  Buffers b(static_cast<std::size_t>(w) * h);
  for (auto _ : state) {
    kelvora::multipathMedianScalar(w, h, b.f[0].data(), b.f[1].data());
    benchmark::DoNotOptimize(b.f[0].data());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * b.n));
}
BENCHMARK(BM_MultipathMedianScalar)->Apply(sizes);

// Measures plus both threshold tests, without the medians.
template <class D>
void BM_MultipathKernels(benchmark::State& state) {
  Buffers b(static_cast<std::size_t>(state.range(0)) * static_cast<std::size_t>(state.range(1)));
  const D d;
  for (auto _ : state) {
    kelvora::computeMultipathMeasures(d, b.n, b.f[0].data(), b.f[1].data(), b.f[2].data(),
                                      b.f[3].data(), b.f[4].data(), b.f[5].data(), b.f[6].data(),
                                      b.f[7].data());
    kelvora::flagAboveNoiseFloor(d, b.n, b.f[6].data(), b.f[7].data(), 3.0f, 0.3f, 0x81u,
                                 b.flags.data());
    kelvora::flagAboveNoiseFloor(d, b.n, b.f[8].data(), b.f[9].data(), 3.0f, 0.1f, 0x41u,
                                 b.flags.data());
    benchmark::DoNotOptimize(b.flags.data());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * b.n));
  state.SetLabel(D::kName);
}
BENCHMARK_TEMPLATE(BM_MultipathKernels, kelvora::simd::NativeTag)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_MultipathKernels, kelvora::simd::scalar::Tag)->Apply(sizes);

// The whole stage as the result-combining driver runs it: both tests with
// averaging (two medians).
void BM_MultipathStage(benchmark::State& state) {
  const auto w = static_cast<uint32_t>(state.range(0));
  const auto h = static_cast<uint32_t>(state.range(1));
  Buffers b(static_cast<std::size_t>(w) * h);
  kelvora::KelvoraIntermediateProbeData probes[2] = {};
  for (int k = 0; k < 2; ++k) {
    probes[k].normAmplitude = b.f[0 + k].data();
    probes[k].rawNoise = b.f[2 + 2 * k].data();
    probes[k].amplitude = b.f[3 + 2 * k].data();
  }
  kelvora::KelvoraIntermediate inter = {};
  inter.numFreqs = 2;
  inter.probeData = probes;
  inter.mpiAmplitudeRatio = b.f[6].data();
  inter.mpiAmplitudeNoise = b.f[7].data();
  inter.distanceDifference = b.f[8].data();
  inter.filterScratch = b.f[10].data();
  kelvora::KelvoraParameter p = {};
  p.width = w;
  p.height = h;
  p.mpiAmplitudeThreshold = 0.3f;
  p.mpiDistanceThreshold = 0.1f;
  p.mpiNoiseDistance = 3.0f;
  p.useMPIFlagAmplitude = p.useMPIFlagDistance = p.useMPIFlagAverage = true;
  kelvora::KelvoraOutput out = {};
  out.noise = b.f[9].data();
  out.flags = b.flags.data();
  for (auto _ : state) {
    kelvora::kelvora_flagMultipath(&p, &inter, &out);
    benchmark::DoNotOptimize(b.flags.data());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * b.n));
}
BENCHMARK(BM_MultipathStage)->Apply(sizes);

}  // namespace
