// The combine driver's own stages: wrapping, noise test, flying pixels and
// image validation.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "common/CoreFixtures.hpp"
#include "common/SimdTestTypes.hpp"
#include "core/CombineStages.hpp"

namespace kelvora {
namespace {

template <class D>
class CombineKernels : public ::testing::Test {};
TYPED_TEST_SUITE(CombineKernels, testing::AllSimdTags, testing::SimdTagName);

TYPED_TEST(CombineKernels, WrapMatchesFloorFormulaForEveryLengthAndLane) {
  const float range = 7.5f;
  std::mt19937 gen(1);
  std::uniform_real_distribution<float> dist(-7.4f, 22.0f);
  for (uint32_t n = 1; n <= 11; ++n) {
    std::vector<float> in(n), out(n + 1, -99.f);
    for (auto& v : in) v = dist(gen);
    in[0] = range;             // exactly one range wraps to 0
    if (n > 1) in[1] = -0.1f;  // slightly negative wraps to just below the range
    WrapDistanceKernel(TypeParam(), n, in.data(), range, out.data());
    for (uint32_t i = 0; i < n; ++i) {
      const double q = static_cast<double>(in[i]) * (1.0 / range);
      const double want = in[i] - std::floor(q) * range;
      EXPECT_NEAR(out[i], want, 1e-6) << n << ":" << i;
      EXPECT_GE(out[i], 0.0f);
      EXPECT_LT(out[i], range);
    }
    EXPECT_EQ(out[0], 0.0f);
    if (n > 1) {
      EXPECT_NEAR(out[1], 7.4f, 1e-6);
    }
    EXPECT_EQ(out[n], -99.f) << "nothing written past n";
  }
}

TYPED_TEST(CombineKernels, NoiseTestIsStrictAndOnlyOrs) {
  for (uint32_t n = 1; n <= 9; ++n) {
    std::vector<float> noise(n);
    std::vector<uint32_t> fl(n + 1, 0x100u);
    for (uint32_t i = 0; i < n; ++i)
      noise[i] = i % 3 == 0 ? 0.07f : (i % 3 == 1 ? 0.0700001f : 0.01f);
    FlagNoiseKernel(TypeParam(), n, noise.data(), 0.07f, fl.data());
    for (uint32_t i = 0; i < n; ++i) {
      EXPECT_EQ(fl[i], i % 3 == 1 ? 0x109u : 0x100u) << i;
    }
    EXPECT_EQ(fl[n], 0x100u);
  }
}

// Every lane of the vector path against the per-pixel test, on distances
// spread over the ramp (so limits and differences land close together), with
// NaN and infinities mixed in, and flags already set that must only be ORed.
TYPED_TEST(CombineKernels, FlyingPixelKernelMatchesPerPixelTest) {
  for (const uint32_t w : {3u, 5u, 8u, 29u}) {
    const uint32_t h = 7;
    KelvoraParameter p = testing::defaultParameters(w, h);
    std::mt19937 rng(w);
    std::uniform_real_distribution<float> metres(0.0f, 6.0f), step(-0.2f, 0.2f);
    std::vector<float> d(w * h);
    for (float& v : d) v = metres(rng);
    for (uint32_t i = 0; i + 1 < d.size(); i += 2) d[i + 1] = d[i] + step(rng);
    d[w + 1] = std::nanf("");
    d[2 * w + 1] = -INFINITY;
    std::vector<uint32_t> expected(w * h), flagsOut(w * h);
    for (uint32_t i = 0; i < w * h; ++i) expected[i] = flagsOut[i] = i % 5 == 0 ? 0x9u : 0u;
    for (uint32_t y = 1; y + 1 < h; ++y) {
      for (uint32_t x = 1; x + 1 < w; ++x) {
        const float* row = d.data() + y * w;
        if (isFlyingPixel(p, row - w, row, row + w, x)) expected[y * w + x] |= flags::kFlyingPixel;
      }
    }
    FlagFlyingPixelsKernel(TypeParam(), p, d.data(), flagsOut.data());
    EXPECT_EQ(flagsOut, expected) << "width " << w;
  }
}

// Constructed scenes and the one pixel each must flag (-1: none). Near
// distances use the limit flyingPixelF0 = 0.018 m; between 1.0 m and 4.5 m it
// ramps to 0.14 m (0.079 m at 2.75 m); far beyond it is flyingPixelF1.
struct FlyingCase {
  const char* name;
  uint32_t w, h;
  float (*depth)(uint32_t x, uint32_t y);
  int flagged;
};

const FlyingCase kFlyingCases[] = {
    {"standsOutOnAllSides", 5, 5,
     [](uint32_t x, uint32_t y) { return x == 2 && y == 2 ? 0.6f
                                         : x == y         ? 0.51f
                                                          : 0.5f; }, 12},
    {"edgeIsNotFlying", 6, 4, [](uint32_t x, uint32_t) { return x < 3 ? 1.0f : 3.0f; }, -1},
    {"belowRampLimit", 3, 3,
     [](uint32_t x, uint32_t y) { return x == 1 && y == 1 ? 2.75f : 2.82f; }, -1},
    {"aboveRampLimit", 3, 3,
     [](uint32_t x, uint32_t y) { return x == 1 && y == 1 ? 2.75f : 2.84f; }, 4},
    {"farLimit", 3, 3, [](uint32_t x, uint32_t y) { return x == 1 && y == 1 ? 6.0f : 6.13f; }, -1},
    {"fewerThanThreeRows", 4, 2, [](uint32_t x, uint32_t y) { return (x + y) % 2 ? 5.0f : 0.0f; },
     -1},
};

TEST(FlyingPixels, OnlyPixelsStandingOutOnBothSidesBeyondTheLimit) {
  for (const FlyingCase& t : kFlyingCases) {
    KelvoraParameter p = testing::defaultParameters(t.w, t.h);
    std::vector<float> d(t.w * t.h);
    for (uint32_t i = 0; i < d.size(); ++i) d[i] = t.depth(i % t.w, i / t.w);
    std::vector<uint32_t> fl(d.size(), 0);
    flagFlyingPixels(p, d.data(), fl.data());
    for (uint32_t i = 0; i < fl.size(); ++i) {
      EXPECT_EQ(fl[i], static_cast<int>(i) == t.flagged ? flags::kFlyingPixel : 0u)
          << t.name << " pixel " << i;
    }
  }
}

TEST(ValidateImage, ClearsFlaggedPixelsDenseAndSparse) {
  for (bool sparse : {false, true}) {
    KelvoraParameter p = testing::defaultParameters(3, 1);
    p.useSparsePointCloud = sparse;
    std::vector<float> dist = {1, 2, 3}, noise = {0.1f, 0.2f, 0.3f}, cloud(12);
    for (uint32_t i = 0; i < 12; ++i) cloud[i] = static_cast<float>(i + 1);
    std::vector<uint32_t> fl = {0, flags::kMasked, flags::kSaturated | flags::kFlyingPixel};
    KelvoraOutput out{};
    out.distance = dist.data();
    out.noise = noise.data();
    out.pointCloud = cloud.data();
    out.flags = fl.data();
    validateImage(p, out);
    EXPECT_EQ(fl, (std::vector<uint32_t>{0, 1, 1}));
    EXPECT_EQ(dist, (std::vector<float>{1, 0, 0}));
    EXPECT_EQ(noise, (std::vector<float>{0.1f, 0, 0}));
    if (sparse) {
      for (uint32_t i = 0; i < 12; ++i) EXPECT_EQ(cloud[i], static_cast<float>(i + 1));
    } else {
      EXPECT_EQ(cloud, (std::vector<float>{1, 2, 3, 4, 0, 0, 0, 8, 0, 0, 0, 12}));
    }
  }
}

}  // namespace
}  // namespace kelvora
