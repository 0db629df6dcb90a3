#include "filters/AdaptiveNoiseFilter.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
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
  int width;
  int height;
  std::unique_ptr<float[]> distance;
  std::unique_ptr<float[]> noise;
  std::unique_ptr<uint32_t[]> flags;
  std::unique_ptr<float[]> scratch;

  Images(int w, int h)
      : width(w),
        height(h),
        distance(new float[count()]),
        noise(new float[count()]),
        flags(new uint32_t[count()]()),
        scratch(new float[count()]()) {}
  std::size_t count() const { return static_cast<std::size_t>(width) * height; }
  Images clone() const {
    Images c(width, height);
    std::copy(distance.get(), distance.get() + count(), c.distance.get());
    std::copy(noise.get(), noise.get() + count(), c.noise.get());
    std::copy(flags.get(), flags.get() + count(), c.flags.get());
    return c;
  }
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
  std::vector<double> out(im.distance.get(), im.distance.get() + im.count());
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
  filterAdaptiveNoise(d, im.width, im.height, static_cast<uint8_t>(radius), im.scratch.get(),
                      im.noise.get(), im.flags.get(), im.distance.get());
}

template <class D>
class AdaptiveNoiseFilter : public ::testing::Test {};
TYPED_TEST_SUITE(AdaptiveNoiseFilter, testing::AllSimdTags, testing::SimdTagName);

TYPED_TEST(AdaptiveNoiseFilter, MatchesBruteForceOnRandomFlaggedImages) {
  // Widths 1..11 give every partial last group for both radii; heights 1..7
  // include the images too small to filter.
  for (int radius = 1; radius <= 2; ++radius) {
    for (int h = 1; h <= 7; ++h) {
      for (int w = 1; w <= 11; ++w) {
        SCOPED_TRACE(::testing::Message() << "radius " << radius << ", " << w << "x" << h);
        const Images original =
            randomImages(w, h, static_cast<uint32_t>(1000 * radius + 16 * h + w));
        Images im = original.clone();
        run(TypeParam(), im, radius);
        const std::vector<double> want = referenceFilter(original, radius);
        for (int y = 0; y < h; ++y) {
          for (int x = 0; x < w; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * w + x;
            ASSERT_EQ(bitsOf(im.scratch[i]), bitsOf(original.distance[i]));
            if (!interior(original, radius, x, y) || original.flags[i] != 0) {
              // Border and flagged pixels keep their exact bits (NaN included).
              ASSERT_EQ(bitsOf(im.distance[i]), bitsOf(original.distance[i])) << x << "," << y;
            } else {
              // 20 micrometres: float accumulation over 25 weights of values up
              // to 5 m, plus refined reciprocals on backends without division.
              ASSERT_NEAR(im.distance[i], want[i], 2e-5) << x << "," << y;
            }
          }
        }
      }
    }
  }
}

TYPED_TEST(AdaptiveNoiseFilter, AgreesWithTheScalarPath) {
  for (int radius = 1; radius <= 2; ++radius) {
    for (int w : {5, 6, 7, 8, 9, 31, 64}) {
      const Images original = randomImages(w, 9, static_cast<uint32_t>(77 * w + radius));
      Images got = original.clone();
      Images want = original.clone();
      run(TypeParam(), got, radius);
      run(simd::scalar::Tag(), want, radius);
      for (std::size_t i = 0; i < original.count(); ++i) {
        if (TypeParam::kExactDivision) {
          ASSERT_EQ(bitsOf(got.distance[i]), bitsOf(want.distance[i])) << "pixel " << i;
        } else {
          ASSERT_NEAR(got.distance[i], want.distance[i], 2e-5) << "pixel " << i;
        }
      }
    }
  }
}

TYPED_TEST(AdaptiveNoiseFilter, ConstantImageStaysConstant) {
  for (int radius = 1; radius <= 2; ++radius) {
    Images im(13, 8);
    for (std::size_t i = 0; i < im.count(); ++i) {
      im.distance[i] = 2.345f;
      im.noise[i] = 0.01f + 0.001f * static_cast<float>(i % 7);
      im.flags[i] = i % 11 == 3 ? 0x5u : 0u;
    }
    run(TypeParam(), im, radius);
    for (std::size_t i = 0; i < im.count(); ++i) {
      ASSERT_NEAR(im.distance[i], 2.345f, 2.345f * 4e-7f) << "pixel " << i;
    }
  }
}

