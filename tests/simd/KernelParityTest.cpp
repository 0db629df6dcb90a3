// Every dispatched kernel on every target this build and processor have,
// against the scalar path, bit for bit: over widths 1 to 3 x lanes + 3 (every
// count of whole groups with every tail) and, for the image stages, several
// heights, on hostile values. Inputs and outputs are exactly as large as the
// kernel's contract says, so the sanitizer build catches any access past them.
// A new kernel gets its test by one row in kCases.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "common/CoreFixtures.hpp"
#include "common/SimdTestTypes.hpp"
#include "core/CoreKernels.hpp"
#include "filters/FilterKernels.hpp"

namespace kelvora {
namespace {

using testing::hostileFloats;
using Outputs = std::vector<std::vector<float>>;

struct Tables {
  const CoreKernels& core;
  const FilterKernels& filters;
};

// Deterministic inputs for one run; both runs of a comparison see the same.
struct Data {
  uint64_t seed;
  bool allSpecials;
  std::vector<float> floats(std::size_t n, float scale, float edge, uint64_t salt) const {
    return hostileFloats(n, scale, edge, seed * 131 + salt, allSpecials);
  }
  // Mostly 0, some flag words, a few with every bit set.
  std::vector<uint32_t> flags(std::size_t n, uint64_t salt) const {
    synth::SplitMix rng(seed * 977 + salt);
    std::vector<uint32_t> f(n);
    for (uint32_t& v : f) {
      const uint64_t r = rng.next() % 16;
      v = r < 11 ? 0u : r < 15 ? 0x9u << (r - 11) : ~0u;
    }
    return f;
  }
  // Raw samples over the whole 16-bit range, a quarter right at the bounds.
  std::vector<uint16_t> samples(std::size_t n, uint64_t salt) const {
    const uint16_t edges[] = {0, 399, 400, 401, 3749, 3750, 3751, 16383, 16384, 65535};
    synth::SplitMix rng(seed * 313 + salt);
    std::vector<uint16_t> s(n);
    for (uint16_t& v : s) {
      v = rng.next() % 4 == 0 ? edges[rng.next() % std::size(edges)]
                              : static_cast<uint16_t>(rng.next() % 65536);
    }
    return s;
  }
};

std::vector<float> asFloats(const std::vector<uint32_t>& words) {
  std::vector<float> f(words.size());
  if (!words.empty()) std::memcpy(f.data(), words.data(), words.size() * sizeof(float));
  return f;
}

const KelvoraParameter kDefaults = testing::defaultParameters();

Outputs unscrambleReIm(const Tables& t, uint32_t w, uint32_t h, const Data& in) {
  const std::size_t n = std::size_t{w} * h;
  std::vector<uint16_t> frames[4];
  for (uint64_t k = 0; k < 4; ++k) frames[k] = in.samples(n, k);
  std::vector<float> imag(n, -1.0f), real(n, -1.0f), asymmetry(n, -1.0f);
  std::vector<uint32_t> flags = in.flags(n, 4);
  t.core.unscrambleReIm({{frames[0].data(), frames[1].data(), frames[2].data(), frames[3].data()},
                         w,
                         h,
                         kDefaults.saturationThresholdLower,
                         kDefaults.saturationThresholdUpper,
                         imag.data(),
                         real.data(),
                         asymmetry.data(),
                         flags.data()});
  return {imag, real, asymmetry, asFloats(flags)};
}

Outputs unscrambleIntensity(const Tables& t, uint32_t w, uint32_t, const Data& in) {
  const std::vector<uint16_t> raw = in.samples(w, 0);
  const std::vector<float> fpn = in.floats(w, 5000.0f, 400.0f, 1);
  std::vector<float> grey(w), normalised(w);
  t.core.unscrambleIntensity(w, raw.data(), fpn.data(), 1.0f / 700.0f, grey.data(),
                             normalised.data());
  return {grey, normalised};
}

Outputs calcPixel(const Tables& t, uint32_t w, uint32_t, const Data& in) {
  const auto imag = in.floats(w, 4000.0f, 1e-30f, 0), real = in.floats(w, 4000.0f, 1e-30f, 1);
  const auto asymmetry = in.floats(w, 800.0f, 0.0f, 2), grey = in.floats(w, 4.0f, 0.0f, 3);
  const auto fppn = in.floats(w, 0.05f, 0.0f, 4);
  std::vector<float> phaseTable(16384), amplitudeTable(16384);
  for (std::size_t i = 0; i < 16384; ++i) {
    phaseTable[i] = 0.02f * std::sin(static_cast<float>(i) * 0.001f);
    amplitudeTable[i] = 1.0f + 0.05f * std::cos(static_cast<float>(i) * 0.0007f);
  }
  Outputs out(7, std::vector<float>(w, -1.0f));
  std::vector<uint32_t> flags = in.flags(w, 5);
  t.core.calcPixel(
      testing::calcPixelConstantsOfDefaults(700, 41.0f),
      {imag.data(), real.data(), asymmetry.data(), grey.data(), fppn.data(), phaseTable.data(),
       amplitudeTable.data(), out[0].data(), out[1].data(), out[2].data(), out[3].data(),
       out[4].data(), out[5].data(), out[6].data(), flags.data()},
      w);
  out.push_back(asFloats(flags));
  return out;
}

Outputs calc2Freq(const Tables& t, uint32_t w, uint32_t, const Data& in) {
  const auto dA = in.floats(w, 2.0f, 0.0f, 0), dB = in.floats(w, 2.5f, 0.0f, 1);
  auto nA = in.floats(w, 0.02f, 0.0f, 2), nB = in.floats(w, 0.02f, 0.0f, 3);
  // Both noises 0 make the combined variance subnormal, which NEON flushes.
  for (std::size_t i = 0; i < w && !in.allSpecials; ++i) {
    if (nA[i] == 0.0f && nB[i] == 0.0f) nA[i] = 1e-3f;
  }
  Outputs out(3, std::vector<float>(w, -1.0f));
  t.core.calc2Freq(
      twoFrequencyConstants(kDefaults.freq1, kDefaults.freq2), w,
      {dA.data(), dB.data(), nA.data(), nB.data(), out[0].data(), out[1].data(), out[2].data()});
  return out;
}

Outputs wrapDistance(const Tables& t, uint32_t w, uint32_t, const Data& in) {
  const auto d = in.floats(w, 20.0f, 1.8656f, 0);
  std::vector<float> out(w, -1.0f);
  t.core.wrapDistance(w, d.data(), 1.8656f, out.data());
  return {out};
}

Outputs flagNoise(const Tables& t, uint32_t w, uint32_t, const Data& in) {
  const auto noise = in.floats(w, 0.2f, kDefaults.noiseThreshold, 0);
  std::vector<uint32_t> flags = in.flags(w, 1);
  t.core.flagNoise(w, noise.data(), kDefaults.noiseThreshold, flags.data());
  return {asFloats(flags)};
}

Outputs flyingPixels(const Tables& t, uint32_t w, uint32_t h, const Data& in) {
  const std::size_t n = std::size_t{w} * h;
  // Distances across the limit's ramp; neighbours a limit apart, give or take.
  auto d = in.floats(n, 6.0f, kDefaults.flyingPixelNearDist, 0);
  const auto step = in.floats(n, 0.2f, kDefaults.flyingPixelF0, 1);
  for (std::size_t i = 1; i < n; i += 2) d[i] = d[i - 1] + step[i];
  std::vector<uint32_t> flags = in.flags(n, 2);
  const FlyingPixelLimits limits{kDefaults.flyingPixelNearDist, kDefaults.flyingPixelFarDist,
                                 kDefaults.flyingPixelF0, kDefaults.flyingPixelF1};
  t.core.flagFlyingPixels(limits, w, h, d.data(), flags.data());
  return {asFloats(flags)};
}

Outputs filter2Freq(const Tables& t, uint32_t w, uint32_t h, const Data& in) {
  const std::size_t n = std::size_t{w} * h;
  const Filter2FreqConstants c = filter2FreqConstants(kDefaults.freq1, kDefaults.freq2);
  // Near the wrap points of the default pair, so every vote is cast.
  auto scratch = in.floats(n, 1.0f, c.threshold, 0);
  const auto jitter = in.floats(n, 0.02f, 0.0f, 1);
  for (std::size_t i = 0; i < n; ++i) {
    if (i % 3 == 1) scratch[i] = (i % 2 ? 2.49f : 0.01f) + jitter[i];
    if (i % 3 == 2) scratch[i] = 3.0f + (i % 4 == 2 ? c.shift : -c.shift) + jitter[i];
  }
  std::vector<float> distance(n, -1.0f);
  t.filters.filter2FreqInterior(c, w, h, scratch.data(), distance.data());
  return {distance};
}

template <int kRadius>
Outputs adaptiveNoise(const Tables& t, uint32_t w, uint32_t h, const Data& in) {
  const std::size_t n = std::size_t{w} * h;
  auto scratch = in.floats(n, 0.05f, 0.0f, 0);
  for (std::size_t i = 0; i < n; ++i) scratch[i] += 2.0f + 0.001f * static_cast<float>(i % 9);
  const auto noise = in.floats(n, 0.02f, 0.0f, 1);
  const auto flags = in.flags(n, 2);
  std::vector<float> distance(n, -1.0f);
  t.filters.adaptiveNoise({w, h, scratch.data(), noise.data(), flags.data(), distance.data()},
                          kRadius);
  return {distance};
}

Outputs multipathMeasures(const Tables& t, uint32_t w, uint32_t, const Data& in) {
  std::vector<float> v[6];
  for (uint64_t k = 0; k < 6; ++k) v[k] = in.floats(w, k % 2 ? 3.0f : 50.0f, 0.0f, k);
  Outputs out(2, std::vector<float>(w, -1.0f));
  t.filters.multipathMeasures(w, {v[0].data(), v[1].data(), v[2].data(), v[3].data(), v[4].data(),
                                  v[5].data(), out[0].data(), out[1].data()});
  return out;
}

// One test, then two in one pass.
Outputs noiseFloor(const Tables& t, uint32_t w, uint32_t, const Data& in) {
  const auto measure = in.floats(w, 1.0f, kDefaults.mpiAmplitudeThreshold, 0);
  const auto noise = in.floats(w, 0.3f, 0.1f, 1);
  const auto distance = in.floats(w, 0.3f, kDefaults.mpiDistanceThreshold, 3);
  const NoiseFloorTest tests[] = {{measure.data(), noise.data(), kDefaults.mpiNoiseDistance,
                                   kDefaults.mpiAmplitudeThreshold, 0x81u},
                                  {distance.data(), noise.data(), kDefaults.mpiNoiseDistance,
                                   kDefaults.mpiDistanceThreshold, 0x41u}};
  Outputs out;
  for (const std::size_t count : {1, 2}) {
    std::vector<uint32_t> flags = in.flags(w, 2);
    t.filters.flagAboveNoiseFloor(w, tests, count, flags.data());
    out.push_back(asFloats(flags));
  }
  return out;
}

// Also at 2 * width + 10, where the groups of a row hand their column sorts on.
Outputs median(const Tables& t, uint32_t w, uint32_t h, const Data& in) {
  Outputs out;
  for (const uint32_t width : {w, 2 * w + 10}) {
    const std::size_t n = std::size_t{width} * h;
    // Coarse values: ties everywhere, so the order of the comparisons shows.
    auto scratch = in.floats(n, 3.0f, 1.0f, width);
    for (float& v : scratch) {
      if (std::isfinite(v) && v != 0.0f && std::fabs(v) > 1e-30f) v = std::round(v);
    }
    out.emplace_back(n, -1.0f);
    t.filters.median(width, h, scratch.data(), out.back().data());
  }
  return out;
}

PointCloudImage cloudImage(uint32_t n, const std::vector<float>* in, const uint32_t* flags,
                           float* cloud) {
  return {n, in[0].data(), in[1].data(), flags, in[2].data(), kDefaults.noiseThreshold, cloud};
}

template <bool kSparse>
Outputs pointCloud(const Tables& t, uint32_t w, uint32_t, const Data& in) {
  const std::vector<float> v[3] = {in.floats(w, 7.0f, 0.0f, 0),
                                   in.floats(w, 0.1f, kDefaults.noiseThreshold, 1),
                                   in.floats(3 * w, 1.0f, 0.0f, 2)};
  const std::vector<uint32_t> flags = in.flags(w, 3);
  std::vector<float> cloud(4 * w, -1.0f);
  const PointCloudImage im = cloudImage(w, v, flags.data(), cloud.data());
  float count = 0.0f;
  if (kSparse) {
    count = static_cast<float>(t.filters.pointCloudSparse(im));
  } else {
    t.filters.pointCloudDense(im);
  }
  return {cloud, {count}};
}

// Dense with validation, sparse without, dense with neither flying pixels
// nor validation nor amplitude.
Outputs finishImage(const Tables& t, uint32_t w, uint32_t h, const Data& in) {
  const std::size_t n = std::size_t{w} * h;
  Outputs out;
  for (uint64_t mode = 0; mode < 3; ++mode) {
    auto d = in.floats(n, 6.0f, kDefaults.flyingPixelNearDist, 10 * mode);
    const auto step = in.floats(n, 0.2f, kDefaults.flyingPixelF0, 10 * mode + 1);
    for (std::size_t i = 1; i < n; i += 2) d[i] = d[i - 1] + step[i];
    auto noise = in.floats(n, 0.2f, kDefaults.noiseThreshold, 10 * mode + 2);
    const auto rays = in.floats(3 * n, 1.0f, 0.0f, 10 * mode + 3);
    const auto amplitude = in.floats(n, 900.0f, 0.0f, 10 * mode + 4);
    std::vector<uint32_t> flags = in.flags(n, 10 * mode + 5);
    std::vector<float> cloud(4 * n, -1.0f), amplitudeOut(n, -1.0f);
    const FinishImage im{w,
                         h,
                         kDefaults.noiseThreshold,
                         mode != 2,
                         {kDefaults.flyingPixelNearDist, kDefaults.flyingPixelFarDist,
                          kDefaults.flyingPixelF0, kDefaults.flyingPixelF1},
                         mode == 1,
                         mode == 0,
                         rays.data(),
                         mode == 2 ? nullptr : amplitude.data(),
                         amplitudeOut.data(),
                         d.data(),
                         noise.data(),
                         flags.data(),
                         cloud.data()};
    const float count = static_cast<float>(t.core.finishImage(im));
    for (auto* v : {&d, &noise, &cloud, &amplitudeOut}) out.push_back(*v);
    out.push_back(asFloats(flags));
    out.push_back({count});
  }
  return out;
}

Outputs strayLight(const Tables& t, uint32_t w, uint32_t, const Data& in) {
  const auto re = in.floats(w, 900.0f, 0.0f, 0), im = in.floats(w, 900.0f, 0.0f, 1);
  const auto factor = in.floats(w, 1.0f, 0.0f, 2);
  const uint32_t ox = w % 3, width = w + ox + w % 4;
  std::vector<float> padded(2 * width, -1.0f), bins = in.floats(2 * w, 1000.0f, 0.0f, 3);
  std::vector<float> outRe(w, -1.0f), outIm(w, -1.0f);
  t.filters.strayLightPadRow(re.data(), im.data(), w, ox, width, padded.data());
  t.filters.strayLightMultiply(bins.data(), factor.data(), w);
  t.filters.strayLightWriteBackRow(bins.data(), w, 1.0f / 49152.0f, outRe.data(), outIm.data());
  return {padded, bins, outRe, outIm};
}

struct KernelCase {
  const char* name;
  bool image;
  Outputs (*run)(const Tables&, uint32_t width, uint32_t height, const Data&);
};

const KernelCase kCases[] = {
    {"unscrambleReIm", true, unscrambleReIm},
    {"unscrambleIntensity", false, unscrambleIntensity},
    {"calcPixel", false, calcPixel},
    {"calc2Freq", false, calc2Freq},
    {"wrapDistance", false, wrapDistance},
    {"flagNoise", false, flagNoise},
    {"flagFlyingPixels", true, flyingPixels},
    {"filter2FreqInterior", true, filter2Freq},
    {"adaptiveNoiseRadius1", true, adaptiveNoise<1>},
    {"adaptiveNoiseRadius2", true, adaptiveNoise<2>},
    {"multipathMeasures", false, multipathMeasures},
    {"flagAboveNoiseFloor", false, noiseFloor},
    {"median", true, median},
    {"pointCloudDense", false, pointCloud<false>},
    {"pointCloudSparse", false, pointCloud<true>},
    {"finishImage", true, finishImage},
    {"strayLight", false, strayLight},
};

class KernelParity : public ::testing::TestWithParam<simd::Target> {};

TEST_P(KernelParity, EveryKernelMatchesTheScalarPathBitForBit) {
  const simd::Target target = GetParam();
  const Tables scalar{*coreKernelsFor(simd::Target::kScalar),
                      *filterKernelsFor(simd::Target::kScalar)};
  const Tables tested{*coreKernelsFor(target), *filterKernelsFor(target)};
  ASSERT_EQ(tested.core.target, target);
  ASSERT_EQ(tested.filters.target, target);
  const uint32_t lanes = simd::targetLanes(target);
  for (const KernelCase& k : kCases) {
    for (uint32_t width = 1; width <= 3 * lanes + 3; ++width) {
      for (const uint32_t height : {1u, 2u, 3u, 5u, 7u}) {
        if (!k.image && height > 1) break;
        SCOPED_TRACE(::testing::Message() << k.name << " " << width << "x" << height);
        const Data in{width * 8u + height, target != simd::Target::kNeon};
        const Outputs want = k.run(scalar, width, height, in);
        const Outputs got = k.run(tested, width, height, in);
        ASSERT_EQ(got.size(), want.size());
        for (std::size_t o = 0; o < want.size(); ++o) {
          for (std::size_t i = 0; i < want[o].size(); ++i) {
            ASSERT_TRUE(testing::sameBits(got[o][i], want[o][i]))
                << "output " << o << " [" << i << "]: " << got[o][i] << " vs " << want[o][i];
          }
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Targets, KernelParity, ::testing::ValuesIn(testing::targetsBesideScalar()),
                         testing::targetParamName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(KernelParity);

}  // namespace
}  // namespace kelvora
