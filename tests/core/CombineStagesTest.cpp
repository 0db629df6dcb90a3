// The combine driver's own stages: wrapping one frequency's distance, the
// noise test, the flying-pixel test and image validation, and the one sweep
// that runs them with the point cloud.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "base/KelvoraOutput.hpp"
#include "base/PixelFlags.hpp"
#include "common/CoreFixtures.hpp"
#include "common/SimdTestTypes.hpp"
#include "core/CombineStages.hpp"
#include "core/CoreKernels.hpp"
#include "filters/FilterKernels.hpp"

namespace kelvora {
namespace {

TEST(CombineStages, WrapIntoTheRangeAndFlagNoiseStrictly) {
  const float range = 7.5f, threshold = testing::defaultParameters().noiseThreshold;
  synth::SplitMix rng(1);
  std::vector<float> in(37), out(38, -99.0f), noise(37);
  for (float& v : in) v = rng.uniform(-7.4f, 22.0f);
  in[0] = range;  // exactly one range wraps to 0
  in[1] = -0.1f;  // slightly negative wraps to just below the range
  wrapSingleFrequencyDistance(37, in.data(), range, out.data());
  for (uint32_t i = 0; i < 37; ++i) {
    ASSERT_NEAR(out[i], in[i] - std::floor(in[i] / double{range}) * range, 1e-6) << i;
    ASSERT_TRUE(out[i] >= 0.0f && out[i] < range);
    noise[i] = i % 3 == 0 ? threshold : i % 3 == 1 ? std::nextafter(threshold, 1.0f) : 0.0f;
  }
  EXPECT_EQ(out[0], 0.0f);
  EXPECT_NEAR(out[1], 7.4f, 1e-6);
  EXPECT_EQ(out[37], -99.0f) << "nothing written past n";
  std::vector<uint32_t> flags(37, 0x100u);
  flagNoise(37, noise.data(), threshold, flags.data());
  for (uint32_t i = 0; i < 37; ++i) EXPECT_EQ(flags[i], i % 3 == 1 ? 0x109u : 0x100u) << i;
}

// Constructed scenes and the one pixel each must flag (-1: none), with the
// default limits: 0.018 m up to 1 m, ramping to 0.14 m at 4.5 m.
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
    {"negativeDistanceIsTakenAbsolute", 3, 3,
     [](uint32_t x, uint32_t y) { return x == 1 && y == 1 ? -0.5f : 0.5f; }, -1},
    {"fewerThanThreeRows", 4, 2, [](uint32_t x, uint32_t y) { return (x + y) % 2 ? 5.0f : 0.0f; },
     -1},
};

TEST(FlyingPixels, OnlyPixelsStandingOutOnBothSidesBeyondTheLimit) {
  for (const FlyingCase& t : kFlyingCases) {
    const KelvoraParameter p = testing::defaultParameters(t.w, t.h);
    std::vector<float> d(t.w * t.h);
    for (uint32_t i = 0; i < d.size(); ++i) d[i] = t.depth(i % t.w, i / t.w);
    std::vector<uint32_t> flags(d.size(), 0);
    flagFlyingPixels(p, d.data(), flags.data());
    for (uint32_t i = 0; i < flags.size(); ++i) {
      EXPECT_EQ(flags[i], static_cast<int>(i) == t.flagged ? flags::kFlyingPixel : 0u)
          << t.name << " pixel " << i;
    }
  }
}

// A row wider than three groups of the widest target plus a tail, every
// interior pixel a difference of exactly the limit away from its neighbours
// (0 and f0 alternating, both below the near distance, so the limit is f0
// and every difference is exact): nothing is flagged, on every target, in
// whole groups and tails alike, by the stage alone and by the combine sweep
// that processing uses. One ulp more and every interior pixel is.
TEST(FlyingPixels, DifferenceExactlyOnTheLimitIsNotFlyingOnEveryTarget) {
  constexpr uint32_t w = 3 * 16 + 3 + 6, h = 5, n = w * h;
  const KelvoraParameter p = testing::defaultParameters(w, h);
  const float f0 = p.flyingPixelF0;
  const FlyingPixelLimits limits{p.flyingPixelNearDist, p.flyingPixelFarDist, f0, p.flyingPixelF1};
  const std::vector<float> rays(3 * n, 0.0f);
  for (const float step : {f0, std::nextafter(f0, 1.0f)}) {
    std::vector<float> d(n);
    for (uint32_t i = 0; i < n; ++i) d[i] = ((i % w) + (i / w)) % 2 ? step : 0.0f;
    for (unsigned t = 0; t < simd::kTargetCount; ++t) {
      const CoreKernels* kernels = coreKernelsFor(static_cast<simd::Target>(t));
      if (kernels == nullptr) continue;
      std::vector<uint32_t> alone(n, 0), swept(n, 0);
      kernels->flagFlyingPixels(limits, w, h, d.data(), alone.data());
      std::vector<float> distance = d, noise(n, 0.0f), cloud(4 * n);
      kernels->finishImage({w, h, p.noiseThreshold, true, limits, false, false, rays.data(),
                            nullptr, nullptr, distance.data(), noise.data(), swept.data(),
                            cloud.data()});
      // The columns of row 1 that come out wrong, for the whole row's story.
      for (const auto* flags : {&alone, &swept}) {
        std::string wrong;
        for (uint32_t i = 0; i < n; ++i) {
          const bool interior = i % w != 0 && i % w != w - 1 && i / w != 0 && i / w != h - 1;
          if ((*flags)[i] != (interior && step != f0 ? flags::kFlyingPixel : 0u) && i / w == 1) {
            wrong += " " + std::to_string(i % w);
          }
        }
        EXPECT_EQ(wrong, "") << simd::targetName(static_cast<simd::Target>(t)) << ", step " << step
                             << (flags == &alone ? ", alone" : ", swept") << ": wrong columns";
      }
    }
  }
}

TEST(ValidateImage, ClearsFlaggedPixelsDenseAndSparse) {
  for (const bool sparse : {false, true}) {
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
    // A sparse cloud's slots belong to other pixels' points: untouched.
    const std::vector<float> dense = {1, 2, 3, 4, 0, 0, 0, 8, 0, 0, 0, 12};
    const std::vector<float> untouched = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_EQ(cloud, sparse ? untouched : dense);
  }
}

// The sweep against the stages run one after the other on the scalar path,
// over small sizes (every border case) and hostile values, each switch
// combination that changes what is written.
TEST(FinishImage, GivesTheBitsOfTheStagesRunInTurn) {
  const CoreKernels& core = *coreKernelsFor(simd::Target::kScalar);
  const FilterKernels& filters = *filterKernelsFor(simd::Target::kScalar);
  for (uint32_t w = 1; w <= 9; ++w) {
    for (uint32_t h = 1; h <= 5; ++h) {
      for (uint32_t mode = 0; mode < 4; ++mode) {
        SCOPED_TRACE(::testing::Message() << w << "x" << h << " mode " << mode);
        KelvoraParameter p = testing::defaultParameters(w, h);
        p.useSparsePointCloud = mode & 1;
        p.useValidateImage = mode & 2;
        const uint32_t n = w * h, seed = 100 * w + 10 * h + mode;
        std::vector<float> d = testing::hostileFloats(n, 3.0f, p.flyingPixelNearDist, seed, false);
        for (uint32_t i = 1; i < n; i += 3) d[i] = d[i - 1] + 0.02f * static_cast<float>(i % 7);
        std::vector<float> noise =
            testing::hostileFloats(n, 0.2f, p.noiseThreshold, seed + 1, false);
        const std::vector<float> rays = testing::hostileFloats(3 * n, 1.0f, 0.0f, seed + 2, false);
        std::vector<uint32_t> fl(n);
        for (uint32_t i = 0; i < n; ++i) fl[i] = i % 5 == 0 ? flags::kMasked : 0u;
        const FlyingPixelLimits limits{p.flyingPixelNearDist, p.flyingPixelFarDist, p.flyingPixelF0,
                                       p.flyingPixelF1};
        // In turn.
        std::vector<float> wantD = d, wantNoise = noise, wantCloud(4 * n, -1.0f);
        std::vector<uint32_t> wantFlags = fl;
        core.flagNoise(n, wantNoise.data(), p.noiseThreshold, wantFlags.data());
        core.flagFlyingPixels(limits, w, h, wantD.data(), wantFlags.data());
        const PointCloudImage cloud{
            n,           wantD.data(),     wantNoise.data(), wantFlags.data(),
            rays.data(), p.noiseThreshold, wantCloud.data()};
        const uint32_t wantCount = p.useSparsePointCloud ? filters.pointCloudSparse(cloud) : 0u;
        if (!p.useSparsePointCloud) filters.pointCloudDense(cloud);
        KelvoraOutput out{};
        out.distance = wantD.data();
        out.noise = wantNoise.data();
        out.pointCloud = wantCloud.data();
        out.flags = wantFlags.data();
        if (p.useValidateImage) validateImage(p, out);
        // In one sweep.
        std::vector<float> gotCloud(4 * n, -1.0f), amplitude(n, -1.0f);
        const uint32_t gotCount =
            core.finishImage({w, h, p.noiseThreshold, true, limits, p.useSparsePointCloud,
                              p.useValidateImage, rays.data(), rays.data(), amplitude.data(),
                              d.data(), noise.data(), fl.data(), gotCloud.data()});
        EXPECT_EQ(gotCount, wantCount);
        EXPECT_EQ(fl, wantFlags);
        EXPECT_EQ(0, std::memcmp(amplitude.data(), rays.data(), n * sizeof(float)));
        for (const auto& [got, want] :
             {std::pair{&d, &wantD}, {&noise, &wantNoise}, {&gotCloud, &wantCloud}}) {
          for (std::size_t i = 0; i < want->size(); ++i) {
            ASSERT_TRUE(testing::sameBits((*got)[i], (*want)[i])) << i;
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace kelvora
