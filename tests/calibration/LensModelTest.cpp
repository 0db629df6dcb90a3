// The lens model: per-pixel viewing directions, the shape-preserving cubic
// interpolation of the scatter profile and the stray-light kernel built from
// it, each against a double-precision reference (PchipReference.hpp).
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "CalibrationTestSupport.hpp"
#include "PchipReference.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/LensDirections.hpp"
#include "calibration/PchipInterpolation.hpp"
#include "calibration/PointSpreadFunction.hpp"

namespace kelvora {
namespace {

using testing::CalibrationPtr;
using Lens = std::array<float, 9>;  // fx fy cx cy k1 k2 p1 p2 k3

TEST(LensDirections, MatchDoublePrecisionUndistortion) {
  const struct {
    Lens lens;
    uint32_t width, height;
  } cases[] = {{{210.f, 210.f, 111.5f, 85.5f, 0, 0, 0, 0, 0}, 224, 172},
               {{208.3f, 209.1f, 112.7f, 84.2f, -0.28f, 0.09f, 1.2e-3f, -7e-4f, -0.012f}, 224, 172},
               {{120.f, 118.f, 40.f, 30.f, 0.12f, -0.02f, -2e-3f, 1e-3f, 0.001f}, 81, 59}};
  for (auto p : cases) {
    const uint32_t roi[4] = {0, 0, p.width, p.height};
    std::vector<float> rays(p.width * p.height * 3);
    ASSERT_EQ(kelvora_updateDirections(rays.data(), rays.size(), p.lens.data(), roi),
              status::kSuccess);
    // Float rounding of 15 fixed-point steps and the normalisation: a few
    // ulp of a unit vector.
    double worst = 0;
    for (uint32_t i = 0; i < p.width * p.height; ++i) {
      const auto want = testref::ray(p.lens.data(), i % p.width, i / p.width, 15);
      for (int k = 0; k < 3; ++k) worst = std::max(worst, std::fabs(rays[3 * i + k] - want[k]));
    }
    EXPECT_LT(worst, 1e-6) << "fx " << p.lens[0];
  }
}

// ---------------------------------------------------------------------------
// Shape-preserving cubic interpolation.

struct HandleDeleter {
  void operator()(KelvoraPolyHandle* h) const { kelvora_freePoly(h); }
};
using Handle = std::unique_ptr<KelvoraPolyHandle, HandleDeleter>;

Handle make(const std::vector<float>& x, const std::vector<float>& y) {
  return Handle(kelvora_createPolyHandle(x.data(), y.data(), static_cast<int32_t>(x.size())));
}

// The profiles reach every branch of the slopes: flat and turning interior
// points, equal and uneven spacing, and at both ends the one-sided slope
// kept, set to 0 against the data, and clamped to three times the interval's
// next to an extremum.
TEST(Pchip, MatchesDoublePrecisionPchipInsideItsSupportOnly) {
  const std::vector<std::vector<float>> profiles[] = {
      // A typical scatter profile: exponent values rising with the radius.
      {{0, 1.5f, 3, 6, 12, 25, 50, 90}, {0, 0.4f, 0.9f, 1.8f, 3.1f, 5.0f, 7.5f, 9.9f}},
      {{0, 0.5f, 2, 2.5f, 7, 8}, {1, 1, 1, 4, 4.5f, 9}},
      {{0, 1, 2, 3}, {0, 1, 10, 10.5f}},  // both ends against the data
      {{0, 1, 2, 3}, {0, 1, -4, -4.5f}},  // start clamped
      {{0, 1, 2, 3}, {-4.5f, -4, 1, 0}},  // end clamped
      {{1, 4}, {2, -1}}};                 // two points: a line
  for (const auto& p : profiles) {
    const std::vector<float>&x = p[0], &y = p[1];
    SCOPED_TRACE(::testing::Message() << x.size() << " points, y[2] = " << y[1]);
    const Handle h = make(x, y);
    const testref::Pchip ref({x.begin(), x.end()}, {y.begin(), y.end()});
    double yMax = 0;
    for (size_t i = 0; i < x.size(); ++i) {
      EXPECT_NEAR(h->slopes[i], ref.m[i], 1e-5 * (1 + std::fabs(ref.m[i]))) << "slope " << i;
      yMax = std::max(yMax, std::fabs(double{y[i]}));
    }
    for (size_t i = 0; i + 1 < x.size(); ++i) {
      // Shape preservation: no value outside the interval's end values.
      const float lo = std::min(y[i], y[i + 1]), hi = std::max(y[i], y[i + 1]);
      const float slack = 1e-5f * (1.0f + std::fabs(hi));
      for (int k = 0; k <= 100; ++k) {
        const float t =
            std::min(x[i] + (x[i + 1] - x[i]) * static_cast<float>(k) / 100.0f, x[i + 1]);
        const float v = kelvora_cinterpol_def(h.get(), t, -1.0f);
        // Float evaluation of a cubic in nested form: a few ulp of the values.
        EXPECT_NEAR(v, ref(t, -1.0), 2e-6 * (1 + yMax)) << "t=" << t;
        EXPECT_TRUE(v >= lo - slack && v <= hi + slack) << "interval " << i << " t=" << t;
      }
    }
    EXPECT_EQ(kelvora_cinterpol_def(h.get(), std::nextafter(x.front(), -1e30f), 1e20f), 1e20f);
    EXPECT_EQ(kelvora_cinterpol_def(h.get(), std::nextafter(x.back(), 1e30f), 1e20f), 1e20f);
    EXPECT_EQ(kelvora_cinterpol_def(h.get(), NAN, 5.0f), 5.0f);
  }
  const float one = 1.0f;
  for (int32_t n : {0, 1}) {
    const Handle h(kelvora_createPolyHandle(&one, &one, n));
    EXPECT_EQ(kelvora_cinterpol_def(h.get(), 1.0f, 42.0f), 42.0f) << n << " points";
  }
}

// ---------------------------------------------------------------------------
// Stray-light kernel.

CalibrationPtr withModel(const testref::ScatterModel* m, uint32_t w = 8, uint32_t h = 6) {
  CalibrationPtr c = testing::syntheticRecord(6, 5);
  c->psfScale = static_cast<float>(m->scale);
  c->psfExponent = static_cast<float>(m->exponent);
  c->psfOffset = static_cast<float>(m->offset);
  c->psfCentre = static_cast<float>(m->centre);
  c->psfWidth = w;
  c->psfHeight = h;
  c->psfPointCount = static_cast<uint8_t>(m->radii.size());
  for (size_t i = 0; i < m->radii.size(); ++i) {
    c->psfRadii[i] = static_cast<float>(m->radii[i]);
    c->psfValues[i] = static_cast<float>(m->values[i]);
  }
  return c;
}

// Every bin against 1 / (1 + naive DFT of the kernel sampled in double on
// the wrap-around grid). The float transform of samples below 0.1 is
// accurate to a few 1e-7; the reciprocal of a value near 1 keeps that.
TEST(PsfKernel, MatchesNaiveDftInDouble) {
  testref::ScatterModel thirteenPoints{0.01, 2.0, 0.0, 0.04, {}, {}};  // the most a file holds
  for (int i = 1; i <= 13; ++i) {
    thirteenPoints.radii.push_back(0.7 * i);
    thirteenPoints.values.push_back(0.27 * i);
  }
  const struct {
    uint32_t width, height;
    testref::ScatterModel model;
  } cases[] = {{10, 7, {0.015, 1.5, 1e-4, 0.03, {1, 2.5, 4, 6}, {0.2, 1.0, 1.5, 2.9}}},
               // Cutoff below the largest distance: the corners are zero.
               {9, 5, {0.04, 2.0, 0.0, 0.02, {1, 2, 2.8}, {0.1, 0.8, 1.3}}},
               // One row: the columns lie at wrap-around distances 0, 1, 2, 1.
               {4, 1, {0.05, 2.0, 0.0, 0.07, {1, 2.5}, {0.5, 1.25}}},
               {12, 12, thirteenPoints}};
  for (const auto& p : cases) {
    SCOPED_TRACE(::testing::Message() << p.width << " x " << p.height);
    CalibrationPtr c = withModel(&p.model, p.width, p.height);
    ASSERT_EQ(kelvora_allocateAndCalculatePsf(c.get()), status::kSuccess);
    const std::vector<double> k = testref::scatterKernel(p.model, p.width, p.height);
    std::vector<double> re, im;
    testref::naiveDft2(k, std::vector<double>(k.size(), 0.0), p.width, p.height, -1, re, im);
    for (size_t b = 0; b < re.size(); ++b) {
      EXPECT_NEAR(c->psf[b], 1.0 / (1.0 + re[b]), 2e-6) << "bin " << b;
    }
    // The record keeps the profile with the origin in front.
    EXPECT_EQ(c->psfPointCount, p.model.radii.size() + 1);
    EXPECT_EQ((std::vector<float>{c->psfRadii[0], c->psfValues[0], c->psfRadii[1]}),
              (std::vector<float>{0, 0, static_cast<float>(p.model.radii[0])}));
  }
}

}  // namespace
}  // namespace kelvora
