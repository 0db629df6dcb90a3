#pragma once
// Double-precision references for the lens-model tests: the undistorted
// viewing ray, shape-preserving cubic Hermite interpolation and the scatter
// kernel sampled on a wrap-around grid, written from the textbook definitions
// rather than from our code.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace kelvora::testref {

// The unit ray of pixel (column, row) under lens (fx fy cx cy k1 k2 p1 p2 k3):
// `passes` fixed-point steps of the Brown-Conrady undistortion.
inline std::array<double, 3> ray(const float* lens, double column, double row, int passes) {
  const double x0 = (column - lens[2]) / lens[0], y0 = (row - lens[3]) / lens[1];
  const double k1 = lens[4], k2 = lens[5], p1 = lens[6], p2 = lens[7], k3 = lens[8];
  double x = x0, y = y0;
  for (int it = 0; it < passes; ++it) {
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

inline int sgn(double v) {
  return (v > 0) - (v < 0);
}

struct Pchip {
  std::vector<double> x, y, m;

  Pchip(std::vector<double> xs, std::vector<double> ys) : x(std::move(xs)), y(std::move(ys)) {
    const std::size_t n = x.size();
    m.assign(n, 0.0);
    if (n < 2) return;
    std::vector<double> h(n - 1), del(n - 1);
    for (std::size_t i = 0; i + 1 < n; ++i) {
      h[i] = x[i + 1] - x[i];
      del[i] = (y[i + 1] - y[i]) / h[i];
    }
    if (n == 2) {
      m[0] = m[1] = del[0];
      return;
    }
    for (std::size_t i = 1; i + 1 < n; ++i) {
      const double d1 = del[i - 1], d2 = del[i], h1 = h[i - 1], h2 = h[i];
      if (std::fabs(d1) < 1e-8 || std::fabs(d2) < 1e-8 || d1 * d2 < 0) {
        m[i] = 0;
      } else if (std::fabs(h2 - h1) < 1e-8) {
        m[i] = 2.0 * d1 * d2 / (d1 + d2);  // harmonic mean
      } else {
        const double w1 = h1 + 2 * h2, w2 = 2 * h1 + h2;  // Fritsch-Butland weights
        m[i] = 3 * (h1 + h2) / (w1 / d1 + w2 / d2);
      }
    }
    m[0] = endSlope(h[0], h[1], del[0], del[1]);
    m[n - 1] = endSlope(h[n - 2], h[n - 3], del[n - 2], del[n - 3]);
  }

  // Three-point one-sided slope at an end, with the monotonicity fixes.
  static double endSlope(double hNear, double hFar, double dNear, double dFar) {
    double d = ((2 * hNear + hFar) * dNear - hNear * dFar) / (hNear + hFar);
    if (sgn(d) != sgn(dNear)) {
      d = 0;
    } else if (sgn(dNear) != sgn(dFar) && std::fabs(d) > std::fabs(3 * dNear)) {
      d = 3 * dNear;
    }
    return d;
  }

  double operator()(double t, double def) const {
    for (std::size_t i = 0; i + 1 < x.size(); ++i) {
      if (t < x[i] || t > x[i + 1]) continue;
      // Hermite basis form, not the nested power form.
      const double h = x[i + 1] - x[i], s = (t - x[i]) / h;
      const double h00 = (1 + 2 * s) * (1 - s) * (1 - s), h10 = s * (1 - s) * (1 - s);
      const double h01 = s * s * (3 - 2 * s), h11 = s * s * (s - 1);
      return h00 * y[i] + h10 * h * m[i] + h01 * y[i + 1] + h11 * h * m[i + 1];
    }
    return def;
  }
};

struct ScatterModel {
  double scale, exponent, offset, centre;
  std::vector<double> radii, values;  // as read, without the origin
};

// Spatial scatter kernel of H rows by W columns, centred on (0, 0).
inline std::vector<double> scatterKernel(const ScatterModel& s, std::size_t width,
                                         std::size_t height) {
  std::vector<double> rx{0.0}, vy{0.0};
  rx.insert(rx.end(), s.radii.begin(), s.radii.end());
  vy.insert(vy.end(), s.values.begin(), s.values.end());
  const Pchip profile(rx, vy);
  const double cutoff = rx.back();
  std::vector<double> k(width * height);
  for (std::size_t i = 0; i < height; ++i) {
    const double di = static_cast<double>(std::min(i, height - i));
    for (std::size_t j = 0; j < width; ++j) {
      const double dj = static_cast<double>(std::min(j, width - j));
      const double r =
          std::pow(std::pow(di, s.exponent) + std::pow(dj, s.exponent), 1 / s.exponent);
      double v = r > cutoff ? 0.0 : s.scale * std::exp(-profile(r, 1e20));
      if (s.offset != 0) v += s.offset;
      k[i * width + j] = v;
    }
  }
  k[0] = s.centre;
  return k;
}

// Naive 2-D DFT (sign -1 forward, +1 inverse, unnormalised).
inline void naiveDft2(const std::vector<double>& re, const std::vector<double>& im,
                      std::size_t width, std::size_t height, int sign, std::vector<double>& outRe,
                      std::vector<double>& outIm) {
  const double pi = 3.14159265358979323846;
  outRe.assign(width * height, 0.0);
  outIm.assign(width * height, 0.0);
  for (std::size_t u = 0; u < height; ++u) {
    for (std::size_t v = 0; v < width; ++v) {
      double sr = 0, si = 0;
      for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) {
          const double a = sign * 2 * pi *
                           (static_cast<double>((u * y) % height) / height +
                            static_cast<double>((v * x) % width) / width);
          const double c = std::cos(a), s = std::sin(a);
          const double r = re[y * width + x], i = im[y * width + x];
          sr += r * c - i * s;
          si += r * s + i * c;
        }
      }
      outRe[u * width + v] = sr;
      outIm[u * width + v] = si;
    }
  }
}

}  // namespace kelvora::testref
