// The lens model: per-pixel viewing directions, the shape-preserving cubic
// interpolation of the scatter profile and the stray-light kernel built from
// it, each against a double-precision reference.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <vector>

#include "CalibrationTestSupport.hpp"
#include "PchipReference.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/HandlerPsfAndDirections.hpp"
#include "calibration/LensDirections.hpp"
#include "calibration/PchipInterpolation.hpp"
#include "calibration/PointSpreadFunction.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;
using Lens = std::array<float, 9>;  // fx fy cx cy k1 k2 p1 p2 k3

struct LensCase {
  const char* name;
  Lens lens;
  uint32_t width, height;
};

class LensDirections : public ::testing::TestWithParam<LensCase> {};

// Float rounding of 15 fixed-point steps and the final normalisation; the
// rays are unit vectors, so this is an absolute error of about 8 ulp (the
// lenses below stay near 1e-7).
constexpr double kRayTolerance = 1e-6;

TEST_P(LensDirections, MatchDoublePrecisionUndistortion) {
  LensCase p = GetParam();
  const uint32_t roi[4] = {0, 0, p.width, p.height};
  std::vector<float> rays(p.width * p.height * 3);
  ASSERT_EQ(kelvora_updateDirections(rays.data(), rays.size(), p.lens.data(), roi),
            status::kSuccess);
  double worst = 0;
  for (uint32_t r = 0; r < p.height; ++r) {
    for (uint32_t c = 0; c < p.width; ++c) {
      const float* got = &rays[(r * p.width + c) * 3];
      const auto want = testref::ray(p.lens.data(), c, r, 15);
      for (int k = 0; k < 3; ++k) worst = std::max(worst, std::fabs(got[k] - want[k]));
      const double len =
          std::sqrt(double{got[0]} * got[0] + double{got[1]} * got[1] + double{got[2]} * got[2]);
      ASSERT_NEAR(len, 1.0, 1e-6) << "pixel " << c << "," << r;
      ASSERT_GT(got[2], 0.0f);
    }
  }
  EXPECT_LT(worst, kRayTolerance);

  // With the principal point on a pixel centre, distortion cannot move it.
  p.lens[2] = 17.0f;
  p.lens[3] = 11.0f;
  ASSERT_EQ(kelvora_updateDirections(rays.data(), rays.size(), p.lens.data(), roi),
            status::kSuccess);
  const float* centre = &rays[(11 * p.width + 17) * 3];
  EXPECT_EQ(std::vector<float>(centre, centre + 3), (std::vector<float>{0.0f, 0.0f, 1.0f}));
}

INSTANTIATE_TEST_SUITE_P(
    Lenses, LensDirections,
    ::testing::Values(LensCase{"pinhole", {210.f, 210.f, 111.5f, 85.5f, 0, 0, 0, 0, 0}, 224, 172},
                      LensCase{
                          "barrel",
                          {208.3f, 209.1f, 112.7f, 84.2f, -0.28f, 0.09f, 1.2e-3f, -7e-4f, -0.012f},
                          224,
                          172},
                      LensCase{"pincushion_wide",
                               {120.f, 118.f, 40.f, 30.f, 0.12f, -0.02f, -2e-3f, 1e-3f, 0.001f},
                               81,
                               59}),
    [](const auto& param) { return std::string(param.param.name); });

struct SizeCase {
  const char* name;
  uint32_t roi[4];
  uint32_t outCount;
  uint32_t code;
};

class LensDirectionsSize : public ::testing::TestWithParam<SizeCase> {};

