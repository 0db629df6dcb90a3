#include "calibration/LensDirections.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "core/StatusCodes.hpp"

namespace kelvora {
namespace {

using Lens = std::array<float, 9>;  // fx fy cx cy k1 k2 p1 p2 k3

// The undistortion of the lens model, in double precision.
std::array<double, 3> rayInDouble(const Lens& l, double c, double r) {
  const double x0 = (c - l[2]) / l[0], y0 = (r - l[3]) / l[1];
  const double k1 = l[4], k2 = l[5], p1 = l[6], p2 = l[7], k3 = l[8];
  double x = x0, y = y0;
  for (int it = 0; it < 15; ++it) {
    const double r2 = x * x + y * y;
    const double radial = 1 + k1 * r2 + k2 * r2 * r2 + k3 * r2 * r2 * r2;
    const double dx = 2 * p1 * x * y + p2 * (r2 + 2 * x * x);
    const double dy = p1 * (r2 + 2 * y * y) + 2 * p2 * x * y;
    x = (x0 - dx) / radial;
    y = (y0 - dy) / radial;
  }
  const double n = std::sqrt(1 + x * x + y * y);
  return {x / n, y / n, 1 / n};
}

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
  const LensCase& p = GetParam();
  const uint32_t roi[4] = {0, 0, p.width, p.height};
  std::vector<float> rays(p.width * p.height * 3);
  ASSERT_EQ(kelvora_updateDirections(rays.data(), rays.size(), p.lens.data(), roi),
            status::kSuccess);
  double worst = 0;
  for (uint32_t r = 0; r < p.height; ++r) {
    for (uint32_t c = 0; c < p.width; ++c) {
      const float* got = &rays[(r * p.width + c) * 3];
      const auto want = rayInDouble(p.lens, c, r);
      for (int k = 0; k < 3; ++k) worst = std::max(worst, std::fabs(got[k] - want[k]));
      const double len =
          std::sqrt(double{got[0]} * got[0] + double{got[1]} * got[1] + double{got[2]} * got[2]);
      ASSERT_NEAR(len, 1.0, 1e-6) << "pixel " << c << "," << r;
      ASSERT_GT(got[2], 0.0f);
    }
  }
  EXPECT_LT(worst, kRayTolerance);
}

TEST_P(LensDirections, PrincipalPointLooksStraightAhead) {
  LensCase p = GetParam();
  // Put the principal point on a pixel centre; distortion cannot move it.
  p.lens[2] = 17.0f;
  p.lens[3] = 11.0f;
  const uint32_t roi[4] = {0, 0, p.width, p.height};
  std::vector<float> rays(p.width * p.height * 3);
  ASSERT_EQ(kelvora_updateDirections(rays.data(), rays.size(), p.lens.data(), roi),
            status::kSuccess);
  const float* centre = &rays[(11 * p.width + 17) * 3];
  EXPECT_EQ(centre[0], 0.0f);
  EXPECT_EQ(centre[1], 0.0f);
  EXPECT_EQ(centre[2], 1.0f);
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

struct FailureCase {
  const char* name;
  uint32_t roi[4];
  uint32_t outCount;
};

class LensDirectionsFailure : public ::testing::TestWithParam<FailureCase> {};

TEST_P(LensDirectionsFailure, RefusedWithoutTouchingOutput) {
  const FailureCase& p = GetParam();
  const Lens lens{200.f, 200.f, 4.f, 3.f, 0, 0, 0, 0, 0};
  std::vector<float> out(64, -7.0f);
  EXPECT_EQ(kelvora_updateDirections(out.data(), p.outCount, lens.data(), p.roi),
            status::kSizeMismatch);
  for (float v : out) ASSERT_EQ(v, -7.0f);
}

INSTANTIATE_TEST_SUITE_P(
    Mismatches, LensDirectionsFailure,
    ::testing::Values(FailureCase{"one_float_short", {0, 0, 4, 3}, 35},
                      FailureCase{"pixel_count_not_times_three", {0, 0, 4, 3}, 12},
                      FailureCase{"width_below_origin", {5, 0, 4, 3}, 36},
                      FailureCase{"height_below_origin", {0, 4, 4, 3}, 36},
                      // 0x55555556 * 3 wraps to 2 in 32 bits.
                      FailureCase{"wrapping_product", {0, 0, 0x55555556u, 1}, 2}),
    [](const auto& param) { return std::string(param.param.name); });

TEST(LensDirectionsEmpty, ZeroExtentSucceedsAndWritesNothing) {
  const Lens lens{200.f, 200.f, 4.f, 3.f, 0, 0, 0, 0, 0};
  const uint32_t roi[4] = {0, 0, 0, 3};
  float sentinel = -7.0f;
  EXPECT_EQ(kelvora_updateDirections(&sentinel, 0, lens.data(), roi), status::kSuccess);
  EXPECT_EQ(sentinel, -7.0f);
}

TEST(LensDirectionsOrigin, ExtentEqualToOriginIsAccepted) {
  const Lens lens{200.f, 200.f, 1.f, 1.f, 0, 0, 0, 0, 0};
  const uint32_t roi[4] = {2, 2, 2, 2};
  std::vector<float> out(12);
  EXPECT_EQ(kelvora_updateDirections(out.data(), 12, lens.data(), roi), status::kSuccess);
}

}  // namespace
}  // namespace kelvora
