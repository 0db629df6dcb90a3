// Raw unscrambling against the sensor's rule written out plainly: raw row r
// to output row r - 1, eight-pixel steps in 16-bit wrap-around arithmetic
// while more than eight pixels remain, exact integers for the rest of the row,
// inclusive saturation bounds; and the grey frame.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "common/CoreFixtures.hpp"
#include "core/UnscrambleIntensity.hpp"
#include "core/UnscrambleReIm.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

constexpr float kUntouched = -12345.0f;
constexpr uint32_t kEarlierFlags = 0x100u;

TEST(Unscramble, PhaseFramesFollowTheSensorRuleForEveryWidth) {
  const KelvoraParameter defaults = testing::defaultParameters();
  const uint16_t edges[] = {0,     defaults.saturationThresholdLower,
                            399,   defaults.saturationThresholdUpper,
                            3751,  16383,
                            16384, 65535};
  synth::SplitMix rng(7);
  for (uint32_t width = 1; width <= 40; ++width) {
    for (uint32_t height : {0u, 1u, 2u, 3u}) {
      const std::size_t n = std::size_t{width} * height;
      std::vector<uint16_t> a[4];
      for (auto& f : a) {
        f.resize(n);
        for (auto& s : f) s = rng.next() % 3 ? edges[rng.next() % 8] : rng.next() % 65536;
      }
      std::vector<float> imag(n, kUntouched), real(n, kUntouched), asym(n, kUntouched);
      std::vector<uint32_t> flags(n, kEarlierFlags);
      KelvoraParameter p = testing::defaultParameters(width, height);
      KelvoraIntermediateProbeData probe{};
      probe.imag = imag.data(), probe.real = real.data(), probe.asymmetry = asym.data();
      KelvoraOutput out{};
      out.flags = flags.data();
      const uint16_t* frames[4] = {a[0].data(), a[1].data(), a[2].data(), a[3].data()};
      unscrambleReIm_flagSaturation_arm(nullptr, &p, &probe, &out, frames);
      for (uint32_t r = 0; r < height; ++r) {
        // The sensor's loop: eight columns at a time while x + 8 < width.
        uint32_t wrappedColumns = 0;
        while (wrappedColumns + 8 < width) wrappedColumns += 8;
        for (uint32_t x = 0; x < width; ++x) {
          const std::size_t o = std::size_t{r} * width + x;
          SCOPED_TRACE(::testing::Message() << width << "x" << height << " at " << x << "," << r);
          if (r + 1 == height) {
            ASSERT_EQ(imag[o], kUntouched);
            ASSERT_EQ(flags[o], kEarlierFlags);
            continue;
          }
          const int32_t s0 = a[0][o + width], s1 = a[1][o + width], s2 = a[2][o + width],
                        s3 = a[3][o + width];
          auto sensor = [&](int32_t v) {
            return static_cast<float>(x < wrappedColumns ? static_cast<int16_t>(v) : v);
          };
          ASSERT_EQ(imag[o], sensor(s1 - s3));
          ASSERT_EQ(real[o], sensor(s0 - s2));
          ASSERT_EQ(asym[o], sensor(s0 + s2 - s1 - s3));
          bool saturated = false;
          for (const int32_t s : {s0, s1, s2, s3}) {
            saturated |= s < p.saturationThresholdLower || s > p.saturationThresholdUpper;
          }
          ASSERT_EQ(flags[o], kEarlierFlags | (saturated ? 3u : 0u));
        }
      }
    }
  }
}

TEST(Unscramble, GreyFrameSubtractsTheFixedPatternAndClampsTheNormalisedCopy) {
  for (const uint32_t exposure : {0u, 700u}) {
    for (uint32_t width = 1; width <= 13; ++width) {
      const uint32_t n = width * 3;
      std::vector<uint16_t> raw(n);
      std::vector<float> fpn(n), grey(n), normalised(n);
      for (uint32_t i = 0; i < n; ++i) {
        raw[i] = static_cast<uint16_t>(i * 4099 % 65536);
        fpn[i] = i % 3 == 0 ? raw[i] + 1.5f : 40.25f * i;  // some below their fpn
      }
      const KelvoraParameter p = testing::defaultParameters(width, 3);
      unscrambleIntensity_arm(&p, raw.data(), fpn.data(), exposure, grey.data(), normalised.data());
      for (uint32_t i = 0; i < n; ++i) {
        const double g = static_cast<double>(raw[i]) - fpn[i];
        ASSERT_EQ(grey[i], static_cast<float>(g));
        const double want = g < 0 ? 0.0 : g / (exposure == 0 ? 1.0 : exposure);
        ASSERT_NEAR(normalised[i], want, 1e-7 * want) << i;
      }
    }
  }
}

}  // namespace
}  // namespace kelvora
