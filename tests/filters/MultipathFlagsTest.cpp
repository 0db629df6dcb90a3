// Multipath flags: the measures, the noise-floor rule and the stage, and the
// median that smooths the measures.
#include "filters/MultipathFlags.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "common/SimdTestTypes.hpp"
#include "filters/MultipathFlagsKernel.hpp"
#include "filters/MultipathMedian.hpp"
#include "filters/MultipathMedianKernel.hpp"

namespace kelvora {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

uint32_t bitsOf(float v) {
  uint32_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

// ---- vector kernels against brute force and against the scalar path ----

template <class D>
class MultipathKernels : public ::testing::Test {};
TYPED_TEST_SUITE(MultipathKernels, testing::AllSimdTags, testing::SimdTagName);

TYPED_TEST(MultipathKernels, MeasuresMatchDoublePrecisionAndTheScalarPath) {
  std::mt19937 rng(21);
  std::uniform_real_distribution<float> amp(10.0f, 2000.0f);
  std::uniform_real_distribution<float> rel(0.5f, 1.5f);
  // Counts 1..11 cover every tail length; exact-size buffers catch overreads.
  for (std::size_t n = 1; n <= 11; ++n) {
    std::vector<std::vector<float>> in(6, std::vector<float>(n));
    for (std::size_t i = 0; i < n; ++i) {
      in[1][i] = amp(rng);
      in[0][i] = in[1][i] * rel(rng);
      in[3][i] = amp(rng);
      in[2][i] = in[3][i] * 0.01f * rel(rng);
      in[5][i] = amp(rng);
      in[4][i] = in[5][i] * 0.02f * rel(rng);
    }
    std::vector<float> ratio(n), noise(n), sRatio(n), sNoise(n);
    computeMultipathMeasures(TypeParam(), n, in[0].data(), in[1].data(), in[2].data(), in[3].data(),
                             in[4].data(), in[5].data(), ratio.data(), noise.data());
    computeMultipathMeasures(simd::scalar::Tag(), n, in[0].data(), in[1].data(), in[2].data(),
                             in[3].data(), in[4].data(), in[5].data(), sRatio.data(),
                             sNoise.data());
    for (std::size_t i = 0; i < n; ++i) {
      const double wantRatio = static_cast<double>(in[0][i]) / (in[1][i] + 1e-10) - 1.0;
      const double wantNoise = std::hypot(static_cast<double>(in[4][i]) / in[5][i],
                                          static_cast<double>(in[2][i]) / in[3][i]);
      EXPECT_NEAR(ratio[i], wantRatio, 1e-6) << "n " << n << " i " << i;
      EXPECT_NEAR(noise[i], wantNoise, wantNoise * 1e-6) << "n " << n << " i " << i;
      if (TypeParam::kExactDivision) {
        EXPECT_EQ(bitsOf(ratio[i]), bitsOf(sRatio[i]));
        EXPECT_EQ(bitsOf(noise[i]), bitsOf(sNoise[i]));
      }
    }
  }
}

struct ThresholdCase {
  float measure;
  float noise;
  bool flagged;
};

// Constructed cases against the rule; random ones against the scalar path.
TYPED_TEST(MultipathKernels, NoiseFloorTestIsStrictAndOnlyOrs) {
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
  flagAboveNoiseFloor(TypeParam(), n, measure.data(), noise.data(), 2.0f, 0.3f, 0x41u,
                      flags.data());
  for (std::size_t i = 0; i < n; ++i) {
    EXPECT_EQ(flags[i], (i % 3 == 0 ? 0x3u : 0u) | (cases[i].flagged ? 0x41u : 0u)) << i;
  }

  std::mt19937 rng(8);
  std::uniform_real_distribution<float> m(-1.0f, 1.0f), sd(0.0f, 0.5f);
  for (std::size_t len = 1; len <= 11; ++len) {
    std::vector<float> meas(len), nse(len);
    std::vector<uint32_t> got(len), want(len);
    for (std::size_t i = 0; i < len; ++i) {
      meas[i] = m(rng);
      nse[i] = sd(rng);
      got[i] = want[i] = static_cast<uint32_t>(i & 1u) * 0x9u;
    }
    flagAboveNoiseFloor(TypeParam(), len, meas.data(), nse.data(), 1.5f, 0.25f, 0x81u, got.data());
    flagAboveNoiseFloor(simd::scalar::Tag(), len, meas.data(), nse.data(), 1.5f, 0.25f, 0x81u,
                        want.data());
    ASSERT_EQ(got, want) << "n " << len;
  }
}

// ---- the stage on hand-built records ----

// Two-frequency records over a flat scene whose measures sit well below the
// floors: nothing is flagged until a test case plants an outlier.
struct Scene {
  static constexpr uint32_t kW = 7;
  static constexpr uint32_t kH = 5;
  static constexpr std::size_t kN = kW * kH;
  std::vector<std::vector<float>> buffers;
  KelvoraIntermediateProbeData probes[2] = {};
  KelvoraIntermediate inter = {};
  KelvoraParameter params = {};
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
    params.width = kW;
    params.height = kH;
    params.mpiAmplitudeThreshold = 0.3f;
    params.mpiDistanceThreshold = 0.1f;
    params.mpiNoiseDistance = 3.0f;
    params.useMPIFlagAmplitude = true;
    params.useMPIFlagDistance = true;
    out.noise = buffer(0.0f);
    out.flags = flags.data();
  }
  void run() { kelvora_flagMultipath(&params, &inter, &out); }
  static std::size_t at(uint32_t x, uint32_t y) { return y * kW + x; }
};

TEST(MultipathStage, GateNeedsTwoFrequenciesAndOneTest) {
  for (int variant = 0; variant < 2; ++variant) {
    Scene s;
    s.inter.distanceDifference[Scene::at(3, 2)] = 5.0f;
    s.probes[0].normAmplitude[Scene::at(3, 2)] = 500.0f;
    if (variant == 0) {
      s.inter.numFreqs = 1;
    } else {
      s.params.useMPIFlagAmplitude = false;
      s.params.useMPIFlagDistance = false;
    }
    s.run();
    for (std::size_t i = 0; i < Scene::kN; ++i) {
      EXPECT_EQ(s.flags[i], 0u);
      EXPECT_TRUE(std::isnan(s.inter.mpiAmplitudeRatio[i])) << "measure written";
      EXPECT_TRUE(std::isnan(s.inter.mpiAmplitudeNoise[i])) << "measure written";
    }
  }
}

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

struct AverageCase {
  bool average;
  bool amplitude;  // plant the outlier in the amplitude measure, else distance
};

class MultipathOutlier : public ::testing::TestWithParam<AverageCase> {};

TEST_P(MultipathOutlier, IsolatedOutlierIsRemovedOnlyWithAveraging) {
  const AverageCase c = GetParam();
  Scene s;
  s.params.useMPIFlagAverage = c.average;
  const std::size_t hot = Scene::at(3, 2);
  if (c.amplitude) {
    s.probes[0].normAmplitude[hot] = 300.0f;  // ratio 2
  } else {
    s.inter.distanceDifference[hot] = 2.0f;
  }
  s.run();
  const uint32_t value = c.amplitude ? 0x81u : 0x41u;
  for (std::size_t i = 0; i < Scene::kN; ++i) {
    EXPECT_EQ(s.flags[i], i == hot && !c.average ? value : 0u) << "pixel " << i;
  }
  const float measured =
      c.amplitude ? s.inter.mpiAmplitudeRatio[hot] : s.inter.distanceDifference[hot];
  // Without averaging the raw measure is kept.
  EXPECT_NEAR(measured, c.average ? (c.amplitude ? 0.0f : 0.01f) : 2.0f, 1e-6f);
}

INSTANTIATE_TEST_SUITE_P(Cases, MultipathOutlier,
                         ::testing::Values(AverageCase{true, true}, AverageCase{false, true},
                                           AverageCase{true, false}, AverageCase{false, false}),
                         [](const auto& param) {
                           return std::string(param.param.average ? "Averaged" : "Raw") +
                                  (param.param.amplitude ? "Amplitude" : "Distance");
                         });

float fromBits(uint32_t b) {
  float v;
  std::memcpy(&v, &b, sizeof v);
  return v;
}

// Which columns the pair-wise median filters: 1 .. 2 * pairs, with
// pairs = ((width - 4) with the low bit cleared) / 2 + 1, none under width 4.
bool filteredColumn(uint32_t width, uint32_t x) {
  if (width < 4) return false;
  const uint32_t pairs = ((width - 4) & ~1u) / 2 + 1;
  return x >= 1 && x <= 2 * pairs;
}

float bruteMedian(const float* img, uint32_t width, uint32_t x, uint32_t y) {
  float v[9];
  int k = 0;
  for (uint32_t yy = y - 1; yy <= y + 1; ++yy)
    for (uint32_t xx = x - 1; xx <= x + 1; ++xx) v[k++] = img[yy * width + xx];
  std::nth_element(v, v + 4, v + 9);
  return v[4];
}

// How the test images are filled.
enum class Fill {
  kFine,    // distinct finite values
  kCoarse,  // four levels, so ties are frequent and exercise equal keys
  kSalted,  // coarse values with -0/+0 ties, NaNs of several sign/payloads, +-inf
};

// Exact-size buffers, so that a read past the image's end is caught by the
// sanitizers.
std::unique_ptr<float[]> randomImage(std::size_t n, Fill fill, std::mt19937& rng) {
  static const float kSalt[] = {0.0f,
                                -0.0f,
                                std::numeric_limits<float>::infinity(),
                                -std::numeric_limits<float>::infinity(),
                                fromBits(0x7FC00000u),
                                fromBits(0xFFC00000u),
                                fromBits(0x7FC12345u)};
  std::uniform_real_distribution<float> fine(-2.0f, 2.0f);
  std::uniform_int_distribution<int> level(0, 3);
  std::uniform_int_distribution<int> salt(0, 2 * static_cast<int>(std::size(kSalt)) - 1);
  std::unique_ptr<float[]> img(new float[n]);
  for (std::size_t i = 0; i < n; ++i) {
    const int s = fill == Fill::kSalted ? salt(rng) : -1;
    if (s >= 0 && s < static_cast<int>(std::size(kSalt))) {
      img[i] = kSalt[s];
    } else {
      img[i] = fill == Fill::kFine ? fine(rng) : static_cast<float>(level(rng) - 1);
    }
  }
  return img;
}

// Widths 1..40 give every count of whole vector steps up to four with every
// scalar remainder, odd and even; 67 and 130 give many steps per row.
std::vector<uint32_t> testWidths() {
  std::vector<uint32_t> widths;
  for (uint32_t w = 1; w <= 40; ++w) widths.push_back(w);
  widths.push_back(67);
  widths.push_back(130);
  return widths;
}

template <class D>
class MultipathMedian : public ::testing::Test {};
TYPED_TEST_SUITE(MultipathMedian, testing::AllSimdTags, testing::SimdTagName);

TYPED_TEST(MultipathMedian, MatchesTheScalarCodeBitForBitAndBruteForce) {
  // Which of -0 and +0, and which NaN, comes out is fixed by the order of the
  // min/max operations; the vector form must keep it in every lane. Images
  // without NaN or -0 are also checked against a plain 5th-smallest.
  std::mt19937 rng(3);
  for (Fill fill : {Fill::kFine, Fill::kCoarse, Fill::kSalted}) {
    for (uint32_t h : {1u, 2u, 3u, 4u, 5u, 8u}) {
      for (uint32_t w : testWidths()) {
        SCOPED_TRACE(::testing::Message() << w << "x" << h << " fill " << static_cast<int>(fill));
        const std::size_t n = static_cast<std::size_t>(w) * h;
        const std::unique_ptr<float[]> original = randomImage(n, fill, rng);
        std::unique_ptr<float[]> vec(new float[n]), ref(new float[n]);
        std::unique_ptr<float[]> vecScratch(new float[n]), refScratch(new float[n]);
        std::copy(original.get(), original.get() + n, vec.get());
        std::copy(original.get(), original.get() + n, ref.get());
        multipathMedian(TypeParam(), w, h, vec.get(), vecScratch.get());
        multipathMedianScalar(w, h, ref.get(), refScratch.get());
        for (uint32_t y = 0; y < h; ++y) {
          for (uint32_t x = 0; x < w; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * w + x;
            ASSERT_EQ(bitsOf(vecScratch[i]), bitsOf(original[i]));
            ASSERT_EQ(bitsOf(vec[i]), bitsOf(ref[i])) << "at " << x << "," << y;
            if (fill == Fill::kSalted) continue;
            const bool filtered = h >= 3 && y >= 1 && y + 1 < h && filteredColumn(w, x);
            const float want = filtered ? bruteMedian(original.get(), w, x, y) : original[i];
            ASSERT_EQ(ref[i], want) << "at " << x << "," << y;
          }
        }
      }
    }
  }
}

TEST(MultipathMedianShape, OddWidthKeepsTheOutlierInTheLastInteriorColumn) {
  // An outlier in every interior column: at width 5 the one in column 3 stays,
  // at width 6 all are removed.
  for (uint32_t w : {5u, 6u}) {
    std::unique_ptr<float[]> data(new float[3 * w]);
    std::unique_ptr<float[]> scratch(new float[3 * w]);
    std::fill(data.get(), data.get() + 3 * w, 9.0f);
    for (uint32_t x = 1; x + 1 < w; ++x) data[w + x] = 0.0f;
    data[w + 2] = 9.0f;  // column 2 is not an outlier, so 1 and 3 stay isolated
    zyn_mpiFastMedian(w, 3, data.get(), scratch.get());
    EXPECT_EQ(data[w + 1], 9.0f);
    EXPECT_EQ(data[w + 3], w == 5 ? 0.0f : 9.0f) << "width " << w;
  }
}

}  // namespace
}  // namespace kelvora
