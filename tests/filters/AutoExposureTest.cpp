// The auto exposure: its sampling pattern, the percentile selection against
// a gather and sort of its own, and the proposal rules.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "common/CoreFixtures.hpp"
#include "filters/AutoExposure.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;

struct Pattern {
  uint32_t width, height;
  std::vector<uint8_t> calibrationMask;
  std::vector<uint8_t> sampleMask;
  std::vector<float> samples;
  std::vector<uint32_t> samplePixels;
  KelvoraAutoExposure ae{};
  CalibrationPtr calibration;

  Pattern(uint32_t w, uint32_t h, std::function<uint8_t(uint32_t, uint32_t)> mask = nullptr)
      : width(w), height(h) {
    calibration.reset(allocateCalibration(w * h));
    for (uint32_t y = 0; y < h; ++y) {
      for (uint32_t x = 0; x < w; ++x) calibration->mask[x + w * y] = mask ? mask(x, y) : 0;
    }
    uint32_t maxBin = 0;
    initCalcAutoExposureGetMaxBinSize(w, h, &maxBin);
    sampleMask.assign(w * h, 9);
    samples.assign(maxBin + 1, -7.f);  // one sentinel past the end
    samplePixels.assign(maxBin, 0);
    ae.sampleMask = sampleMask.data();
    ae.samples = samples.data();
    ae.samplePixels = samplePixels.data();
    initCalcAutoExposure(&ae, calibration.get(), w, h);
  }
  uint32_t maxBin() const { return static_cast<uint32_t>(samples.size() - 1); }
};

// Sample points lie on circles of even radius around the centre; a point hit
// more than once counts each time but is marked once. The samples start at 0.
TEST(AutoExposurePattern, SamplesLieOnEvenRadiiAroundTheCentre) {
  for (auto [w, h] : {std::pair{224u, 172u}, {7u, 5u}, {1u, 1u}}) {
    Pattern p(w, h);
    EXPECT_EQ(p.ae.sampleCount, p.maxBin()) << "nothing masked: every hit counts";
    EXPECT_EQ(p.ae.sampleMask[(w / 2) + w * (h / 2)], 1) << "r = 0 hits the centre";
    uint32_t marked = 0;
    for (uint32_t y = 0; y < h; ++y) {
      for (uint32_t x = 0; x < w; ++x) {
        const uint8_t m = p.ae.sampleMask[x + w * y];
        ASSERT_TRUE(m == 0 || m == 1);
        marked += m;
        // Negative coordinates saturate to 0: the first row and column also
        // collect points of circles that leave the image there.
        if (m == 0 || x == 0 || y == 0) continue;
        const double r = std::hypot(double(x) - w / 2, double(y) - h / 2);
        // Rounding each coordinate moves a point by at most sqrt(0.5).
        EXPECT_LE(std::fabs(r - 2.0 * std::round(r / 2.0)), 0.7072) << x << "," << y;
      }
    }
    EXPECT_LT(marked, p.ae.sampleCount);
    const uint32_t rmax = static_cast<uint32_t>(std::sqrt((double(w) * w + double(h) * h) / 2));
    EXPECT_LE(p.ae.sampleCount, 50u * ((rmax + 1) / 2));
    for (uint32_t i = 0; i < p.ae.sampleCount; ++i) ASSERT_EQ(p.samples[i], 0.f);
    EXPECT_EQ(p.samples.back(), -7.f);
  }
}

struct Proposal {
  const char* name;
  float amplitude;        // every sampled pixel's amplitude
  float reference;        // exposureReferenceAmplitude
  uint32_t exposure;      // current exposure of both frequencies
  uint32_t lower, upper;  // exposure limits
  uint8_t numFreqs;
  uint32_t expected;       // proposal for each frequency
  bool noSamples = false;  // every pixel masked
};

class AutoExposureProposal : public ::testing::TestWithParam<Proposal> {};

TEST_P(AutoExposureProposal, FollowsTheRules) {
  const Proposal& t = GetParam();
  Pattern p(64, 48, [&](uint32_t, uint32_t) { return uint8_t{t.noSamples}; });
  std::vector<float> amplitude(64 * 48, -t.amplitude);  // the magnitude is what counts
  KelvoraParameter params = testing::defaultParameters(64, 48);
  params.exposureReferenceAmplitude = t.reference;
  params.exposureLimitLower = t.lower;
  params.exposureLimitUpper = t.upper;
  params.numFreqs = t.numFreqs;
  const uint32_t times[3] = {777, t.exposure, t.exposure};
  uint32_t proposal[3] = {1, 2, 3};
  calcAutoExposure(64 * 48, amplitude.data(), &params, &p.ae, times, proposal);
  EXPECT_EQ(proposal[0], 777u);
  for (uint32_t i = 1; i <= t.numFreqs; ++i) EXPECT_EQ(proposal[i], t.expected) << i;
  for (uint32_t i = t.numFreqs + 1; i < 3; ++i) EXPECT_EQ(proposal[i], i + 1) << "untouched";
}

