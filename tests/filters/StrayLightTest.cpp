#include "filters/StrayLight.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraParameter.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "calibration/PchipReference.hpp"
#include "calibration/PointSpreadFunction.hpp"

namespace kelvora {
namespace {

// A calibration of w x h pixels with a W x H kernel, and the scratch the
// engine would make for it.
struct Fixture {
  KelvoraCalibration* calibration = nullptr;
  KelvoraIntermediate* intermediate = nullptr;
  uint32_t w, h, kw, kh;

  Fixture(uint32_t width, uint32_t height, uint32_t kernelWidth, uint32_t kernelHeight)
      : w(width), h(height), kw(kernelWidth), kh(kernelHeight) {
    calibration = allocateCalibration(w * h);
    const uint32_t roi[4] = {0, 0, w, h};
    std::memcpy(calibration->calibrationROI, roi, sizeof roi);
    calibration->psfWidth = kw;
    calibration->psfHeight = kh;
  }
  ~Fixture() {
    kelvoraIntermediateFree(intermediate);
    kelvora_freeCalibration(calibration);
  }
  Fixture(const Fixture&) = delete;
  Fixture& operator=(const Fixture&) = delete;

  void setPsf(const std::vector<double>& psf) {
    calibration->psf = static_cast<float*>(std::malloc(sizeof(float) * kw * kh));
    for (std::size_t k = 0; k < psf.size(); ++k) calibration->psf[k] = static_cast<float>(psf[k]);
  }

  void init() {
    KelvoraParameter p{};
    p.width = w;
    p.height = h;
    p.numFreqs = 1;
    p.freq1 = 80000000;
    ASSERT_EQ(kelvoraIntermediateInit(&p, calibration, &intermediate), 0);
    ASSERT_NE(intermediate->strayLight.forwardPlan, nullptr);
  }

  KelvoraIntermediateProbeData& probe() { return intermediate->probeData[0]; }

  void load(const std::vector<double>& re, const std::vector<double>& im) {
    for (uint32_t i = 0; i < w * h; ++i) {
      probe().real[i] = static_cast<float>(re[i]);
      probe().imag[i] = static_cast<float>(im[i]);
    }
  }

  void run() { removeStrayLight(&probe(), &intermediate->strayLight, calibration); }
};

// Raw-signal-like values: a few hundred counts with structure and sign.
void makeSignal(uint32_t n, uint32_t seed, std::vector<double>& re, std::vector<double>& im) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> u(-400.0, 900.0);
  re.resize(n);
  im.resize(n);
  for (uint32_t i = 0; i < n; ++i) {
    re[i] = std::round(u(rng));
    im[i] = std::round(u(rng));
  }
}

double maxAbs(const std::vector<double>& v) {
  double m = 0;
  for (double x : v) m = std::max(m, std::fabs(x));
  return m;
}

// out = a circularly convolved with the kernel k, both w x h and complex,
// sum by sum in double.
void circularConvolve(const std::vector<double>& ar, const std::vector<double>& ai,
                      const std::vector<double>& kr, const std::vector<double>& ki, uint32_t w,
                      uint32_t h, std::vector<double>& outRe, std::vector<double>& outIm) {
  outRe.assign(w * h, 0.0);
  outIm.assign(w * h, 0.0);
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = 0; x < w; ++x) {
      double sr = 0, si = 0;
      for (uint32_t v = 0; v < h; ++v) {
        for (uint32_t t = 0; t < w; ++t) {
          const std::size_t g = ((y + h - v) % h) * w + (x + w - t) % w;
          const double pr = ar[v * w + t], pi = ai[v * w + t];
          sr += pr * kr[g] - pi * ki[g];
          si += pr * ki[g] + pi * kr[g];
        }
      }
      outRe[y * w + x] = sr;
      outIm[y * w + x] = si;
    }
  }
}

struct Size {
  uint32_t w, h, kw, kh;
};

class StrayLightSizes : public ::testing::TestWithParam<Size> {};

// Two float transforms of a W x H image: relative error a few 1e-7 of the
// largest value times log2(W H); 1e-5 leaves room without hiding a wrong bin.
constexpr double kTransformTolerance = 1e-5;

// Reference: pad in double by the documented rule (edge replication, the odd
// row at the bottom and the odd column at the right), then convolve
// circularly with the spatial kernel of the psf.
TEST_P(StrayLightSizes, MatchesDirectCircularConvolutionOfThePaddedImage) {
  const Size s = GetParam();
  Fixture f(s.w, s.h, s.kw, s.kh);
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> u(0.6, 1.0);
  std::vector<double> psf(s.kw * s.kh);
  for (double& v : psf) v = u(rng);
  f.setPsf(psf);
  f.init();
  std::vector<double> re, im;
  makeSignal(s.w * s.h, 3, re, im);
  f.load(re, im);
  f.run();

  const uint32_t ox = (s.kw - s.w) / 2, top = (s.kh - s.h) / 2;
  std::vector<double> pr(s.kw * s.kh), pi(s.kw * s.kh);
  for (uint32_t y = 0; y < s.kh; ++y) {
    const uint32_t sy = y < top ? 0 : std::min(y - top, s.h - 1);
    for (uint32_t x = 0; x < s.kw; ++x) {
      const uint32_t sx = x < ox ? 0 : std::min(x - ox, s.w - 1);
      pr[y * s.kw + x] = re[sy * s.w + sx];
      pi[y * s.kw + x] = im[sy * s.w + sx];
    }
  }
  // Spatial kernel g = inverse DFT of the (float-stored) psf, normalised.
  std::vector<double> psfStored(psf.size());
  for (std::size_t k = 0; k < psf.size(); ++k) {
    psfStored[k] = f.calibration->psf[k] / (s.kw * s.kh);
  }
  std::vector<double> gr, gi, cr, ci;
  testref::naiveDft2(psfStored, std::vector<double>(psf.size(), 0.0), s.kw, s.kh, +1, gr, gi);
  circularConvolve(pr, pi, gr, gi, s.kw, s.kh, cr, ci);

  const double tol = kTransformTolerance * std::max(maxAbs(re), maxAbs(im));
  for (uint32_t y = 0; y < s.h; ++y) {
    for (uint32_t x = 0; x < s.w; ++x) {
      const std::size_t i = y * s.w + x, o = (y + top) * s.kw + x + ox;
      ASSERT_NEAR(f.probe().real[i], cr[o], tol) << x << "," << y;
      ASSERT_NEAR(f.probe().imag[i], ci[o], tol) << x << "," << y;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Padding, StrayLightSizes,
                         ::testing::Values(Size{8, 6, 8, 6},      // no padding
                                           Size{5, 3, 8, 6},      // odd padding both ways
                                           Size{6, 4, 9, 7},      // odd, non-power-of-two kernel
                                           Size{1, 1, 4, 3},      // single pixel
                                           Size{13, 9, 16, 12}),  // row tails of the kernels
                         [](const auto& param) {
                           const Size s = param.param;
                           return std::to_string(s.w) + "x" + std::to_string(s.h) + "_in_" +
                                  std::to_string(s.kw) + "x" + std::to_string(s.kh);
                         });

}  // namespace
}  // namespace kelvora
