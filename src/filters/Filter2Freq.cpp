#include "filters/Filter2Freq.hpp"

#include <cmath>
#include <cstring>

#include "core/TwoFrequencyUnwrap.hpp"
#include "filters/FilterKernels.hpp"

namespace kelvora {

namespace {

constexpr float kHalfSpeedOfLight = 149852320.0f;

// floor(v / R) as the vector form computes it: truncation of v * (1/R),
// stepped down where it went up; values beyond the int32 range kept.
float floorInRanges(float v, const Filter2FreqConstants& c) {
  const float q = v * c.invRange;
  if (!(std::fabs(q) < 2147483648.0f)) return q;
  const float t = static_cast<float>(static_cast<int32_t>(q));
  return t > q ? t - 1.0f : t;
}

float wrapCentred(float v, const Filter2FreqConstants& c) {
  return v - floorInRanges(v, c) * c.range - c.half;
}

// d moved by a correction and wrapped into [0, R).
float corrected(float d, float correction, const Filter2FreqConstants& c) {
  const float v = d + correction;
  float wrapped = v - floorInRanges(v, c) * c.range;
  if (wrapped < 0.0f) wrapped += c.range;
  if (wrapped >= c.range) wrapped -= c.range;
  return wrapped;
}

// One pixel with the neighbours that exist; reads scratch only. Only the
// pixels the vector kernel leaves (the first and last columns, and single
// rows or columns) come here; the kernel casts the same votes.
float borderPixel(const float* scratch, int width, int height, int x, int y,
                  const Filter2FreqConstants& c) {
  const float d = scratch[static_cast<std::size_t>(y) * width + x];
  // Each correction gets at most neighbours + 1 - keep votes, and no change
  // wins ties: once keep reaches half of neighbours + 1 the pixel stays.
  const int rows = 1 + (y > 0 ? 1 : 0) + (y + 1 < height ? 1 : 0);
  const int columns = 1 + (x > 0 ? 1 : 0) + (x + 1 < width ? 1 : 0);
  const int enough = (rows * columns + 1) / 2;
  int keep = 1;  // the pixel votes for itself
  int plus = 0;
  int minus = 0;
  for (int ny = y - 1; ny <= y + 1; ++ny) {
    if (ny < 0 || ny >= height) continue;
    for (int nx = x - 1; nx <= x + 1; ++nx) {
      if (nx < 0 || nx >= width || (nx == x && ny == y)) continue;
      const float e = (d + c.half) - scratch[static_cast<std::size_t>(ny) * width + nx];
      if (std::fabs(wrapCentred(e, c)) < c.threshold) {
        if (++keep >= enough) return d;
      } else if (std::fabs(wrapCentred(e + c.shift, c)) < c.threshold) {
        ++plus;
      } else if (std::fabs(wrapCentred(e - c.shift, c)) < c.threshold) {
        ++minus;
      }
    }
  }
  if (keep < plus) return corrected(d, plus < minus ? -c.shift : c.shift, c);
  if (minus > keep) return corrected(d, -c.shift, c);
  return d;
}

}  // namespace

Filter2FreqConstants filter2FreqConstants(uint32_t freq1, uint32_t freq2) {
  const uint32_t a = freq1;
  const uint32_t b = freq2;
  Filter2FreqConstants c{};
  uint32_t s = 0;
  uint32_t t = 0;
  c.gcd = zyn_extendedGCD(b, a, &s, &t);
  c.coefficient = static_cast<int32_t>(s);
  c.K = static_cast<float>(c.coefficient) * static_cast<float>(b / c.gcd) - 0.5f;
  const float D = static_cast<float>(b) * kInvHalfSpeedOfLight *
                  static_cast<float>(static_cast<int32_t>(a) / static_cast<int32_t>(c.gcd));
  c.shift = c.K / D;
  c.threshold = 1.0f / D;
  c.range = kHalfSpeedOfLight / static_cast<float>(c.gcd);
  c.invRange = 1.0f / c.range;
  c.half = 0.5f * c.range;
  return c;
}

void filter2Freq(int width, int height, uint32_t freq1, uint32_t freq2, float* scratch,
                 float* distance) {
  if (width <= 0 || height <= 0 || freq1 == 0 || freq2 == 0) return;
  const Filter2FreqConstants c = filter2FreqConstants(freq1, freq2);
  std::memcpy(scratch, distance,
              static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * sizeof(float));
  const auto border = [&](int x, int y) {
    distance[static_cast<std::size_t>(y) * width + x] =
        borderPixel(scratch, width, height, x, y, c);
  };
  const bool vectorRows = width >= 3 && height >= 2;
  for (int y = 0; y < height; ++y) {
    if (!vectorRows && (y == 0 || y == height - 1)) {
      for (int x = 0; x < width; ++x) border(x, y);
    } else {
      border(0, y);
      if (width > 1) border(width - 1, y);
    }
  }
  filterKernels().filter2FreqInterior(c, static_cast<uint32_t>(width),
                                      static_cast<uint32_t>(height), scratch, distance);
}

}  // namespace kelvora