// Expected proposals follow from ratio = reference / amplitude by hand.
INSTANTIATE_TEST_SUITE_P(
    Rules, AutoExposureProposal,
    ::testing::Values(Proposal{"deadBandKeeps", 1000.f, 1050.f, 300, 1, 2000, 2, 300},
                      Proposal{"exactly0p9Moves", 1.f, 0.9f, 100, 1, 2000, 2, 90},
                      Proposal{"halfRoundsAway", 1000.f, 2500.f, 101, 1, 2000, 2, 253},  // 252.5
                      Proposal{"clampUpper", 100.f, 1200.f, 300, 1, 2000, 2, 2000},
                      Proposal{"atUpperMayGoDown", 3000.f, 1200.f, 2000, 1, 2000, 2, 800},
                      Proposal{"zeroAmplitudeIsTenth", 0.f, 1200.f, 300, 1, 2000, 2, 2000},
                      Proposal{"noFrequency", 600.f, 1200.f, 300, 1, 2000, 0, 0},
                      Proposal{"noSamplesFallToLower", 500.f, 1200.f, 400, 10, 1000, 2, 10, true}),
    [](const auto& param) { return std::string(param.param.name); });

// Only the m marked pixels are gathered, into the first m entries; the
// selection runs over all sampleCount entries, the others keeping what they
// held (zeros at first, then what the previous selection left there). Masks
// keep the centre (hit 50 times) and k more sample points, which puts m
// below, at and above the selection index; each runs two frame sets, checked
// against a gather and a full sort of its own.
TEST(AutoExposureProposalPercentile, GathersMarkedPixelsAndSelectsOverTheCountedRange) {
  constexpr uint32_t w = 96, h = 64;
  const Pattern all(w, h);
  std::vector<uint32_t> kept = {w / 2 + w * (h / 2)};
  for (uint32_t i = w + 1; i < w * h; ++i) {  // row 0 and column 0 collect many hits
    if (all.ae.sampleMask[i] != 0 && i % w != 0 && i != kept[0]) kept.push_back(i);
  }
  std::mt19937 gen(9);
  std::uniform_real_distribution<float> dist(1400.f, 3000.f);  // ratio below the dead band
  bool markedAtSelectIndex = false;
  for (uint32_t k : {0u, 1u, 2u, 3u, 4u, 8u, static_cast<uint32_t>(kept.size()) - 1}) {
    Pattern p(w, h, [&](uint32_t x, uint32_t y) {
      return uint8_t(std::find(kept.begin(), kept.begin() + 1 + k, x + w * y) ==
                     kept.begin() + 1 + k);
    });
    const uint32_t count = p.ae.sampleCount, select = p.ae.selectIndex;
    markedAtSelectIndex |= k + 1 == select;
    KelvoraParameter params = testing::defaultParameters(w, h);
    params.exposureLimitLower = 1;
    params.exposureLimitUpper = 0xFFFFFFFFu;
    for (int frame = 0; frame < 2; ++frame) {
      std::vector<float> amplitude(w * h);
      for (auto& a : amplitude) a = dist(gen);
      std::vector<float> expected(p.samples.begin(), p.samples.begin() + count);
      for (uint32_t i = 0, m = 0; i < w * h; ++i) {
        if (p.ae.sampleMask[i] != 0) expected[m++] = amplitude[i];
      }
      std::sort(expected.begin(), expected.end(), std::greater<float>());
      const float percentile = expected[select] == 0.f ? 0.1f : expected[select];
      const uint32_t times[3] = {5, 1000, 2000};
      uint32_t proposal[3] = {};
      calcAutoExposure(w * h, amplitude.data(), &params, &p.ae, times, proposal);
      std::vector<float> after(p.samples.begin(), p.samples.begin() + count);
      std::sort(after.begin(), after.end(), std::greater<float>());
      ASSERT_EQ(after, expected) << "k " << k << " frame " << frame;
      const float ratio = params.exposureReferenceAmplitude / percentile;
      EXPECT_EQ(proposal[1], static_cast<uint32_t>(std::lround(1000.0 * ratio))) << k;
      EXPECT_EQ(proposal[2], static_cast<uint32_t>(std::lround(2000.0 * ratio))) << k;
    }
  }
  EXPECT_TRUE(markedAtSelectIndex) << "no mask put m at the selection index";
}

}  // namespace
}  // namespace kelvora
