// Multipath flags: the measures against double precision, the noise-floor
// rule on and beside its thresholds, the stage's gate and averaging, and the
// median that smooths the measures against a brute-force one.
#include "filters/MultipathFlags.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <vector>

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "common/CoreFixtures.hpp"
#include "common/SimdTestTypes.hpp"
#include "filters/FilterKernels.hpp"
#include "filters/MultipathMedian.hpp"

namespace kelvora {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

using testing::bitsOf;

TEST(MultipathKernels, MeasuresMatchDoublePrecision) {
  synth::SplitMix rng(21);
  const std::size_t n = 37;
  std::vector<std::vector<float>> in(6, std::vector<float>(n));
  for (std::size_t i = 0; i < n; ++i) {
    in[1][i] = rng.uniform(10.0f, 2000.0f);
    in[0][i] = in[1][i] * rng.uniform(0.5f, 1.5f);
    in[3][i] = rng.uniform(10.0f, 2000.0f);
    in[2][i] = in[3][i] * rng.uniform(0.005f, 0.015f);
    in[5][i] = rng.uniform(10.0f, 2000.0f);
    in[4][i] = in[5][i] * rng.uniform(0.01f, 0.03f);
  }
  std::vector<float> ratio(n), noise(n);
  filterKernels().multipathMeasures(n, {in[0].data(), in[1].data(), in[2].data(), in[3].data(),
                                        in[4].data(), in[5].data(), ratio.data(), noise.data()});
  for (std::size_t i = 0; i < n; ++i) {
    EXPECT_NEAR(ratio[i], double{in[0][i]} / (in[1][i] + 1e-10) - 1.0, 1e-6) << i;
    const double want = std::hypot(double{in[4][i]} / in[5][i], double{in[2][i]} / in[3][i]);
    EXPECT_NEAR(noise[i], want, want * 1e-6) << i;
  }
}

struct ThresholdCase {
  float measure;
  float noise;
  bool flagged;
};

TEST(MultipathKernels, NoiseFloorTestIsStrictAndOnlyOrs) {
  // factor 2, floor 0.3: the threshold is max(2 * noise, 0.3).
  const ThresholdCase cases[] = {
      {0.3f, 0.0f, false},   // equal to the floor: strict
      {0.31f, 0.0f, true},   // above the floor, noise 0
      {-0.31f, 0.0f, true},  // absolute value
      {0.31f, 0.2f, false},  // the scaled noise 0.4 is above the floor
      {0.41f, 0.2f, true},   // above the scaled noise
      {0.4f, 0.2f, false},   // equal to the scaled noise
      {kNaN, 0.0f, false},   // NaN measure
      {5.0f, kNaN, false},   // NaN noise: NaN threshold
      {std::numeric_limits<float>::infinity(), 0.0f, true},
      {0.29f, 0.1f, false},  // below both
      {0.6f, 0.1f, true},
  };
  const std::size_t n = sizeof cases / sizeof cases[0];
  std::vector<float> measure(n), noise(n);
  std::vector<uint32_t> flags(n);
  for (std::size_t i = 0; i < n; ++i) {
    measure[i] = cases[i].measure;
    noise[i] = cases[i].noise;
    flags[i] = i % 3 == 0 ? 0x3u : 0u;  // earlier flags must survive
  }
  filterKernels().flagAboveNoiseFloor(n, measure.data(), noise.data(), 2.0f, 0.3f, 0x41u,
                                      flags.data());
  for (std::size_t i = 0; i < n; ++i) {
    EXPECT_EQ(flags[i], (i % 3 == 0 ? 0x3u : 0u) | (cases[i].flagged ? 0x41u : 0u)) << i;
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

// With the registry's defaults (averaging on) an isolated outlier in either
// measure inside a flat region is removed by the median and raises no flag;
// without averaging it does, and the raw measure is kept.
TEST(MultipathStage, IsolatedOutlierIsRemovedOnlyWithAveraging) {
  for (const bool average : {true, false}) {
    for (const bool amplitude : {true, false}) {
      Scene s;
      s.params.useMPIFlagAverage = average;
      const std::size_t hot = Scene::at(3, 2);
      if (amplitude) {
        s.probes[0].normAmplitude[hot] = 300.0f;  // ratio 2
      } else {
        s.inter.distanceDifference[hot] = 2.0f;
      }
      s.run();
      for (std::size_t i = 0; i < Scene::kN; ++i) {
        EXPECT_EQ(s.flags[i], i == hot && !average ? (amplitude ? 0x81u : 0x41u) : 0u)
            << average << amplitude << " pixel " << i;
      }
      const float measured =
          amplitude ? s.inter.mpiAmplitudeRatio[hot] : s.inter.distanceDifference[hot];
      EXPECT_NEAR(measured, average ? (amplitude ? 0.0f : 0.01f) : 2.0f, 1e-6f);
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
