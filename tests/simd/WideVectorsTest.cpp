// The wide x86 forms of the hot stages (AVX2, AVX-512) must give the same bits
// as the four-lane forms, for rendered scenes and for hostile values (NaN,
// infinities, subnormals, signed zeros), at sizes that leave partial groups.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/KelvoraParameter.hpp"
#include "common/CoreFixtures.hpp"
#include "common/PipelineHarness.hpp"
#include "core/CalcPixel.hpp"
#include "core/CombineStages.hpp"
#include "core/TwoFrequencyUnwrap.hpp"
#include "core/UnscrambleReIm.hpp"
#include "filters/AdaptiveNoiseFilter.hpp"
#include "filters/Filter2Freq.hpp"
#include "filters/MultipathFlagsKernel.hpp"
#include "filters/MultipathMedian.hpp"
#include "simd/WideVectors.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

// Caps the vector width for one scope.
class VectorLanes {
 public:
  explicit VectorLanes(unsigned lanes) : previous_(simd::setVectorLanes(lanes)) {}
  ~VectorLanes() { simd::setVectorLanes(previous_); }
  VectorLanes(const VectorLanes&) = delete;
  VectorLanes& operator=(const VectorLanes&) = delete;

 private:
  unsigned previous_;
};

bool supports(unsigned lanes) {
  const VectorLanes probe(lanes);
  return simd::vectorLanes() == lanes;
}

#define SKIP_UNLESS_SUPPORTED(lanes)                                                 \
  if (!supports(lanes)) GTEST_SKIP() << (lanes) << "-lane forms not available here"; \
  static_cast<void>(0)

