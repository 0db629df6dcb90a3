// The whole core on rendered frame sets of a known scene: accuracy against
// the true distances, and constructed cases that raise each flag cause.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <tuple>
#include <vector>

#include "base/PixelFlags.hpp"
#include "base/StatusCodes.hpp"
#include "common/PipelineHarness.hpp"
#include "common/SimdTestTypes.hpp"

namespace kelvora {
namespace {

using synth::SurfaceLabel;
using testing::PipelineHarness;

synth::SyntheticCalibrationOptions calibration224(std::vector<uint32_t> freqs = {80320000,
                                                                                 60240000}) {
  synth::SyntheticCalibrationOptions o;
  o.frequencies = std::move(freqs);
  return o;
}

struct Accuracy {
  uint32_t unflagged = 0;
  uint32_t withinThreeSigma = 0;
  double worstMillimetres = 0;
  std::vector<double> errors;
};

Accuracy accuracyOf(PipelineHarness& h) {
  Accuracy a;
  for (uint32_t i = 0; i < h.pixelCount(); ++i) {
    if (h.flags[i] != 0) continue;
    ++a.unflagged;
    const double err = std::fabs(h.distance[i] - h.geometry().trueDistance[i]);
    a.errors.push_back(err);
    if (err <= 3.0 * h.noise[i]) ++a.withinThreeSigma;
  }
  std::sort(a.errors.begin(), a.errors.end());
  if (!a.errors.empty()) a.worstMillimetres = a.errors.back() * 1000;
  return a;
}

TEST(PipelineEndToEnd, TwoFrequencySceneAndPointCloudWithinThreeSigma) {
  PipelineHarness h(calibration224());
  ASSERT_EQ(h.initialise(), 0);
  h.process(h.render());
  const Accuracy a = accuracyOf(h);
  const uint32_t n = h.pixelCount();
  EXPECT_GT(a.unflagged, n * 9 / 10) << "most of the scene is measurable";
  EXPECT_GE(a.withinThreeSigma, a.unflagged * 99 / 100)
      << a.withinThreeSigma << " of " << a.unflagged << " within 3 sigma; worst "
      << a.worstMillimetres << " mm";
  EXPECT_LT(a.errors[a.errors.size() / 2], 0.01) << "median error below 1 cm";
  // Validation collapses every flagged word to 1 and clears its results.
  for (uint32_t i = 0; i < n; ++i) {
    ASSERT_TRUE(h.flags[i] == 0 || h.flags[i] == 1) << i;
    if (h.flags[i] == 1) {
      ASSERT_EQ(h.distance[i], 0.0f);
      ASSERT_EQ(h.pointCloud[4 * i + 2], 0.0f);
    }
  }
  // Unflagged points lie on the scene along their rays.
  const float* dirs = h.calibration().directions;
  for (uint32_t i = 0; i < n; i += 97) {
    if (h.flags[i] != 0) continue;
    const float* p = &h.pointCloud[4 * i];
    const double t = h.geometry().trueDistance[i];
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(p[k], t * dirs[3 * i + k], 3.0 * h.noise[i] + 1e-4);
    EXPECT_NEAR(p[3], 1.0 - h.noise[i] / h.parameters().noiseThreshold, 1e-5);
  }
  EXPECT_EQ(h.output.width, 224);
  EXPECT_EQ(h.output.height, 172);
  EXPECT_EQ(h.output.pointCloudSize, 4 * n);
}

TEST(PipelineEndToEnd, OneFrequencyWithinItsRange) {
  synth::SceneOptions scene;
  // Even the corner rays (about 1.7 m) stay inside the 1.866 m range of
  // 80.32 MHz; a shorter exposure keeps the near wall out of saturation.
  scene.wallDistance = 1.4f;
  scene.modulatedExposure = 500;
  scene.withBox = false;
  scene.withFloor = false;
  PipelineHarness h(calibration224({80320000}), scene);
  ASSERT_EQ(h.initialise(), 0);
  h.process(h.render());
  const Accuracy a = accuracyOf(h);
  EXPECT_GT(a.unflagged, h.pixelCount() * 9 / 10);
  EXPECT_GE(a.withinThreeSigma, a.unflagged * 99 / 100) << "worst " << a.worstMillimetres << " mm";
}

TEST(PipelineEndToEnd, OddImageSizesStayInsideTheirBuffers) {
  // 37 x 23 = 851 pixels, not a multiple of four: the harness's exact-size
  // output arrays catch any stage that writes a whole group past the end.
  synth::SyntheticCalibrationOptions o = calibration224();
  o.width = 37;
  o.height = 23;
  for (bool sparse : {false, true}) {
    PipelineHarness h(o);
    h.parameters().useSparsePointCloud = sparse;
    h.initialise();
    h.process(h.render());
    const Accuracy a = accuracyOf(h);
    EXPECT_GT(a.unflagged, 700u);
    EXPECT_GE(a.withinThreeSigma, a.unflagged * 98 / 100);
  }
}

// Every output of whole frame sets, with the rendered scene's noise,
// saturation and flagged pixels, at each vector width this processor has:
// the same bits as on the four-lane target.
TEST(PipelineEndToEnd, WholeFrameSetIsBitIdenticalAtEveryWidth) {
  for (const auto& [w, h, radius] : {std::tuple{224u, 172u, 2}, {224u, 172u, 1}, {37u, 23u, 2}}) {
    synth::SyntheticCalibrationOptions o = calibration224();
    o.width = w;
    o.height = h;
    PipelineHarness harness(o);
    harness.parameters().adaptiveNoiseFilterType = static_cast<uint8_t>(radius);
    ASSERT_EQ(harness.initialise(), 0);
    const synth::RenderedFrameSet frames = harness.render(3);
    const unsigned widest = simd::vectorLanes();
    std::vector<std::vector<float>> first;
    for (unsigned lanes = 4; lanes <= 16; lanes *= 2) {
      const unsigned previous = simd::setVectorLanes(lanes);
      const bool available = simd::vectorLanes() == lanes;
      if (available) harness.process(frames);
      simd::setVectorLanes(previous);
      if (!available) continue;
      std::vector<std::vector<float>> outputs = {harness.distance, harness.noise, harness.amplitude,
                                                 harness.pointCloud, harness.intensity};
      std::vector<float> flagBits(harness.flags.size());
      std::memcpy(flagBits.data(), harness.flags.data(), flagBits.size() * sizeof(float));
      outputs.push_back(flagBits);
      if (first.empty()) first = outputs;
      for (std::size_t k = 0; k < outputs.size(); ++k) {
        for (std::size_t i = 0; i < outputs[k].size(); ++i) {
          ASSERT_TRUE(testing::sameBits(outputs[k][i], first[k][i]))
              << w << "x" << h << " lanes " << lanes << " output " << k << " [" << i << "]";
        }
      }
    }
    EXPECT_EQ(simd::vectorLanes(), widest);
  }
}

// Runs one frame set without validation so the flag words keep their causes.
class FlagCauses : public ::testing::Test {
 protected:
  FlagCauses() : h(calibration224()) {
    h.parameters().useValidateImage = false;
    h.initialise();
    frames = h.render();
  }
  uint32_t countWith(uint32_t flag) const {
    uint32_t c = 0;
    for (uint32_t i = 0; i < h.pixelCount(); ++i) c += (h.flags[i] & flag) == flag ? 1 : 0;
    return c;
  }
  uint32_t at(uint32_t x, uint32_t y) const { return y * 224 + x; }
  PipelineHarness h;
  synth::RenderedFrameSet frames;
};

TEST_F(FlagCauses, SaturationOnTheBrightPatch) {
  h.process(frames);
  uint32_t patch = 0, saturated = 0;
  for (uint32_t i = 0; i < h.pixelCount(); ++i) {
    if (h.geometry().label[i] != SurfaceLabel::kPatch) continue;
    ++patch;
    saturated += (h.flags[i] & flags::kSaturated) == flags::kSaturated ? 1 : 0;
  }
  ASSERT_GT(patch, 20u);
  EXPECT_GE(saturated, patch - 2 * 224 / 100) << "every patch pixel clips (a row may shift)";
}

TEST_F(FlagCauses, InconsistentFramesAndLowAmplitude) {
  const uint32_t a = at(50, 40), b = at(60, 40);
  for (auto& f : frames.phase) {
    if (f[0].empty()) continue;
    // A0 + A2 far above A1 + A3: the frames disagree about the offset.
    f[0][a + 224] = static_cast<uint16_t>(f[0][a + 224] + 900);
    f[2][a + 224] = static_cast<uint16_t>(f[2][a + 224] + 900);
    // All four samples equal: no modulation at all.
    for (int k = 1; k < 4; ++k) f[k][b + 224] = f[0][b + 224];
  }
  h.process(frames);  // raw row r lands on output row r - 1
  EXPECT_EQ(h.flags[a] & flags::kInconsistent, flags::kInconsistent);
  EXPECT_EQ(h.flags[b] & flags::kLowSignal, flags::kLowSignal);
}

TEST_F(FlagCauses, HighNoiseAfterTheFilters) {
  h.parameters().noiseThreshold = 0.01f;  // the far wall's noise is above this
  h.process(frames);
  uint32_t noisyWall = 0, wall = 0;
  for (uint32_t i = 0; i < h.pixelCount(); ++i) {
    if (h.geometry().label[i] != SurfaceLabel::kWall) continue;
    ++wall;
    if (h.noise[i] > 0.01f) {
      ++noisyWall;
      EXPECT_EQ(h.flags[i] & flags::kLowSignal, flags::kLowSignal);
    }
  }
  EXPECT_GT(noisyWall, 0u);
}

TEST_F(FlagCauses, MaskedPixels) {
  uint32_t masked = 0;
  for (uint32_t i = 0; i < h.pixelCount(); ++i) {
    if ((h.calibration().mask[i] & 1) == 0) continue;
    ++masked;
  }
  h.process(frames);
  ASSERT_GT(masked, 10u);
  EXPECT_EQ(countWith(flags::kMasked), masked);
}

TEST_F(FlagCauses, FlyingPixelAtADepthEdge) {
  // A pixel whose samples mix the box (near) and the wall (far) in equal
  // parts: its distance lands between the two surfaces.
  uint32_t edge = 0;
  for (uint32_t y = 60; y < 120 && edge == 0; ++y) {
    for (uint32_t x = 2; x < 222; ++x) {
      if (h.geometry().label[at(x, y)] == SurfaceLabel::kBox &&
          h.geometry().label[at(x + 1, y)] == SurfaceLabel::kWall) {
        edge = at(x + 1, y);
        break;
      }
    }
  }
  ASSERT_NE(edge, 0u);
  const uint32_t nearPixel = edge - 1, farPixel = edge + 1;
  for (auto& f : frames.phase) {
    if (f[0].empty()) continue;
    for (int k = 0; k < 4; ++k) {
      f[k][edge + 224] = static_cast<uint16_t>((f[k][nearPixel + 224] + f[k][farPixel + 224]) / 2);
    }
  }
  h.process(frames);
  EXPECT_EQ(h.flags[edge] & flags::kFlyingPixel, flags::kFlyingPixel) << h.distance[edge];
}

TEST_F(FlagCauses, MultipathByAmplitudeAndByDistance) {
  // In one block of the wall, frequency 1 sees twice the amplitude (the
  // frequencies disagree on brightness); in another, frequency 1 sees the
  // wall 0.3 m further away than frequency 0.
  const KelvoraCalibrationFrequency& f1 = h.calibration().frequencies[1];
  for (uint32_t y = 20; y < 30; ++y) {
    for (uint32_t x = 150; x < 170; ++x) {
      const uint32_t raw = at(x, y + 1);
      auto& p = frames.phase[1];
      const double offset = (p[0][raw] + p[1][raw] + p[2][raw] + p[3][raw]) / 4.0;
      for (int k = 0; k < 4; ++k) {
        p[k][raw] = static_cast<uint16_t>(std::lround(offset + 2.0 * (p[k][raw] - offset)));
      }
      const uint32_t raw2 = at(x - 100, y + 1);
      double samples[4];
      const double phase = synth::measuredPhaseFor(
          f1, raw2 - 224, h.geometry().trueDistance[raw2 - 224] + 0.3, frames.temperature);
      const double o2 = (p[0][raw2] + p[2][raw2]) / 2.0;
      const double a2 = 0.5 * std::hypot(p[0][raw2] - p[2][raw2], p[1][raw2] - p[3][raw2]);
      synth::samplesForPhase(phase, a2, o2, samples);
      for (int k = 0; k < 4; ++k) p[k][raw2] = static_cast<uint16_t>(std::lround(samples[k]));
    }
  }
  h.process(frames);
  EXPECT_EQ(h.flags[at(160, 25)] & flags::kMultipathAmplitude, flags::kMultipathAmplitude);
  EXPECT_EQ(h.flags[at(60, 25)] & flags::kMultipathDistance, flags::kMultipathDistance);
  // Elsewhere on the wall neither cause shows.
  EXPECT_EQ(h.flags[at(100, 80)] & (flags::kMultipathAmplitude | flags::kMultipathDistance) & ~1u,
            0u);
}

TEST(PipelineEndToEnd, StrayLightModelRunsAndKeepsAccuracy) {
  synth::SyntheticCalibrationOptions o = calibration224();
  o.strayLight = true;
  PipelineHarness h(o);
  ASSERT_NE(h.calibration().psf, nullptr) << "the synthetic model yields a kernel";
  ASSERT_TRUE(h.parameters().useRemoveStrayLight);
  h.initialise();
  h.process(h.render());
  const Accuracy a = accuracyOf(h);
  EXPECT_GT(a.unflagged, h.pixelCount() * 9 / 10);
  // The renderer adds no scatter, so the correction must not move the
  // distances beyond noise.
  EXPECT_GE(a.withinThreeSigma, a.unflagged * 98 / 100);
}

}  // namespace
}  // namespace kelvora
