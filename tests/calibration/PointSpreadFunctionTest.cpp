#include "calibration/PointSpreadFunction.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <vector>

#include "calibration/HandlerPsfAndDirections.hpp"
#include "calibration/KelvoraCalibration.hpp"
#include "calibration/PchipReference.hpp"
#include "common/CoreFixtures.hpp"
#include "core/StatusCodes.hpp"

namespace kelvora {
namespace {

using Calibration = testing::CalibrationPtr;

Calibration makeCalibration(uint32_t width, uint32_t height) {
  Calibration c(allocateCalibration(width * height));
  const uint32_t roi[4] = {0, 0, width, height};
  for (int i = 0; i < 4; ++i) c->calibrationROI[i] = roi[i];
  const float lens[9] = {200.f, 201.f, width / 2.0f, height / 2.0f, -0.2f, 0.05f, 0, 0, 0};
  for (int i = 0; i < 9; ++i) c->lensParameters[i] = lens[i];
  return c;
}

void setModel(KelvoraCalibration& c, const testref::ScatterModel& m, uint32_t w, uint32_t h) {
  c.psfScale = static_cast<float>(m.scale);
  c.psfExponent = static_cast<float>(m.exponent);
  c.psfOffset = static_cast<float>(m.offset);
  c.psfCentre = static_cast<float>(m.centre);
  c.psfWidth = w;
  c.psfHeight = h;
  c.psfPointCount = static_cast<uint8_t>(m.radii.size());
  for (std::size_t i = 0; i < m.radii.size(); ++i) {
    c.psfRadii[i] = static_cast<float>(m.radii[i]);
    c.psfValues[i] = static_cast<float>(m.values[i]);
  }
}

struct KernelCase {
  const char* name;
  uint32_t width, height;
  testref::ScatterModel model;
};

class PsfKernel : public ::testing::TestWithParam<KernelCase> {};

// Every bin against 1 / (1 + naive DFT of the kernel sampled in double).
// The float transform of a kernel whose samples are below 0.1 is accurate to
// a few 1e-7 absolute; the reciprocal of a value near 1 keeps that.
TEST_P(PsfKernel, MatchesNaiveDftInDouble) {
  const KernelCase& p = GetParam();
  Calibration c = makeCalibration(4, 4);
  setModel(*c, p.model, p.width, p.height);
  ASSERT_EQ(kelvora_allocateAndCalculatePsf(c.get()), status::kSuccess);
  ASSERT_NE(c->psf, nullptr);

  const std::vector<double> k = testref::scatterKernel(p.model, p.width, p.height);
  std::vector<double> re, im;
  testref::naiveDft2(k, std::vector<double>(k.size(), 0.0), p.width, p.height, -1, re, im);
  for (std::size_t b = 0; b < re.size(); ++b) {
    EXPECT_NEAR(c->psf[b], 1.0 / (1.0 + re[b]), 2e-6) << "bin " << b;
  }
  // The record keeps the profile with the origin in front.
  EXPECT_EQ(c->psfPointCount, p.model.radii.size() + 1);
  EXPECT_EQ(c->psfRadii[0], 0.0f);
  EXPECT_EQ(c->psfValues[0], 0.0f);
  EXPECT_EQ(c->psfRadii[1], static_cast<float>(p.model.radii[0]));
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, PsfKernel,
    ::testing::Values(
        KernelCase{
            "w8_h6_euclidean", 8, 6, {0.02, 2.0, 0.0, 0.05, {1, 2, 3, 4.5}, {0.3, 0.9, 1.6, 2.8}}},
        KernelCase{"w10_h7_offset_p1_5",
                   10,
                   7,
                   {0.015, 1.5, 1e-4, 0.03, {1, 2.5, 4, 6}, {0.2, 1.0, 1.5, 2.9}}},
        // Cutoff below the largest distance: the corners are zero.
        KernelCase{"w9_h5_cutoff", 9, 5, {0.04, 2.0, 0.0, 0.02, {1, 2, 2.8}, {0.1, 0.8, 1.3}}},
        KernelCase{"w12_h12_thirteen_points",
                   12,
                   12,
                   {0.01,
                    2.0,
                    0.0,
                    0.04,
                    {0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 5, 6, 7, 8, 9},
                    {0.1, 0.2, 0.35, 0.5, 0.7, 0.9, 1.1, 1.3, 1.7, 2.1, 2.6, 3.0, 3.5}}}),
    [](const auto& param) { return std::string(param.param.name); });

// One row of four: the columns lie at distances 0, 1, 2, 1. Recover the
// spatial samples from the stored reciprocal and compare with the profile.
TEST(PsfKernelWrap, FourColumnsHaveDistancesZeroOneTwoOne) {
  const testref::ScatterModel m{0.05, 2.0, 0.0, 0.07, {1, 2.5}, {0.5, 1.25}};
  Calibration c = makeCalibration(4, 1);
  setModel(*c, m, 4, 1);
  ASSERT_EQ(kelvora_allocateAndCalculatePsf(c.get()), status::kSuccess);
  // A symmetric row has a real spectrum, so the samples follow from it alone;
  // a column at distance 3 would lie beyond the cutoff (2.5) and be 0.
  double s[4] = {0, 0, 0, 0};
  for (int j = 0; j < 4; ++j) {
    for (int k = 0; k < 4; ++k) {
      s[j] += (1.0 / c->psf[k] - 1.0) * std::cos(2 * 3.14159265358979323846 * j * k / 4) / 4;
    }
  }
  const testref::Pchip profile({0, 1, 2.5}, {0, 0.5, 1.25});
  EXPECT_NEAR(s[0], 0.07, 1e-6);
  EXPECT_NEAR(s[1], 0.05 * std::exp(-profile(1, 0)), 1e-6);
  EXPECT_NEAR(s[2], 0.05 * std::exp(-profile(2, 0)), 1e-6);
  EXPECT_NEAR(s[3], s[1], 1e-6);
}

TEST(PsfKernelRepeat, SecondCallFailsAndKeepsTheProfile) {
  const testref::ScatterModel m{0.02, 2.0, 0.0, 0.05, {1, 2, 3}, {0.3, 0.9, 1.6}};
  Calibration c = makeCalibration(4, 4);
  setModel(*c, m, 8, 6);
  ASSERT_EQ(kelvora_allocateAndCalculatePsf(c.get()), status::kSuccess);
  const float* first = c->psf;
  const uint8_t count = c->psfPointCount;
  std::vector<float> radii(c->psfRadii, c->psfRadii + 14), values(c->psfValues, c->psfValues + 14);

  EXPECT_EQ(kelvora_allocateAndCalculatePsf(c.get()), status::kSizeMismatch);
  EXPECT_EQ(c->psf, first);
  EXPECT_EQ(c->psfPointCount, count);
  for (int i = 0; i < count; ++i) {
    EXPECT_EQ(c->psfRadii[i], radii[i]);
    EXPECT_EQ(c->psfValues[i], values[i]);
  }
}

struct RefusalCase {
  const char* name;
  float scale;
  uint8_t points;
  uint32_t width, height;
  uint32_t code;
};

class PsfKernelRefusal : public ::testing::TestWithParam<RefusalCase> {};

TEST_P(PsfKernelRefusal, RefusesWithoutChangingTheRecord) {
  const RefusalCase& p = GetParam();
  Calibration c = makeCalibration(4, 4);
  c->psfScale = p.scale;
  c->psfPointCount = p.points;
  c->psfWidth = p.width;
  c->psfHeight = p.height;
  c->psfExponent = 2.0f;
  c->psfCentre = 0.0f;
  c->psfOffset = 0.0f;
  for (int i = 0; i < 14; ++i) {
    c->psfRadii[i] = static_cast<float>(i + 1);
    c->psfValues[i] = 0.1f * static_cast<float>(i);
  }
  EXPECT_EQ(kelvora_allocateAndCalculatePsf(c.get()), p.code);
  EXPECT_EQ(c->psf, nullptr);
  EXPECT_EQ(c->psfPointCount, p.points);
  EXPECT_EQ(c->psfRadii[0], 1.0f);
}

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Codes, PsfKernelRefusal,
    ::testing::Values(RefusalCase{"no_model", kNaN, 3, 8, 6, status::kInvalidRecord},
                      RefusalCase{"no_points", 0.02f, 0, 8, 6, status::kInvalidRecord},
                      RefusalCase{"fourteen_points", 0.02f, 14, 8, 6, status::kCapacityExceeded},
                      RefusalCase{"size_unset", 0.02f, 3, 0xFFFFFFFFu, 0xFFFFFFFFu,
                                  status::kInvalidRecord},
                      RefusalCase{"zero_height", 0.02f, 3, 8, 0, status::kInvalidRecord}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(PsfHandlers, ContainerFormatMakesDirectionsOnly) {
  Calibration c = makeCalibration(6, 5);
  setModel(*c, {0.02, 2.0, 0.0, 0.05, {1, 2}, {0.3, 0.9}}, 8, 6);
  EXPECT_EQ(kelvora_calcTavelPsfAndDirections(c.get(), 30), status::kSuccess);
  ASSERT_NE(c->directions, nullptr);
  EXPECT_EQ(c->psf, nullptr);
  // Running it again replaces the rays (the sanitizer build sees a leak).
  EXPECT_EQ(kelvora_calcTavelPsfAndDirections(c.get(), 30), status::kSuccess);
}

TEST(PsfHandlers, BlockFormatMakesKernelOnlyWithModel) {
  Calibration withModel = makeCalibration(6, 5);
  setModel(*withModel, {0.02, 2.0, 0.0, 0.05, {1, 2}, {0.3, 0.9}}, 8, 6);
  EXPECT_EQ(kelvora_calcQVPsfAndDirections(withModel.get(), 30), status::kSuccess);
  EXPECT_NE(withModel->directions, nullptr);
  EXPECT_NE(withModel->psf, nullptr);

  Calibration without = makeCalibration(6, 5);
  EXPECT_EQ(kelvora_calcQVPsfAndDirections(without.get(), 30), status::kSuccess);
  EXPECT_NE(without->directions, nullptr);
  EXPECT_EQ(without->psf, nullptr);

  // A model whose kernel is refused reports the kernel's code.
  Calibration badModel = makeCalibration(6, 5);
  badModel->psfScale = 0.02f;
  EXPECT_EQ(kelvora_calcQVPsfAndDirections(badModel.get(), 30), status::kInvalidRecord);
}

TEST(PsfHandlers, PixelCountDisagreeingWithRoiFails) {
  for (auto* op : {kelvora_calcTavelPsfAndDirections, kelvora_calcQVPsfAndDirections}) {
    Calibration c = makeCalibration(6, 5);
    setModel(*c, {0.02, 2.0, 0.0, 0.05, {1, 2}, {0.3, 0.9}}, 8, 6);
    EXPECT_EQ(op(c.get(), 31), status::kSizeMismatch);
    EXPECT_EQ(c->psf, nullptr);
    EXPECT_EQ(op(c.get(), 0xFFFFFFFFu), status::kSizeMismatch);
  }
}

}  // namespace
}  // namespace kelvora