// Same bits, except that any NaN matches any NaN: where two NaNs of different
// sign meet, which one an operation passes on depends on the operand order the
// compiler chose, on every backend.
template <class T>
bool sameValueBits(T a, T b) {
  if constexpr (std::is_floating_point_v<T>) {
    if (std::isnan(a) && std::isnan(b)) return true;
  }
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

template <class T>
void expectSameBits(const std::vector<T>& narrow, const std::vector<T>& wide, const char* what) {
  ASSERT_EQ(narrow.size(), wide.size()) << what;
  for (std::size_t i = 0; i < narrow.size(); ++i) {
    ASSERT_TRUE(sameValueBits(narrow[i], wide[i]))
        << what << "[" << i << "]: " << narrow[i] << " vs " << wide[i];
  }
}

// Mostly ordinary values with every kind of special one mixed in.
std::vector<float> hostile(std::size_t n, float scale, uint32_t seed) {
  const float specials[] = {0.0f,
                            -0.0f,
                            std::numeric_limits<float>::quiet_NaN(),
                            std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity(),
                            std::numeric_limits<float>::denorm_min(),
                            -1e-39f,
                            3e38f,
                            -3e38f,
                            1e-30f};
  synth::SplitMix rng(seed);
  std::vector<float> v(n);
  for (std::size_t i = 0; i < n; ++i) {
    v[i] = rng.uniform(0.0f, 1.0f) < 0.08f ? specials[rng.next() % std::size(specials)]
                                           : rng.uniform(-scale, scale);
  }
  return v;
}

struct PipelineCase {
  uint32_t width;
  uint32_t height;
  uint8_t adaptiveRadius;
  unsigned lanes;
};

class WidePipelineTest : public ::testing::TestWithParam<PipelineCase> {};

// Every output of a whole frame set, with the rendered scene's noise,
// saturation and flagged pixels.
TEST_P(WidePipelineTest, WholeFrameSetIsBitIdentical) {
  const PipelineCase pc = GetParam();
  SKIP_UNLESS_SUPPORTED(pc.lanes);
  synth::SyntheticCalibrationOptions o;
  o.width = pc.width;
  o.height = pc.height;
  testing::PipelineHarness h(o);
  h.parameters().adaptiveNoiseFilterType = pc.adaptiveRadius;
  ASSERT_EQ(h.initialise(), 0);
  const synth::RenderedFrameSet frames = h.render(3);

  auto run = [&](unsigned lanes) {
    const VectorLanes choice(lanes);
    h.process(frames);
  };
  run(4);
  const auto distance = h.distance, noise = h.noise, amplitude = h.amplitude, cloud = h.pointCloud;
  const auto flags = h.flags;
  run(pc.lanes);
  expectSameBits(distance, h.distance, "distance");
  expectSameBits(noise, h.noise, "noise");
  expectSameBits(amplitude, h.amplitude, "amplitude");
  expectSameBits(cloud, h.pointCloud, "pointCloud");
  expectSameBits(flags, h.flags, "flags");
}

INSTANTIATE_TEST_SUITE_P(Sizes, WidePipelineTest,
                         ::testing::Values(PipelineCase{224, 172, 2, 8},
                                           PipelineCase{224, 172, 1, 16},
                                           PipelineCase{224, 172, 2, 16},
                                           PipelineCase{37, 23, 2, 8}, PipelineCase{37, 23, 2, 16},
                                           PipelineCase{13, 11, 1, 8}),
                         [](const ::testing::TestParamInfo<PipelineCase>& param) {
                           const PipelineCase& p = param.param;
                           return std::to_string(p.width) + "x" + std::to_string(p.height) +
                                  "_radius" + std::to_string(p.adaptiveRadius) + "_lanes" +
                                  std::to_string(p.lanes);
                         });

constexpr uint32_t kWidth = 45;  // rows end in partial groups of eight and of four
constexpr uint32_t kHeight = 17;
constexpr uint32_t kCount = kWidth * kHeight;

class WideStages : public ::testing::TestWithParam<unsigned> {};

TEST_P(WideStages, UnscrambleIsBitIdentical) {
  SKIP_UNLESS_SUPPORTED(GetParam());
  // Samples anywhere in 0..65535, many right at the inclusive bounds.
  const uint16_t lower = 100, upper = 4000;
  const uint16_t edges[] = {0, 99, 100, 101, 3999, 4000, 4001, 65535};
  synth::SplitMix rng(14);
  std::vector<uint16_t> frames[4];
  for (auto& frame : frames) {
    frame.resize(kCount);
    for (uint16_t& v : frame) {
      v = rng.next() % 4 == 0 ? edges[rng.next() % std::size(edges)]
                              : static_cast<uint16_t>(rng.next() % 4200);
    }
  }
  const uint16_t* const raw[4] = {frames[0].data(), frames[1].data(), frames[2].data(),
                                  frames[3].data()};
  auto run = [&](unsigned lanes) {
    std::vector<float> out(3 * kCount, -1.0f);
    std::vector<uint32_t> flags(kCount, 0x20u);
    UnscrambleReImKernel(simd::NativeTag(), kWidth, kHeight, lower, upper, raw, out.data(),
                         out.data() + kCount, out.data() + 2 * kCount, flags.data(), lanes);
    return std::make_pair(out, flags);
  };
  const auto narrow = run(4), wide = run(GetParam());
  expectSameBits(narrow.first, wide.first, "imag, real, asymmetry");
  expectSameBits(narrow.second, wide.second, "flags");
}

TEST_P(WideStages, Calc2FreqIsBitIdentical) {
  SKIP_UNLESS_SUPPORTED(GetParam());
  const auto dA = hostile(kCount, 2.0f, 1), dB = hostile(kCount, 2.5f, 2);
  const auto nA = hostile(kCount, 0.01f, 3), nB = hostile(kCount, 0.01f, 4);
  auto run = [&](unsigned lanes) {
    const VectorLanes choice(lanes);
    std::vector<float> out(3 * kCount);
    calc2Freq_arm(kCount, dA.data(), dB.data(), nA.data(), nB.data(), 80320000u, 60240000u,
                  out.data(), out.data() + kCount, out.data() + 2 * kCount);
    return out;
  };
  expectSameBits(run(4), run(GetParam()), "distance, difference, noise");
}

TEST_P(WideStages, Filter2FreqIsBitIdentical) {
  SKIP_UNLESS_SUPPORTED(GetParam());
  // Distances near the wrap points of the default pair, so that every vote
  // (keep, shift up, shift down) is cast; plus hostile values.
  auto image = hostile(kCount, 1.0f, 5);
  synth::SplitMix rng(6);
  for (uint32_t i = 0; i < kCount; ++i) {
    if (i % 3 != 0) {
      image[i] = (rng.uniform(0.0f, 1.0f) < 0.5f ? 2.49f : 0.01f) + rng.uniform(0.0f, 0.02f);
    }
  }
  auto run = [&](unsigned lanes) {
    const VectorLanes choice(lanes);
    std::vector<float> distance = image, scratch(kCount);
    filter2Freq(kWidth, kHeight, 80320000u, 60240000u, scratch.data(), distance.data());
    return distance;
  };
  expectSameBits(run(4), run(GetParam()), "distance");
}

TEST_P(WideStages, AdaptiveNoiseFilterIsBitIdentical) {
  SKIP_UNLESS_SUPPORTED(GetParam());
  // Smooth distances with hostile pixels and noise, a few flagged pixels.
  auto distance = hostile(kCount, 0.05f, 7);
  for (uint32_t i = 0; i < kCount; ++i) distance[i] += 2.0f + 0.001f * static_cast<float>(i % 9);
  const auto noise = hostile(kCount, 0.02f, 8);
  std::vector<uint32_t> flags(kCount, 0u);
  for (uint32_t i = 5; i < kCount; i += 37) flags[i] = 0x9;
  for (const uint8_t radius : {1, 2}) {
    auto run = [&](unsigned lanes) {
      const VectorLanes choice(lanes);
      std::vector<float> d = distance, scratch(kCount);
      filterAdaptiveNoise_arm(kWidth, kHeight, radius, scratch.data(), noise.data(), flags.data(),
                              d.data());
      return d;
    };
    SCOPED_TRACE(radius);
    expectSameBits(run(4), run(GetParam()), "distance");
  }
}

TEST_P(WideStages, MultipathMedianIsBitIdentical) {
  SKIP_UNLESS_SUPPORTED(GetParam());
  // Even and odd widths around whole steps of 16 and 8 pairs; coarse values
  // (many ties) with NaN, infinities and both zeros, whose survivors depend on
  // the order of the comparisons.
  for (const uint32_t width : {45u, 68u, 70u, 21u}) {
    auto image = hostile(width * 9, 3.0f, width);
    for (float& v : image) {
      if (std::isfinite(v) && v != 0.0f) v = std::round(v);
    }
    auto run = [&](unsigned lanes) {
      const VectorLanes choice(lanes);
      std::vector<float> data = image, scratch(image.size());
      zyn_mpiFastMedian(width, 9, data.data(), scratch.data());
      return data;
    };
    SCOPED_TRACE(width);
    expectSameBits(run(4), run(GetParam()), "median");
  }
}

TEST_P(WideStages, FlyingPixelTestIsBitIdentical) {
  SKIP_UNLESS_SUPPORTED(GetParam());
  // Distances across the limit's ramp, neighbours close to the limits.
  auto distance = hostile(kCount, 6.0f, 30);
  for (uint32_t i = 1; i < kCount; i += 2) distance[i] = distance[i - 1] + 0.05f;
  const KelvoraParameter p = testing::defaultParameters(kWidth, kHeight);
  auto run = [&](unsigned lanes) {
    const VectorLanes choice(lanes);
    std::vector<uint32_t> flags(kCount, 0x8u);
    flagFlyingPixels(p, distance.data(), flags.data());
    return flags;
  };
  expectSameBits(run(4), run(GetParam()), "flags");
}

#if defined(KELVORA_WIDE_X86)
TEST_P(WideStages, CalcPixelGroupsAreBitIdentical) {
  SKIP_UNLESS_SUPPORTED(GetParam());
  constexpr uint32_t n = 1024;
  const auto imag = hostile(n, 4000.0f, 9), real = hostile(n, 4000.0f, 10);
  const auto asymmetry = hostile(n, 300.0f, 11), grey = hostile(n, 3.0f, 12);
  const auto fppn = hostile(n, 0.03f, 13);
  std::vector<float> phaseTable(16384), amplitudeTable(16384);
  for (std::size_t i = 0; i < phaseTable.size(); ++i) {
    phaseTable[i] = 0.02f * std::sin(static_cast<float>(i) * 0.001f);
    amplitudeTable[i] = 1.0f + 0.05f * std::cos(static_cast<float>(i) * 0.0007f);
  }
  const CalcPixelConstants c = testing::exampleCalcPixelConstants();
  auto run = [&](unsigned lanes) {
    std::vector<float> out(7 * n);
    std::vector<uint32_t> flags(n, 0u);
    CalcPixelBuffers b{imag.data(),           real.data(),        asymmetry.data(),
                       grey.data(),           fppn.data(),        phaseTable.data(),
                       amplitudeTable.data(), out.data(),         out.data() + n,
                       out.data() + 2 * n,    out.data() + 3 * n, out.data() + 4 * n,
                       out.data() + 5 * n,    out.data() + 6 * n, flags.data()};
    if (lanes == 16) {
      EXPECT_EQ(calcPixelWideGroupsAvx512(c, b, n), n);
    } else if (lanes == 8) {
      EXPECT_EQ(calcPixelWideGroupsAvx2(c, b, n), n);
    } else {
      CalcPixelKernel(simd::NativeTag(), c, b, n);
    }
    return std::make_pair(out, flags);
  };
  const auto narrow = run(4), wide = run(GetParam());
  expectSameBits(narrow.first, wide.first, "outputs");
  expectSameBits(narrow.second, wide.second, "flags");
}

TEST_P(WideStages, MultipathMeasuresAreBitIdentical) {
  SKIP_UNLESS_SUPPORTED(GetParam());
  std::vector<float> in[6];
  for (uint32_t k = 0; k < 6; ++k) in[k] = hostile(kCount, k % 2 == 0 ? 50.0f : 3.0f, 20 + k);
  auto run = [&](unsigned lanes) {
    std::vector<float> out(2 * kCount);
    const MultipathMeasureBuffers b{in[0].data(), in[1].data(), in[2].data(), in[3].data(),
                                    in[4].data(), in[5].data(), out.data(),   out.data() + kCount};
    std::size_t done = 0;
    if (lanes == 16) done = multipathMeasureGroupsAvx512(kCount, b);
    if (lanes == 8) done = multipathMeasureGroupsAvx2(kCount, b);
    const MultipathMeasureBuffers rest = b.from(done);
    computeMultipathMeasures(simd::NativeTag(), kCount - done, rest.normAmplitude0,
                             rest.normAmplitude1, rest.rawNoise0, rest.amplitude0, rest.rawNoise1,
                             rest.amplitude1, rest.ratio, rest.noise);
    return out;
  };
  expectSameBits(run(4), run(GetParam()), "ratio, noise");
}
#endif

INSTANTIATE_TEST_SUITE_P(Lanes, WideStages, ::testing::Values(8u, 16u),
                         [](const ::testing::TestParamInfo<unsigned>& param) {
                           return std::to_string(param.param);
                         });

}  // namespace
}  // namespace kelvora
