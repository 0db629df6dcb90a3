#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <tuple>
#include <vector>

#include "common/SimdTestTypes.hpp"
#include "core/UnscrambleIntensity.hpp"
#include "core/UnscrambleReIm.hpp"

namespace kelvora {
namespace {

constexpr float kUntouched = -12345.0f;
constexpr uint32_t kFlagSentinel = 0x100u;

struct PhaseFrames {
  uint32_t width, height;
  std::vector<uint16_t> a[4];
  std::vector<float> imag, real, asym;
  std::vector<uint32_t> flags;

  PhaseFrames(uint32_t w, uint32_t h) : width(w), height(h) {
    for (auto& f : a) f.resize(static_cast<std::size_t>(w) * h);
    imag.assign(static_cast<std::size_t>(w) * h, kUntouched);
    real = asym = imag;
    flags.assign(static_cast<std::size_t>(w) * h, kFlagSentinel);
  }
  const uint16_t* frames[4] = {};
  const uint16_t* const* framePointers() {
    for (int k = 0; k < 4; ++k) frames[k] = a[k].data();
    return frames;
  }
};

template <class D>
void runReIm(D d, PhaseFrames& p, uint16_t lower, uint16_t upper) {
  UnscrambleReImKernel(d, p.width, p.height, lower, upper, p.framePointers(), p.imag.data(),
                       p.real.data(), p.asym.data(), p.flags.data());
}

template <class D>
class UnscrambleTest : public ::testing::Test {};
TYPED_TEST_SUITE(UnscrambleTest, testing::AllSimdTags, testing::SimdTagName);

// Every width from 1 to 27 covers rows with no vector step, exactly eight
// pixels, and every tail length; samples span the whole 16-bit range.
TYPED_TEST(UnscrambleTest, PhaseFramesMatchNaiveIntegerReferenceForEveryWidth) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<int> sample(0, 65535);
  const uint16_t lower = 100, upper = 60000;
  for (uint32_t width = 1; width <= 27; ++width) {
    for (uint32_t height : {2u, 3u, 5u}) {
      PhaseFrames p(width, height);
      for (auto& f : p.a)
        for (auto& s : f) s = static_cast<uint16_t>(sample(rng));
      runReIm(TypeParam(), p, lower, upper);
      for (uint32_t r = 0; r < height; ++r) {
        for (uint32_t x = 0; x < width; ++x) {
          const std::size_t out = static_cast<std::size_t>(r) * width + x;
          if (r == height - 1) {  // never written
            ASSERT_EQ(p.imag[out], kUntouched);
            ASSERT_EQ(p.flags[out], kFlagSentinel);
            continue;
          }
          const std::size_t in = out + width;  // raw row r + 1
          const int64_t a0 = p.a[0][in], a1 = p.a[1][in], a2 = p.a[2][in], a3 = p.a[3][in];
          ASSERT_EQ(p.imag[out], static_cast<float>(a1 - a3)) << width << " " << x;
          ASSERT_EQ(p.real[out], static_cast<float>(a0 - a2));
          ASSERT_EQ(p.asym[out], static_cast<float>(a0 + a2 - a1 - a3));
          bool bad = false;
          for (int64_t s : {a0, a1, a2, a3}) bad = bad || s < lower || s > upper;
          ASSERT_EQ(p.flags[out], kFlagSentinel | (bad ? 0x3u : 0u)) << width << " " << x;
        }
      }
    }
  }
}

// (sample, lower, upper, saturated): bounds are part of the valid range.
using SaturationCase = std::tuple<uint16_t, uint16_t, uint16_t, bool>;
class SaturationBounds : public ::testing::TestWithParam<SaturationCase> {};

TEST_P(SaturationBounds, FlagsOnlyOutsideInclusiveRangeOnBothPaths) {
  const auto [sample, lower, upper, saturated] = GetParam();
  for (uint32_t frame = 0; frame < 4; ++frame) {
    PhaseFrames p(12, 2);  // columns 0..7 vector path, 8..11 one pixel at a time
    for (auto& f : p.a) f.assign(f.size(), 2000);
    for (uint32_t x : {0u, 5u, 9u, 11u}) p.a[frame][12 + x] = sample;
    runReIm(simd::NativeTag(), p, lower, upper);
    for (uint32_t x = 0; x < 12; ++x) {
      const bool hit = saturated && (x == 0 || x == 5 || x == 9 || x == 11);
      EXPECT_EQ(p.flags[x], kFlagSentinel | (hit ? 0x3u : 0u)) << "frame " << frame << " x " << x;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Unscramble, SaturationBounds,
    ::testing::Values(SaturationCase{4000, 10, 4000, false}, SaturationCase{4001, 10, 4000, true},
                      SaturationCase{10, 10, 4000, false}, SaturationCase{9, 10, 4000, true},
                      SaturationCase{0, 0, 65535, false}, SaturationCase{65535, 0, 65535, false},
                      SaturationCase{65535, 0, 65534, true}));

TEST(Unscramble, HeightOneOrZeroWritesNothing) {
  for (uint32_t height : {0u, 1u}) {
    PhaseFrames p(16, 1);
    p.height = height;
    for (auto& f : p.a) f.assign(f.size(), 65535);
    runReIm(simd::NativeTag(), p, 10, 20);
    for (std::size_t i = 0; i < p.imag.size(); ++i) {
      EXPECT_EQ(p.imag[i], kUntouched);
      EXPECT_EQ(p.flags[i], kFlagSentinel);
    }
  }
}

TYPED_TEST(UnscrambleTest, GreyFrameMatchesReferenceForEveryWidth) {
  std::mt19937 rng(11);
  std::uniform_int_distribution<int> sample(0, 65535);
  std::uniform_real_distribution<float> fpn(-50.0f, 4000.0f);
  for (uint32_t exposure : {0u, 1u, 700u}) {
    for (uint32_t width = 1; width <= 13; ++width) {
      const uint32_t height = 3;
      const std::size_t n = static_cast<std::size_t>(width) * height;
      std::vector<uint16_t> raw(n);
      std::vector<float> f(n), grey(n), normalised(n);
      for (std::size_t i = 0; i < n; ++i) {
        raw[i] = static_cast<uint16_t>(sample(rng));
        f[i] = i % 3 == 0 ? static_cast<float>(raw[i]) + 1.0f : fpn(rng);  // some negative
      }
      UnscrambleIntensityKernel(TypeParam(), width, height, raw.data(), f.data(),
                                intensityScale(exposure), grey.data(), normalised.data());
      const double scale = exposure == 0 ? 1.0 : 1.0 / exposure;
      for (std::size_t i = 0; i < n; ++i) {
        const float g = static_cast<float>(raw[i]) - f[i];
        ASSERT_EQ(grey[i], g);
        if (g < 0.0f) {
          ASSERT_EQ(normalised[i], 0.0f);
        } else {
          ASSERT_NEAR(normalised[i], g * scale, 1e-6 * g * scale);
        }
      }
    }
  }
}

}  // namespace
}  // namespace kelvora
