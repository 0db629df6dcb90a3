#include "calibration/PchipInterpolation.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "calibration/PchipReference.hpp"

namespace kelvora {
namespace {

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

TEST_P(PchipProfiles, MatchesDoublePrecisionPchip) {
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
  const float lo = p.x.front(), hi = p.x.back();
  for (int k = 0; k <= 1000; ++k) {
    const float t = lo + (hi - lo) * static_cast<float>(k) / 1000.0f;
    if (t > hi) continue;
    EXPECT_NEAR(kelvora_cinterpol_def(h.get(), t, -1.0f), ref(t, -1.0), tol) << "t=" << t;
  }
  for (std::size_t i = 0; i < p.x.size(); ++i) {
    EXPECT_NEAR(kelvora_cinterpol_def(h.get(), p.x[i], -1.0f), p.y[i], tol);
  }
}

TEST_P(PchipProfiles, OutsideTheSupportGivesTheDefault) {
  const Profile& p = GetParam();
  const Handle h = make(p.x, p.y);
  const float below = std::nextafter(p.x.front(), -1e30f);
  const float above = std::nextafter(p.x.back(), 1e30f);
  EXPECT_EQ(kelvora_cinterpol_def(h.get(), below, 1e20f), 1e20f);
  EXPECT_EQ(kelvora_cinterpol_def(h.get(), above, 1e20f), 1e20f);
  EXPECT_EQ(kelvora_cinterpol_def(h.get(), NAN, 5.0f), 5.0f);
}

TEST_P(PchipProfiles, NoOvershootBetweenSupportPoints) {
  const Profile& p = GetParam();
  const Handle h = make(p.x, p.y);
  for (std::size_t i = 0; i + 1 < p.x.size(); ++i) {
    const float lo = std::min(p.y[i], p.y[i + 1]), hi = std::max(p.y[i], p.y[i + 1]);
    const float slack = 1e-5f * (1.0f + std::fabs(hi));
    for (int k = 0; k <= 64; ++k) {
      const float t = p.x[i] + (p.x[i + 1] - p.x[i]) * static_cast<float>(k) / 64.0f;
      if (t > p.x[i + 1]) continue;
      const float v = kelvora_cinterpol_def(h.get(), t, 0.0f);
      EXPECT_GE(v, lo - slack) << "interval " << i << " t=" << t;
      EXPECT_LE(v, hi + slack) << "interval " << i << " t=" << t;
    }
  }
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

TEST(PchipShape, TurningPointHasZeroSlope) {
  const Handle h = make({0, 1, 2, 3, 4}, {0, 2, 5, 3, 1});
  EXPECT_EQ(h->slopes[2], 0.0f);
  // Flat neighbours (secant below 1e-8) are treated as a turning point too.
  const Handle flat = make({0, 1, 2, 3}, {1, 2, 2, 3});
  EXPECT_EQ(flat->slopes[1], 0.0f);
  EXPECT_EQ(flat->slopes[2], 0.0f);
}

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

// With equal spacing the end formula is d = (3 * near - far) / 2.
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

}  // namespace
}  // namespace kelvora
