// The whole core on rendered frame sets of a known scene: accuracy against
// the true distances. (Every kernel the vector targets replace is checked
// bit for bit against the scalar path by the kernel parity test.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "common/PipelineHarness.hpp"

namespace kelvora {
namespace {

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

// Other modules and scenes: one frequency (a near wall inside its 1.866 m
// range, a shorter exposure keeping it out of saturation), a stray-light
// model (the renderer adds no scatter, so the correction must not move the
// distances beyond noise), and an odd size (37 x 23, not a multiple of any
// vector width, into exact-size output arrays) dense and sparse.
TEST(PipelineEndToEnd, OtherModulesAndScenesWithinThreeSigma) {
  for (int variant = 0; variant < 4; ++variant) {
    synth::SyntheticCalibrationOptions o = calibration224(
        variant == 0 ? std::vector<uint32_t>{80320000} : std::vector<uint32_t>{80320000, 60240000});
    synth::SceneOptions scene;
    if (variant == 0) {
      scene.wallDistance = 1.4f;
      scene.modulatedExposure = 500;
      scene.withBox = false;
      scene.withFloor = false;
    }
    o.strayLight = variant == 1;
    if (variant >= 2) o.width = 37, o.height = 23;
    PipelineHarness h(o, scene);
    ASSERT_EQ(h.parameters().useRemoveStrayLight, variant == 1);
    h.parameters().useSparsePointCloud = variant == 3;
    ASSERT_EQ(h.initialise(), 0);
    h.process(h.render());
    const Accuracy a = accuracyOf(h);
    EXPECT_GT(a.unflagged, h.pixelCount() * 80 / 100) << variant;
    EXPECT_GE(a.withinThreeSigma, a.unflagged * 98 / 100)
        << variant << ": worst " << a.worstMillimetres << " mm";
  }
}

}  // namespace
}  // namespace kelvora
