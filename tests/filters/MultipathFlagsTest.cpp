// Multipath flags: the noise-floor rule on and beside its thresholds, the
// stage's noise-scaled thresholds, and the median that smooths the measures
// against a brute-force one.
#include "filters/MultipathFlags.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <vector>

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "common/CoreFixtures.hpp"
#include "filters/FilterKernels.hpp"
#include "filters/MultipathMedian.hpp"

namespace kelvora {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// Factor 2, floor 0.3: flagged where |measure| > max(2 * noise, 0.3), on
// and beside both thresholds; NaN never flags, and earlier flags stay.
TEST(MultipathKernels, NoiseFloorTestIsStrictAndOnlyOrs) {
  const float measure[] = {0.3f, 0.31f, -0.31f, 0.31f, 0.41f, 0.4f, kNaN, 5.0f};
  const float noise[] = {0.0f, 0.0f, 0.0f, 0.2f, 0.2f, 0.2f, 0.0f, kNaN};
  const bool flagged[] = {false, true, true, false, true, false, false, false};
  std::vector<uint32_t> flags(std::size(measure));
  for (std::size_t i = 0; i < flags.size(); ++i) flags[i] = i % 3 == 0 ? 0x3u : 0u;
  const NoiseFloorTest test{measure, noise, 2.0f, 0.3f, 0x41u};
  filterKernels().flagAboveNoiseFloor(flags.size(), &test, 1, flags.data());
  for (std::size_t i = 0; i < flags.size(); ++i) {
    EXPECT_EQ(flags[i], (i % 3 == 0 ? 0x3u : 0u) | (flagged[i] ? 0x41u : 0u)) << i;
  }
}

// Two-frequency records over a flat scene whose measures sit well below the
// floors: nothing is flagged until a test case plants an outlier.
struct Scene {
  static constexpr uint32_t kW = 7;
  static constexpr uint32_t kH = 5;
  static constexpr std::size_t kN = kW * kH;
  std::vector<std::vector<float>> buffers;
  KelvoraIntermediateProbeData probes[2] = {};
  KelvoraIntermediate inter = {};
  KelvoraParameter params = testing::defaultParameters(kW, kH);
  KelvoraOutput out = {};
  std::vector<uint32_t> flags = std::vector<uint32_t>(kN, 0u);

  float* buffer(float fill) {
    buffers.emplace_back(kN, fill);
    return buffers.back().data();
  }

  Scene() {
    buffers.reserve(16);
    for (auto& p : probes) {
      p.normAmplitude = buffer(100.0f);
      p.amplitude = buffer(500.0f);
      p.rawNoise = buffer(5.0f);  // relative noise 1 % per frequency
    }
    inter.numFreqs = 2;
    inter.probeData = probes;
    inter.mpiAmplitudeRatio = buffer(kNaN);
    inter.mpiAmplitudeNoise = buffer(kNaN);
    inter.distanceDifference = buffer(0.01f);
    inter.filterScratch = buffer(0.0f);
    out.noise = buffer(0.0f);
    out.flags = flags.data();
  }
  void run() { kelvora_flagMultipath(&params, &inter, &out); }
  static std::size_t at(uint32_t x, uint32_t y) { return y * kW + x; }
};

TEST(MultipathStage, ThresholdsAreNoiseScaledAboveTheirFloorsAndFlagsAccumulate) {
  Scene s;
  for (uint32_t y = 0; y < Scene::kH; ++y) {
    for (uint32_t x = 0; x < Scene::kW; ++x) {
      const std::size_t i = Scene::at(x, y);
      // Ratio 0.5, above the 0.3 floor; in columns 0..2 a 20 % relative noise
      // lifts the threshold to 3 x 0.2 = 0.6.
      s.probes[0].normAmplitude[i] = 150.0f;
      if (x < 3) s.probes[0].rawNoise[i] = 100.0f;
      // 0.15 m disagreement, above the 0.1 m floor where the output noise is
      // 0; in row 1 the threshold is 3 x 0.06 m.
      s.inter.distanceDifference[i] = 0.15f;
      if (y == 1) s.out.noise[i] = 0.06f;
      s.flags[i] = 0x9u;
    }
  }
  s.run();
  for (uint32_t y = 0; y < Scene::kH; ++y) {
    for (uint32_t x = 0; x < Scene::kW; ++x) {
      const uint32_t want = 0x9u | (x < 3 ? 0u : 0x81u) | (y == 1 ? 0u : 0x41u);
      EXPECT_EQ(s.flags[Scene::at(x, y)], want) << x << "," << y;
    }
  }
}

// The fifth smallest of each interior pixel's 3x3 neighbourhood, for the
// columns the pairs cover: 1 .. 2 * pairs, pairs = ((width - 4) with the low
// bit cleared) / 2 + 1, none under width 4 or 3 rows. Fine values and coarse
// ones (four levels, ties everywhere); exact-size buffers.
TEST(MultipathMedian, MatchesBruteForceFifthSmallest) {
  synth::SplitMix rng(3);
  for (const bool coarse : {false, true}) {
    for (const uint32_t h : {1u, 2u, 3u, 4u, 5u, 8u}) {
      for (uint32_t w = 1; w <= 67; w += w < 40 ? 1 : 27) {
        SCOPED_TRACE(::testing::Message() << w << "x" << h << (coarse ? " coarse" : " fine"));
        const std::size_t n = std::size_t{w} * h;
        std::vector<float> original(n);
        for (float& v : original) {
          v = coarse ? static_cast<float>(rng.next() % 4) - 1.0f : rng.uniform(-2.0f, 2.0f);
        }
        std::vector<float> data = original, scratch(n);
        zyn_mpiFastMedian(w, h, data.data(), scratch.data());
        ASSERT_EQ(scratch, original);
        const uint32_t pairs = w < 4 ? 0 : ((w - 4) & ~1u) / 2 + 1;
        for (uint32_t y = 0; y < h; ++y) {
          for (uint32_t x = 0; x < w; ++x) {
            float want = original[y * w + x];
            if (h >= 3 && y >= 1 && y + 1 < h && x >= 1 && x <= 2 * pairs) {
              float v[9];
              for (int k = 0; k < 9; ++k) v[k] = original[(y + k / 3 - 1) * w + x + k % 3 - 1];
              std::nth_element(v, v + 4, v + 9);
              want = v[4];
            }
            ASSERT_EQ(data[y * w + x], want) << "at " << x << "," << y;
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace kelvora
