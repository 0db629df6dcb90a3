#include "filters/PointCloud.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "base/PixelBuffer.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "common/SimdTestTypes.hpp"
#include "filters/PointCloudKernels.hpp"
#include "simd/Simd.hpp"

namespace kelvora {
namespace {

// Per-pixel inputs in padded buffers, like the engine's, and rays in a heap
// block of exactly 3 x n floats, so the sanitizer build sees any read past it.
struct Scene {
  uint32_t n;
  float* distance;
  float* noise;
  uint32_t* flags;
  float* directions;
  float* cloud;

  explicit Scene(uint32_t count, uint32_t seed = 1, double flaggedShare = 0.3) : n(count) {
    distance = allocPixels<float>(n);
    noise = allocPixels<float>(n);
    flags = allocPixels<uint32_t>(n);
    directions = static_cast<float*>(std::malloc(sizeof(float) * 3 * (n == 0 ? 1 : n)));
    cloud = allocPixels<float>(4 * simd::roundUpToLanes(n));
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(0.f, 1.f);
    for (uint32_t i = 0; i < n; ++i) {
      distance[i] = 0.2f + 6.0f * u(rng);
      noise[i] = 0.08f * u(rng);
      flags[i] = u(rng) < flaggedShare ? (u(rng) < 0.5f ? 0x9u : 0x21u) : 0u;
      const float x = u(rng) - 0.5f, y = u(rng) - 0.5f;
      const float len = std::sqrt(1 + x * x + y * y);
      directions[3 * i] = x / len;
      directions[3 * i + 1] = y / len;
      directions[3 * i + 2] = 1 / len;
    }
  }
  ~Scene() {
    freePixelBuffer(distance);
    freePixelBuffer(noise);
    freePixelBuffer(flags);
    std::free(directions);
    freePixelBuffer(cloud);
  }
  Scene(const Scene&) = delete;
  Scene& operator=(const Scene&) = delete;
};

// The point of pixel i by the formulas, one value at a time.
void referencePoint(const Scene& s, uint32_t i, float threshold, float out[4]) {
  const float k = 1.0f / threshold;
  out[0] = s.distance[i] * s.directions[3 * i];
  out[1] = s.distance[i] * s.directions[3 * i + 1];
  out[2] = s.distance[i] * s.directions[3 * i + 2];
  out[3] = s.flags[i] != 0 ? 0.0f : 1.0f + (-s.noise[i]) * k;
}

template <class D>
class PointCloudKernels : public ::testing::Test {};
TYPED_TEST_SUITE(PointCloudKernels, testing::AllSimdTags, testing::SimdTagName);

// Every backend, every tail length, dense and sparse: bit-exact against the
// formulas. Padding lanes are zero, i.e. unflagged: sparse mode must still not
// emit them.
TYPED_TEST(PointCloudKernels, DenseAndSparseMatchFormulasExactly) {
  const TypeParam d;
  const float threshold = 0.07f;
  for (uint32_t n = 1; n <= 23; ++n) {
    for (bool sparse : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "n=" << n << (sparse ? " sparse" : " dense"));
      Scene s(n, n);
      const uint32_t written =
          (sparse ? pointCloudSparse<TypeParam>
                  : pointCloudDense<TypeParam>)(d, n, s.distance, s.noise, s.flags, s.directions,
                                                threshold, s.cloud);
      uint32_t next = 0;
      for (uint32_t i = 0; i < n; ++i) {
        if (sparse && s.flags[i] != 0) continue;
        float want[4];
        referencePoint(s, i, threshold, want);
        for (int c = 0; c < 4; ++c) ASSERT_EQ(s.cloud[next + c], want[c]) << "i=" << i;
        next += 4;
      }
      EXPECT_EQ(written, sparse ? next : 4 * simd::roundUpToLanes(n));
    }
  }
}

struct StageCall {
  KelvoraCalibration calibration{};
  KelvoraParameter parameters{};
  KelvoraOutput output{};

  StageCall(Scene& s, bool sparse, float threshold) {
    calibration.directions = s.directions;
    parameters.useSparsePointCloud = sparse;
    parameters.noiseThreshold = threshold;
    output.distance = s.distance;
    output.noise = s.noise;
    output.flags = s.flags;
    output.pointCloud = s.cloud;
    output.pointCloudSize = 0xDEADBEEFu;
  }
};

struct CountCase {
  uint32_t n;
  double flaggedShare;
};

class PointCloudCounts : public ::testing::TestWithParam<CountCase> {};

TEST_P(PointCloudCounts, DenseAndSparseCounts) {
  const CountCase p = GetParam();
  Scene s(p.n, 9, p.flaggedShare);
  uint32_t unflagged = 0;
  for (uint32_t i = 0; i < p.n; ++i) unflagged += s.flags[i] == 0;

  StageCall dense(s, false, 0.1f);
  calcCartesianCoordinates_arm(p.n, &dense.calibration, &dense.parameters, &dense.output);
  EXPECT_EQ(dense.output.pointCloudSize, (4 * p.n + 15) / 16 * 16);

  StageCall sparse(s, true, 0.1f);
  calcCartesianCoordinates_arm(p.n, &sparse.calibration, &sparse.parameters, &sparse.output);
  EXPECT_EQ(sparse.output.pointCloudSize, 4 * unflagged);
}

INSTANTIATE_TEST_SUITE_P(Counts, PointCloudCounts,
                         ::testing::Values(CountCase{224 * 172, 0.25}, CountCase{1, 0.0},
                                           CountCase{4, 0.5}, CountCase{5, 1.0},
                                           CountCase{101, 0.4}, CountCase{640 * 480 - 1, 0.1},
                                           CountCase{0, 0.0}));

TEST(PointCloudConfidence, OneAtZeroNoiseZeroAtThresholdMinusOneAtTwice) {
  // Thresholds whose reciprocal is exact and ones where it is rounded: the
  // product noise * (1 / threshold) is then off by at most one ulp of 1.
  for (float threshold : {0.5f, 0.125f, 0.03f, 0.07f, 0.3f}) {
    Scene s(6, 2, 0.0);
    const float noise[6] = {0.0f, threshold, 2 * threshold, 0.0f, threshold, 2 * threshold};
    std::memcpy(s.noise, noise, sizeof noise);
    for (bool sparse : {false, true}) {
      StageCall r(s, sparse, threshold);
      calcCartesianCoordinates_arm(6, &r.calibration, &r.parameters, &r.output);
      ASSERT_EQ(r.output.pointCloudSize, sparse ? 24u : 32u);
      for (int i = 0; i < 6; ++i) {
        const float want = i % 3 == 0 ? 1.0f : (i % 3 == 1 ? 0.0f : -1.0f);
        EXPECT_NEAR(s.cloud[4 * i + 3], want, 1.2e-7f) << "threshold " << threshold;
        if (i % 3 == 0) {
          EXPECT_EQ(s.cloud[4 * i + 3], 1.0f);
        }
      }
    }
  }
}

}  // namespace
}  // namespace kelvora
