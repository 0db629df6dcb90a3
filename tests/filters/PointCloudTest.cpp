// The point cloud against rays and confidences computed in double, dense and
// sparse, and its counts. Every buffer holds exactly n pixels, as a caller's
// redirected arrays may, so the sanitizer build sees any access past them.
#include "filters/PointCloud.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "base/KelvoraCalibration.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "common/CoreFixtures.hpp"

namespace kelvora {
namespace {

struct Cloud {
  std::vector<float> distance, noise, directions, points;
  std::vector<uint32_t> flags;
  uint32_t size = 0;
};

Cloud run(uint32_t n, bool sparse, uint64_t seed, float flaggedShare = 0.3f) {
  Cloud c{std::vector<float>(n), std::vector<float>(n), std::vector<float>(3 * n),
          std::vector<float>(4 * n, -1.0f), std::vector<uint32_t>(n)};
  synth::SplitMix rng(seed);
  const float threshold = testing::defaultParameters().noiseThreshold;
  for (uint32_t i = 0; i < n; ++i) {
    c.distance[i] = rng.uniform(0.2f, 6.2f);
    // Confidence 1, 0 and -1 at noise 0, the threshold and twice it.
    c.noise[i] = i % 8 < 3 ? static_cast<float>(i % 8) * threshold : rng.uniform(0.0f, 0.15f);
    c.flags[i] = rng.uniform(0.0f, 1.0f) < flaggedShare ? 0x9u : 0u;
    const double x = rng.uniform(-0.5f, 0.5f), y = rng.uniform(-0.5f, 0.5f);
    const double len = std::sqrt(1 + x * x + y * y);
    c.directions[3 * i] = static_cast<float>(x / len);
    c.directions[3 * i + 1] = static_cast<float>(y / len);
    c.directions[3 * i + 2] = static_cast<float>(1 / len);
  }
  KelvoraCalibration calibration{};
  calibration.directions = c.directions.data();
  KelvoraParameter p = testing::defaultParameters();
  p.useSparsePointCloud = sparse;
  KelvoraOutput out{};
  out.distance = c.distance.data();
  out.noise = c.noise.data();
  out.flags = c.flags.data();
  out.pointCloud = c.points.data();
  calcCartesianCoordinates_arm(n, &calibration, &p, &out);
  c.size = out.pointCloudSize;
  return c;
}

TEST(PointCloud, PointsLieAlongTheRaysWithTheirConfidence) {
  const double threshold = testing::defaultParameters().noiseThreshold;
  for (const uint32_t n : {1u, 2u, 5u, 16u, 23u, 101u}) {
    for (const bool sparse : {false, true}) {
      SCOPED_TRACE(::testing::Message() << n << (sparse ? " sparse" : " dense"));
      const Cloud c = run(n, sparse, n);
      uint32_t next = 0;
      for (uint32_t i = 0; i < n; ++i) {
        if (sparse && c.flags[i] != 0) continue;
        const float* point = &c.points[next];
        for (int k = 0; k < 3; ++k) {
          const double want = double{c.distance[i]} * c.directions[3 * i + k];
          ASSERT_NEAR(point[k], want, 4e-7 * std::fabs(want)) << i;
        }
        const double confidence = c.flags[i] != 0 ? 0.0 : 1.0 - c.noise[i] / threshold;
        // Two roundings of values near 1: two ulps at most; at noise 0
        // the confidence is exactly 1.
        ASSERT_NEAR(point[3], confidence, 2.4e-7) << i;
        if (c.noise[i] == 0.0f && c.flags[i] == 0) {
          ASSERT_EQ(point[3], 1.0f);
        }
        next += 4;
      }
      // Dense counts whole groups of four pixels; sparse the points written.
      EXPECT_EQ(c.size, sparse ? next : (4 * n + 15) / 16 * 16);
      for (uint32_t i = next; i < 4 * n; ++i) ASSERT_EQ(c.points[i], -1.0f);
    }
  }
  EXPECT_EQ(run(7, true, 1, 1.1f).size, 0u) << "every pixel flagged: no point";
  EXPECT_EQ(run(0, false, 1).size, 0u);
}

}  // namespace
}  // namespace kelvora
