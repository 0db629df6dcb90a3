// The adaptive noise filter against brute force and the scalar path, and the
// fast exponential behind its range weights.
#include "filters/AdaptiveNoiseFilter.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/SimdTestTypes.hpp"
#include "filters/AdaptiveNoiseFilterKernel.hpp"
#include "filters/FastExp.hpp"

namespace kelvora {
namespace {

uint32_t bitsOf(float v) {
  uint32_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

// Buffers of exactly width x height elements, so the sanitizer build catches
// any read past the image.
struct Images {
  int width, height;
  std::vector<float> distance, noise;
  std::vector<uint32_t> flags;
  std::vector<float> scratch;
  Images(int w, int h)
      : width(w), height(h), distance(count()), noise(count()), flags(count()), scratch(count()) {}
  std::size_t count() const { return static_cast<std::size_t>(width) * height; }
};

// Random scene: distances 0.5..5 m, noise 1..300 mm, about one pixel in five
// flagged, and some flagged pixels holding NaN so a contribution would show.
Images randomImages(int w, int h, uint32_t seed) {
  Images im(w, h);
  std::mt19937 rng(seed);
  std::uniform_real_distribution<float> dist(0.5f, 5.0f);
  std::uniform_real_distribution<float> noise(0.001f, 0.3f);
  std::uniform_int_distribution<int> pick(0, 9);
  for (std::size_t i = 0; i < im.count(); ++i) {
    im.distance[i] = dist(rng);
    im.noise[i] = noise(rng);
    const int p = pick(rng);
    im.flags[i] = p == 0 ? 0x9u : (p == 1 ? 0x21u : 0u);
    if (p == 1) im.distance[i] = std::numeric_limits<float>::quiet_NaN();
  }
  return im;
}

// Brute force: every interior unflagged pixel as an explicit weighted mean over
// its unflagged neighbours, accumulated in double. The weights use the same
// fast exponential, fed with the range argument computed by exact division.
std::vector<double> referenceFilter(const Images& im, int radius) {
  const int w = im.width;
  std::vector<double> out(im.distance.begin(), im.distance.end());
  if (im.height - radius <= radius) return out;
  for (int y = radius; y < im.height - radius; ++y) {
    for (int x = radius; x < w - radius; ++x) {
      const int c = y * w + x;
      if (im.flags[c] != 0) continue;
      const float d0 = im.distance[c];
      const float sigma = im.noise[c];
      const float invVariance = 1.0f / (12.5f * (sigma * sigma));
      double s = 0.0;
      double wsum = 1.1754944e-38;
      for (int dy = -radius; dy <= radius; ++dy) {
        for (int dx = -radius; dx <= radius; ++dx) {
          const int at = c + dy * w + dx;
          if (im.flags[at] != 0) continue;
          const float n = im.distance[at];
          const float diff = n - d0;
          const double k = std::exp(-(dx * dx + dy * dy) / 8.0);
          const double weight = k * fastExp(-(diff * diff) * invVariance);
          s += n * weight;
          wsum += weight;
        }
      }
      out[c] = s / wsum;
    }
  }
  return out;
}

bool interior(const Images& im, int radius, int x, int y) {
  return im.height - radius > radius && x >= radius && x < im.width - radius && y >= radius &&
         y < im.height - radius;
}

template <class D>
void run(D d, Images& im, int radius) {
  filterAdaptiveNoise(d, im.width, im.height, static_cast<uint8_t>(radius), im.scratch.data(),
                      im.noise.data(), im.flags.data(), im.distance.data());
}

template <class D>
class AdaptiveNoiseFilter : public ::testing::Test {};
TYPED_TEST_SUITE(AdaptiveNoiseFilter, testing::AllSimdTags, testing::SimdTagName);

// Widths 1..11 give every partial last group for both radii, 31 and 64 many
// groups per row; heights 1..7 include the images too small to filter.
TYPED_TEST(AdaptiveNoiseFilter, MatchesBruteForceAndTheScalarPath) {
  for (int radius = 1; radius <= 2; ++radius) {
    for (int h = 1; h <= 9; h += h < 7 ? 1 : 2) {
      for (int w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 31, 64}) {
        SCOPED_TRACE(::testing::Message() << "radius " << radius << ", " << w << "x" << h);
        const Images original =
            randomImages(w, h, static_cast<uint32_t>(1000 * radius + 16 * h + w));
        Images im = original, scalar = original;
        run(TypeParam(), im, radius);
        run(simd::scalar::Tag(), scalar, radius);
        const std::vector<double> want = referenceFilter(original, radius);
        for (int y = 0; y < h; ++y) {
          for (int x = 0; x < w; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * w + x;
            ASSERT_EQ(bitsOf(im.scratch[i]), bitsOf(original.distance[i]));
            if (!interior(original, radius, x, y) || original.flags[i] != 0) {
              // Border and flagged pixels keep their exact bits (NaN included).
              ASSERT_EQ(bitsOf(im.distance[i]), bitsOf(original.distance[i])) << x << "," << y;
              continue;
            }
            // 20 micrometres: float accumulation over 25 weights of values up
            // to 5 m, plus refined reciprocals on backends without division.
            ASSERT_NEAR(im.distance[i], want[i], 2e-5) << x << "," << y;
            if (TypeParam::kExactDivision) {
              ASSERT_EQ(bitsOf(im.distance[i]), bitsOf(scalar.distance[i])) << x << "," << y;
            } else {
              ASSERT_NEAR(im.distance[i], scalar.distance[i], 2e-5) << x << "," << y;
            }
          }
        }
      }
    }
  }
}

TYPED_TEST(AdaptiveNoiseFilter, RadiusBeyondTheKernelTableLeavesTheImage) {
  const Images original = randomImages(16, 12, 3);
  Images im = original;
  run(TypeParam(), im, 3);
  for (std::size_t i = 0; i < original.count(); ++i) {
    ASSERT_EQ(bitsOf(im.distance[i]), bitsOf(original.distance[i]));
  }
}

// The approximation written straight from its definition, with the library's
// truncation and conversion helpers replaced by standard ones.
uint32_t formulaBits(float z) {
  float p = z * 1.442695f;
  if (p < -127.0f) p = -127.0f;
  const float f = p - std::trunc(p) + 1.0f;
  const float v = 8388608.0f * (p + 127.00248f + f * (-0.34895322f + 0.3440011f * f));
  if (std::isnan(v) || v <= 0.0f) return 0u;
  if (static_cast<double>(v) >= 4294967296.0) return 0xFFFFFFFFu;
  return static_cast<uint32_t>(std::trunc(static_cast<double>(v)));
}

std::vector<float> probeInputs() {
  const float inf = std::numeric_limits<float>::infinity();
  std::vector<float> z = {0.0f,     -0.0f,  -1e-30f, -0.5f,   -0.6931472f, -1.0f, -2.0f,
                          -42.975f, -87.3f, -88.0f,  -88.03f, -100.0f,     -1e6f, -1e30f,
                          -inf,     1e-3f,  1.0f,    80.0f,   1e10f,       inf,   std::nanf("")};
  // Negative integer powers of two sit on the approximation's seams.
  for (int k = 1; k <= 130; ++k) z.push_back(-static_cast<float>(k) / 1.442695f);
  std::mt19937 rng(7);
  std::uniform_real_distribution<float> range(-120.0f, 0.0f);
  for (int i = 0; i < 20000; ++i) z.push_back(range(rng));
  return z;
}

TEST(FastExp, ScalarFormMatchesItsFormulaBitForBit) {
  for (float z : probeInputs()) {
    EXPECT_EQ(bitsOf(fastExp(z)), formulaBits(z)) << "z = " << z;
  }
}

TEST(FastExp, StaysWithinItsStatedErrorOfExpOverTheNormalRange) {
  // 0.25 % relative: the bound the approximation is documented with.
  std::mt19937 rng(11);
  std::uniform_real_distribution<float> range(-87.3f, 0.0f);
  double worst = 0.0;
  for (int i = 0; i < 200000; ++i) {
    const float z = range(rng);
    const double exact = std::exp(static_cast<double>(z));
    worst = std::max(worst, std::fabs(fastExp(z) - exact) / exact);
  }
  EXPECT_LT(worst, 2.5e-3);
  EXPECT_GT(worst, 1e-4);  // the bound is tight, not vacuous
}

template <class D>
class FastExpBackend : public ::testing::Test {};
TYPED_TEST_SUITE(FastExpBackend, testing::AllSimdTags, testing::SimdTagName);

// Both vector forms, the general one everywhere and the one for z <= 0 on
// its domain.
TYPED_TEST(FastExpBackend, EveryLaneMatchesTheScalarForm) {
  const TypeParam d;
  const std::vector<float> z = probeInputs();
  for (std::size_t i = 0; i + 4 <= z.size(); i += 4) {
    float out[4], nonPositive[4];
    StoreU(FastExp(d, LoadU(d, z.data() + i)), d, out);
    StoreU(FastExpNonPositive(d, LoadU(d, z.data() + i)), d, nonPositive);
    for (std::size_t k = 0; k < 4; ++k) {
      EXPECT_EQ(bitsOf(out[k]), bitsOf(fastExp(z[i + k]))) << "z = " << z[i + k];
      if (!(z[i + k] > 0.0f)) {
        EXPECT_EQ(bitsOf(nonPositive[k]), bitsOf(fastExp(z[i + k]))) << "z = " << z[i + k];
      }
    }
  }
}

TYPED_TEST(FastExpBackend, UnsignedConversionSaturatesAndTruncates) {
  const TypeParam d;
  const float inf = std::numeric_limits<float>::infinity();
  const float in[] = {-1.0f,         -0.0f,         0.0f,          0.99f,
                      1.5f,          8388607.5f,    2147483520.0f, 2147483648.0f,
                      2147483904.0f, 4294967040.0f, 4294967296.0f, 1e20f,
                      inf,           -inf,          std::nanf(""), 3.0f};
  const uint32_t want[] = {0u,          0u,          0u,          0u,
                           1u,          8388607u,    2147483520u, 2147483648u,
                           2147483904u, 4294967040u, 0xFFFFFFFFu, 0xFFFFFFFFu,
                           0xFFFFFFFFu, 0u,          0u,          3u};
  for (std::size_t i = 0; i < 16; i += 4) {
    uint32_t out[4];
    StoreU32(TruncateToUnsigned(LoadU(d, in + i)), d, out);
    for (std::size_t k = 0; k < 4; ++k) EXPECT_EQ(out[k], want[i + k]) << in[i + k];
  }
}

}  // namespace
}  // namespace kelvora
