// Point cloud on the vector backend the library runs and on the scalar one.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>

#include "base/PixelBuffer.hpp"
#include "filters/PointCloudKernels.hpp"
#include "simd/Simd.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

struct PointCloudScene {
  uint32_t n;
  float* distance;
  float* noise;
  uint32_t* flags;
  float* directions;
  float* cloud;

  explicit PointCloudScene(uint32_t count) : n(count) {
    distance = allocPixels<float>(n);
    noise = allocPixels<float>(n);
    flags = allocPixels<uint32_t>(n);
    directions = static_cast<float*>(std::malloc(sizeof(float) * 3 * n));
    cloud = allocPixels<float>(4 * simd::roundUpToLanes(n));
    synth::SplitMix rng(5);
    const auto u = [&rng] { return rng.uniform(0.f, 1.f); };
    for (uint32_t i = 0; i < n; ++i) {
      distance[i] = 0.3f + 5.0f * u();
      noise[i] = 0.05f * u();
      flags[i] = u() < 0.2f ? 0x9u : 0u;  // a fifth of the pixels invalid
      const float x = u() - 0.5f, y = u() - 0.5f, len = std::sqrt(1 + x * x + y * y);
      directions[3 * i] = x / len;
      directions[3 * i + 1] = y / len;
      directions[3 * i + 2] = 1 / len;
    }
  }
  ~PointCloudScene() {
    freePixelBuffer(distance);
    freePixelBuffer(noise);
    freePixelBuffer(flags);
    std::free(directions);
    freePixelBuffer(cloud);
  }
};

template <class D, bool kSparse>
void BM_PointCloud(benchmark::State& state) {
  PointCloudScene s(static_cast<uint32_t>(state.range(0) * state.range(1)));
  const D d;
  for (auto _ : state) {
    const uint32_t written =
        kSparse
            ? pointCloudSparse(d, s.n, s.distance, s.noise, s.flags, s.directions, 0.07f, s.cloud)
            : pointCloudDense(d, s.n, s.distance, s.noise, s.flags, s.directions, 0.07f, s.cloud);
    benchmark::DoNotOptimize(written);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * s.n);
}

#define KELVORA_POINT_CLOUD_BENCH(tag, sparse)   \
  BENCHMARK_TEMPLATE(BM_PointCloud, tag, sparse) \
      ->Args({224, 172})                         \
      ->Args({640, 480})                         \
      ->Unit(benchmark::kMicrosecond)

KELVORA_POINT_CLOUD_BENCH(simd::NativeTag, false);
KELVORA_POINT_CLOUD_BENCH(simd::scalar::Tag, false);
KELVORA_POINT_CLOUD_BENCH(simd::NativeTag, true);
KELVORA_POINT_CLOUD_BENCH(simd::scalar::Tag, true);

}  // namespace
}  // namespace kelvora
