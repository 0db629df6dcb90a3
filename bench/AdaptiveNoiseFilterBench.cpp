// Adaptive noise filter at the sensor sizes the library meets (224x172 and
// 640x480), 3x3 and 5x5 kernels, native vector backend against the scalar one.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "filters/AdaptiveNoiseFilterKernel.hpp"
#include "simd/Simd.hpp"

namespace {

template <class D>
void BM_AdaptiveNoiseFilter(benchmark::State& state) {
  const int width = static_cast<int>(state.range(0));
  const int height = static_cast<int>(state.range(1));
  const auto radius = static_cast<uint8_t>(state.range(2));
  const std::size_t n = static_cast<std::size_t>(width) * height;
  std::mt19937 rng(1);
  std::uniform_real_distribution<float> dist(0.5f, 4.0f);
  std::uniform_real_distribution<float> noise(0.005f, 0.05f);
  std::vector<float> distance(n), sigma(n), scratch(n);
  std::vector<uint32_t> flags(n, 0u);
  for (std::size_t i = 0; i < n; ++i) {
    distance[i] = dist(rng);
    sigma[i] = noise(rng);
    if (i % 17 == 0) flags[i] = 0x9u;
  }
  const std::vector<float> original = distance;
  for (auto _ : state) {
    state.PauseTiming();
    distance = original;
    state.ResumeTiming();
    kelvora::filterAdaptiveNoise(D(), width, height, radius, scratch.data(), sigma.data(),
                                 flags.data(), distance.data());
    benchmark::DoNotOptimize(distance.data());
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * n));
  state.SetLabel(D::kName);
}

void sizes(benchmark::internal::Benchmark* b) {
  for (int radius : {1, 2}) {
    b->Args({224, 172, radius});
    b->Args({640, 480, radius});
  }
  b->ArgNames({"w", "h", "radius"});
  b->Unit(benchmark::kMicrosecond);
}

BENCHMARK_TEMPLATE(BM_AdaptiveNoiseFilter, kelvora::simd::NativeTag)->Apply(sizes);
BENCHMARK_TEMPLATE(BM_AdaptiveNoiseFilter, kelvora::simd::scalar::Tag)->Apply(sizes);

}  // namespace