TYPED_TEST(AdaptiveNoiseFilter, FlaggedNeighbourDoesNotPullTheAverage) {
  // A 1 m plane with one flagged pixel at 100 m: every unflagged pixel stays
  // at 1 m, the flagged one keeps its value.
  Images im(9, 7);
  for (std::size_t i = 0; i < im.count(); ++i) {
    im.distance[i] = 1.0f;
    im.noise[i] = 50.0f;  // so wide that an unflagged 100 m would pull visibly
    im.flags[i] = 0u;
  }
  const std::size_t hot = 3 * 9 + 4;
  im.distance[hot] = 100.0f;
  im.flags[hot] = 0x11u;
  run(TypeParam(), im, 2);
  for (std::size_t i = 0; i < im.count(); ++i) {
    ASSERT_NEAR(im.distance[i], i == hot ? 100.0f : 1.0f, 1e-6f) << "pixel " << i;
  }
  EXPECT_EQ(im.distance[hot], 100.0f);
}

TYPED_TEST(AdaptiveNoiseFilter, StepEdgeIsPreserved) {
  // 1 m left, 3 m right, noise 1 cm: across the edge the range weight
  // underflows to zero, so both sides keep their depth.
  for (int radius = 1; radius <= 2; ++radius) {
    Images im(17, 9);
    for (int y = 0; y < 9; ++y) {
      for (int x = 0; x < 17; ++x) {
        const std::size_t i = static_cast<std::size_t>(y) * 17 + x;
        im.distance[i] = x < 8 ? 1.0f : 3.0f;
        im.noise[i] = 0.01f;
        im.flags[i] = 0u;
      }
    }
    run(TypeParam(), im, radius);
    for (int y = 0; y < 9; ++y) {
      for (int x = 0; x < 17; ++x) {
        const float side = x < 8 ? 1.0f : 3.0f;
        ASSERT_NEAR(im.distance[static_cast<std::size_t>(y) * 17 + x], side, side * 4e-7f)
            << x << "," << y;
      }
    }
  }
}

TYPED_TEST(AdaptiveNoiseFilter, SmoothsNoiseOnAFlatArea) {
  // Sanity on the direction of the effect: a noisy plane gets closer to its
  // true depth.
  Images im(32, 24);
  std::mt19937 rng(5);
  std::normal_distribution<float> n(0.0f, 0.02f);
  for (std::size_t i = 0; i < im.count(); ++i) {
    im.distance[i] = 2.0f + n(rng);
    im.noise[i] = 0.02f;
    im.flags[i] = 0u;
  }
  auto rms = [&] {
    double s = 0.0;
    for (int y = 2; y < 22; ++y)
      for (int x = 2; x < 30; ++x) s += std::pow(im.distance[y * 32 + x] - 2.0, 2);
    return std::sqrt(s / (20 * 28));
  };
  const double before = rms();
  run(TypeParam(), im, 2);
  EXPECT_LT(rms(), 0.5 * before);
}

TYPED_TEST(AdaptiveNoiseFilter, RadiusBeyondTheKernelTableLeavesTheImage) {
  const Images original = randomImages(16, 12, 3);
  Images im = original.clone();
  run(TypeParam(), im, 3);
  for (std::size_t i = 0; i < original.count(); ++i) {
    ASSERT_EQ(bitsOf(im.distance[i]), bitsOf(original.distance[i]));
  }
}

TEST(AdaptiveNoiseFilterEntry, RunsTheNativeKernel) {
  const Images original = randomImages(23, 11, 99);
  Images got = original.clone();
  Images want = original.clone();
  filterAdaptiveNoise_arm(23, 11, 2, got.scratch.get(), got.noise.get(), got.flags.get(),
                          got.distance.get());
  run(simd::NativeTag(), want, 2);
  for (std::size_t i = 0; i < original.count(); ++i) {
    ASSERT_EQ(bitsOf(got.distance[i]), bitsOf(want.distance[i]));
  }
}

}  // namespace
}  // namespace kelvora
