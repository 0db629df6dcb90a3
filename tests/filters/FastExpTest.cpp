#include "filters/FastExp.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "common/SimdTestTypes.hpp"

namespace kelvora {
namespace {

uint32_t bitsOf(float v) {
  uint32_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
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
