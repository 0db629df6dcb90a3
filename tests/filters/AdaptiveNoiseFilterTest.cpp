// The adaptive noise filter against a brute-force weighted mean computed in
// double, whose range weights come from the fast exponential written straight
// from its definition.
#include "filters/AdaptiveNoiseFilter.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "common/SimdTestTypes.hpp"

namespace kelvora {
namespace {

using testing::bitsOf;

// E(z): the bits of 2^(z log2 e) built in the float's exponent and mantissa.
double fastExpDefinition(float z) {
  float p = z * 1.442695f;
  if (p < -127.0f) p = -127.0f;
  const float f = p - std::trunc(p) + 1.0f;
  const float v = 8388608.0f * (p + 127.00248f + f * (-0.34895322f + 0.3440011f * f));
  const uint32_t bits = !(v > 0.0f) ? 0u : static_cast<uint32_t>(std::trunc(double{v}));
  float r;
  std::memcpy(&r, &bits, sizeof r);
  return r;
}

struct Images {
  int w, h;
  std::vector<float> distance, noise, scratch;
  std::vector<uint32_t> flags;
};

// Distances 0.5..5 m, noise 1..300 mm, one pixel in five flagged, half of
// those holding NaN so that a contribution would show.
Images randomImages(int w, int h, uint64_t seed) {
  const std::size_t n = static_cast<std::size_t>(w) * h;
  Images im{w,
            h,
            std::vector<float>(n),
            std::vector<float>(n),
            std::vector<float>(n),
            std::vector<uint32_t>(n)};
  synth::SplitMix rng(seed);
  for (std::size_t i = 0; i < n; ++i) {
    im.distance[i] = rng.uniform(0.5f, 5.0f);
    im.noise[i] = rng.uniform(0.001f, 0.3f);
    const uint64_t pick = rng.next() % 10;
    im.flags[i] = pick == 0 ? 0x9u : pick == 1 ? 0x21u : 0u;
    if (pick == 1) im.distance[i] = std::numeric_limits<float>::quiet_NaN();
  }
  return im;
}

// Widths and heights around both radii's interiors, and wide rows with many
// groups; the border, flagged pixels and too-small images keep their bits.
TEST(AdaptiveNoiseFilter, MatchesBruteForceWeightedMean) {
  for (int radius = 1; radius <= 2; ++radius) {
    for (int h = 1; h <= 8; ++h) {
      for (int w : {1, 2, 3, 4, 5, 6, 7, 9, 12, 31, 53}) {
        SCOPED_TRACE(::testing::Message() << "radius " << radius << ", " << w << "x" << h);
        const Images in = randomImages(w, h, 1000 * radius + 16 * h + w);
        Images out = in;
        filterAdaptiveNoise_arm(w, h, static_cast<uint8_t>(radius), out.scratch.data(),
                                out.noise.data(), out.flags.data(), out.distance.data());
        for (int y = 0; y < h; ++y) {
          for (int x = 0; x < w; ++x) {
            const int c = y * w + x;
            ASSERT_EQ(bitsOf(out.scratch[c]), bitsOf(in.distance[c]));
            const bool interior = x >= radius && x < w - radius && y >= radius && y < h - radius;
            if (!interior || in.flags[c] != 0) {
              ASSERT_EQ(bitsOf(out.distance[c]), bitsOf(in.distance[c])) << x << "," << y;
              continue;
            }
            const float d0 = in.distance[c], sigma = in.noise[c];
            const float invVariance = 1.0f / (12.5f * (sigma * sigma));
            double sum = 0.0, weights = 1.1754944e-38;
            for (int dy = -radius; dy <= radius; ++dy) {
              for (int dx = -radius; dx <= radius; ++dx) {
                const int at = c + dy * w + dx;
                if (in.flags[at] != 0) continue;
                const float diff = in.distance[at] - d0;
                const double weight = std::exp(-(dx * dx + dy * dy) / 8.0) *
                                      fastExpDefinition(-(diff * diff) * invVariance);
                sum += in.distance[at] * weight;
                weights += weight;
              }
            }
            // 20 micrometres: float sums of up to 25 weighted values of 5 m.
            ASSERT_NEAR(out.distance[c], sum / weights, 2e-5) << x << "," << y;
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace kelvora