// A refused request writes nothing; an accepted one exactly outCount floats.
TEST_P(LensDirectionsSize, AcceptedOrRefusedWithoutWritingBeyond) {
  const SizeCase& p = GetParam();
  const Lens lens{200.f, 200.f, 4.f, 3.f, 0, 0, 0, 0, 0};
  std::vector<float> out(64, -7.0f);
  EXPECT_EQ(kelvora_updateDirections(out.data(), p.outCount, lens.data(), p.roi), p.code);
  for (uint32_t i = 0; i < out.size(); ++i) {
    ASSERT_EQ(out[i] == -7.0f, p.code != status::kSuccess || i >= p.outCount) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, LensDirectionsSize,
    ::testing::Values(
        SizeCase{"one_float_short", {0, 0, 4, 3}, 35, status::kSizeMismatch},
        SizeCase{"pixel_count_not_times_three", {0, 0, 4, 3}, 12, status::kSizeMismatch},
        SizeCase{"width_below_origin", {5, 0, 4, 3}, 36, status::kSizeMismatch},
        SizeCase{"height_below_origin", {0, 4, 4, 3}, 36, status::kSizeMismatch},
        // 0x55555556 * 3 wraps to 2 in 32 bits.
        SizeCase{"wrapping_product", {0, 0, 0x55555556u, 1}, 2, status::kSizeMismatch},
        SizeCase{"zero_extent", {0, 0, 0, 3}, 0, status::kSuccess},
        SizeCase{"extent_equal_to_origin", {2, 2, 2, 2}, 12, status::kSuccess}),
    [](const auto& param) { return std::string(param.param.name); });

// ---------------------------------------------------------------------------
// Shape-preserving cubic interpolation.

struct HandleDeleter {
  void operator()(KelvoraPolyHandle* h) const { kelvora_freePoly(h); }
};
using Handle = std::unique_ptr<KelvoraPolyHandle, HandleDeleter>;

Handle make(const std::vector<float>& x, const std::vector<float>& y) {
  return Handle(kelvora_createPolyHandle(x.data(), y.data(), static_cast<int32_t>(x.size())));
}

struct Profile {
  const char* name;
  std::vector<float> x, y;
};

class PchipProfiles : public ::testing::TestWithParam<Profile> {};

TEST_P(PchipProfiles, MatchesDoublePrecisionPchipInsideItsSupportOnly) {
  const Profile& p = GetParam();
  const Handle h = make(p.x, p.y);
  const testref::Pchip ref(std::vector<double>(p.x.begin(), p.x.end()),
                           std::vector<double>(p.y.begin(), p.y.end()));
  double yMax = 0;
  for (float v : p.y) yMax = std::max(yMax, std::fabs(double{v}));
  for (std::size_t i = 0; i < p.x.size(); ++i) {
    EXPECT_NEAR(h->slopes[i], ref.m[i], 1e-5 * (1 + std::fabs(ref.m[i]))) << "slope " << i;
  }
  // Float evaluation of a cubic in nested form: a few ulp of the value range.
  const double tol = 2e-6 * (1 + yMax);
  for (std::size_t i = 0; i + 1 < p.x.size(); ++i) {
    // Shape preservation: no value outside the interval's end values.
    const float lo = std::min(p.y[i], p.y[i + 1]), hi = std::max(p.y[i], p.y[i + 1]);
    const float slack = 1e-5f * (1.0f + std::fabs(hi));
    for (int k = 0; k <= 200; ++k) {
      const float t = p.x[i] + (p.x[i + 1] - p.x[i]) * static_cast<float>(k) / 200.0f;
      if (t > p.x[i + 1]) continue;
      const float v = kelvora_cinterpol_def(h.get(), t, -1.0f);
      EXPECT_NEAR(v, ref(t, -1.0), tol) << "t=" << t;
      EXPECT_GE(v, lo - slack) << "interval " << i << " t=" << t;
      EXPECT_LE(v, hi + slack) << "interval " << i << " t=" << t;
    }
  }
  for (std::size_t i = 0; i < p.x.size(); ++i) {
    EXPECT_NEAR(kelvora_cinterpol_def(h.get(), p.x[i], -1.0f), p.y[i], tol);
  }
  const float below = std::nextafter(p.x.front(), -1e30f);
  const float above = std::nextafter(p.x.back(), 1e30f);
  EXPECT_EQ(kelvora_cinterpol_def(h.get(), below, 1e20f), 1e20f);
  EXPECT_EQ(kelvora_cinterpol_def(h.get(), above, 1e20f), 1e20f);
  EXPECT_EQ(kelvora_cinterpol_def(h.get(), NAN, 5.0f), 5.0f);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, PchipProfiles,
    ::testing::Values(
        // Typical scatter profile: exponent values rising with the radius.
        Profile{"scatter_profile",
                {0, 1.5f, 3, 6, 12, 25, 50, 90},
                {0, 0.4f, 0.9f, 1.8f, 3.1f, 5.0f, 7.5f, 9.9f}},
        Profile{"rise_and_fall", {0, 1, 2, 3, 4, 5}, {0, 1, 3, 2.5f, 1, 0.2f}},
        Profile{"uneven_spacing_plateau", {0, 0.5f, 2, 2.5f, 7, 8}, {1, 1, 1, 4, 4.5f, 9}},
        Profile{"three_points", {0, 1, 3}, {2, 5, 4}},
        Profile{"two_points_linear", {1, 4}, {2, -1}}),
    [](const auto& param) { return std::string(param.param.name); });

struct EndCase {
  const char* name;
  std::vector<float> x, y;
  bool atStart;
  float slope;
};

class PchipEnds : public ::testing::TestWithParam<EndCase> {};

TEST_P(PchipEnds, EndCorrection) {
  const EndCase& p = GetParam();
  const Handle h = make(p.x, p.y);
  EXPECT_FLOAT_EQ(p.atStart ? h->slopes[0] : h->slopes[p.x.size() - 1], p.slope);
}

// With equal spacing the end formula is d = (3 * near - far) / 2, worked out
// by hand here.
INSTANTIATE_TEST_SUITE_P(Corrections, PchipEnds,
                         ::testing::Values(
                             // near 1, far 9: d = -3 points against the first interval -> 0.
                             EndCase{"start_against_interval", {0, 1, 2}, {0, 1, 10}, true, 0.0f},
                             // near 1, far -5: d = 4 > 3 * near next to an extremum -> 3.
                             EndCase{"start_clamped_to_three", {0, 1, 2}, {0, 1, -4}, true, 3.0f},
                             // near 2, far 1: d = 2.5, no correction.
                             EndCase{"start_uncorrected", {0, 1, 2}, {0, 2, 3}, true, 2.5f},
                             EndCase{"end_against_interval", {0, 1, 2}, {0, 9, 10}, false, 0.0f},
                             EndCase{"end_clamped_to_three", {0, 1, 2}, {0, -5, -4}, false, 3.0f},
                             EndCase{"end_uncorrected", {0, 1, 2}, {0, 1, 3}, false, 2.5f}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST(PchipDegenerate, FewerThanTwoPointsGiveTheDefault) {
  const float x = 1.0f, y = 2.0f;
  const Handle one(kelvora_createPolyHandle(&x, &y, 1));
  EXPECT_EQ(kelvora_cinterpol_def(one.get(), 1.0f, 42.0f), 42.0f);
  const Handle none(kelvora_createPolyHandle(&x, &y, 0));
  EXPECT_EQ(kelvora_cinterpol_def(none.get(), 1.0f, 42.0f), 42.0f);
}

// ---------------------------------------------------------------------------
// Stray-light kernel.

CalibrationPtr makeCalibration(uint32_t width, uint32_t height) {
  CalibrationPtr c = testing::freshRecord(width * height);
  const uint32_t roi[4] = {0, 0, width, height};
  std::memcpy(c->calibrationROI, roi, sizeof roi);
  const float lens[9] = {200.f, 201.f, width / 2.0f, height / 2.0f, -0.2f, 0.05f, 0, 0, 0};
  std::memcpy(c->lensParameters, lens, sizeof lens);
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

const testref::ScatterModel kSmallModel{0.02, 2.0, 0.0, 0.05, {1, 2, 3}, {0.3, 0.9, 1.6}};

struct KernelCase {
  const char* name;
  uint32_t width, height;
  testref::ScatterModel model;
};

class PsfKernel : public ::testing::TestWithParam<KernelCase> {};

// Every bin against 1 / (1 + naive DFT of the kernel sampled in double on
// the wrap-around grid). The float transform of a kernel whose samples are
// below 0.1 is accurate to a few 1e-7 absolute; the reciprocal of a value
// near 1 keeps that.
TEST_P(PsfKernel, MatchesNaiveDftInDouble) {
  const KernelCase& p = GetParam();
  CalibrationPtr c = makeCalibration(4, 4);
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
        // One row: the columns lie at wrap-around distances 0, 1, 2, 1.
        KernelCase{"w4_h1_row", 4, 1, {0.05, 2.0, 0.0, 0.07, {1, 2.5}, {0.5, 1.25}}},
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

TEST(PsfKernelRepeat, SecondCallFailsAndKeepsTheProfile) {
  CalibrationPtr c = makeCalibration(4, 4);
  setModel(*c, kSmallModel, 8, 6);
  ASSERT_EQ(kelvora_allocateAndCalculatePsf(c.get()), status::kSuccess);
  const float* first = c->psf;
  const uint8_t count = c->psfPointCount;
  float radii[14], values[14];
  std::memcpy(radii, c->psfRadii, sizeof radii);
  std::memcpy(values, c->psfValues, sizeof values);

  EXPECT_EQ(kelvora_allocateAndCalculatePsf(c.get()), status::kSizeMismatch);
  EXPECT_EQ(c->psf, first);
  EXPECT_EQ(c->psfPointCount, count);
  EXPECT_EQ(0, std::memcmp(c->psfRadii, radii, sizeof radii));  // bit for bit: NaN beyond
  EXPECT_EQ(0, std::memcmp(c->psfValues, values, sizeof values));
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
  CalibrationPtr c = makeCalibration(4, 4);
  setModel(*c, {p.scale, 2.0, 0.0, 0.0, {}, {}}, p.width, p.height);
  c->psfPointCount = p.points;
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

// The container format makes directions only; the block format also makes
// the kernel when the record has a model, and reports the kernel's refusal.
TEST(PsfHandlers, EachFormatMakesWhatItsRecordsCarry) {
  CalibrationPtr c = makeCalibration(6, 5);
  setModel(*c, kSmallModel, 8, 6);
  EXPECT_EQ(kelvora_calcTavelPsfAndDirections(c.get(), 30), status::kSuccess);
  ASSERT_NE(c->directions, nullptr);
  EXPECT_EQ(c->psf, nullptr);
  // Running it again replaces the rays (the sanitizer build sees a leak).
  EXPECT_EQ(kelvora_calcTavelPsfAndDirections(c.get(), 30), status::kSuccess);

  CalibrationPtr withModel = makeCalibration(6, 5);
  setModel(*withModel, kSmallModel, 8, 6);
  EXPECT_EQ(kelvora_calcQVPsfAndDirections(withModel.get(), 30), status::kSuccess);
  EXPECT_NE(withModel->directions, nullptr);
  EXPECT_NE(withModel->psf, nullptr);

  CalibrationPtr without = makeCalibration(6, 5);
  EXPECT_EQ(kelvora_calcQVPsfAndDirections(without.get(), 30), status::kSuccess);
  EXPECT_NE(without->directions, nullptr);
  EXPECT_EQ(without->psf, nullptr);

  CalibrationPtr badModel = makeCalibration(6, 5);
  badModel->psfScale = 0.02f;
  EXPECT_EQ(kelvora_calcQVPsfAndDirections(badModel.get(), 30), status::kInvalidRecord);
}

TEST(PsfHandlers, PixelCountDisagreeingWithRoiFails) {
  for (auto* op : {kelvora_calcTavelPsfAndDirections, kelvora_calcQVPsfAndDirections}) {
    CalibrationPtr c = makeCalibration(6, 5);
    setModel(*c, kSmallModel, 8, 6);
    EXPECT_EQ(op(c.get(), 31), status::kSizeMismatch);
    EXPECT_EQ(c->psf, nullptr);
    EXPECT_EQ(op(c.get(), 0xFFFFFFFFu), status::kSizeMismatch);
  }
}

}  // namespace
}  // namespace kelvora
