#include "filters/Filter2Freq.hpp"

#include <cmath>
#include <cstring>

#include "core/TwoFrequencyUnwrap.hpp"

namespace kelvora {

namespace {

constexpr float kHalfSpeedOfLight = 149852320.0f;

// floor(v / R) as truncation of v * (1/R), stepped down by one where the
// truncation went up. Values beyond the int32 range are already integral (or
// not finite) and are kept as they are.
float floorTimes(float v, float invRange) {
  const float q = v * invRange;
  if (!(std::fabs(q) < 2147483648.0f)) return q;
  const float t = static_cast<float>(static_cast<int32_t>(q));
  return t > q ? t - 1.0f : t;
}

float wrapCentred(float v, const Filter2FreqConstants& c) {
  return v - floorTimes(v, c.invRange) * c.range - c.half;
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
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float d = scratch[static_cast<std::size_t>(y) * width + x];
      int keep = 1;  // the pixel votes for itself
      int plus = 0;
      int minus = 0;
      for (int ny = y - 1; ny <= y + 1; ++ny) {
        if (ny < 0 || ny >= height) continue;
        for (int nx = x - 1; nx <= x + 1; ++nx) {
          if (nx < 0 || nx >= width || (nx == x && ny == y)) continue;
          const float e = (d + c.half) - scratch[static_cast<std::size_t>(ny) * width + nx];
          if (std::fabs(wrapCentred(e, c)) < c.threshold) {
            ++keep;
          } else if (std::fabs(wrapCentred(e + c.shift, c)) < c.threshold) {
            ++plus;
          } else if (std::fabs(wrapCentred(e - c.shift, c)) < c.threshold) {
            ++minus;
          }
        }
      }
      float correction = 0.0f;
      bool corrected = false;
      if (keep < plus) {
        correction = plus < minus ? -c.shift : c.shift;
        corrected = true;
      } else if (minus > keep) {
        correction = -c.shift;
        corrected = true;
      }
      float& out = distance[static_cast<std::size_t>(y) * width + x];
      if (!corrected) {
        out = d;
        continue;
      }
      const float v = d + correction;
      float wrapped = v - floorTimes(v, c.invRange) * c.range;
      // Rounding at the ends of the period can land on -0..-ulp or on R itself;
      // the result is defined to lie in [0, R).
      if (wrapped < 0.0f) wrapped += c.range;
      if (wrapped >= c.range) wrapped -= c.range;
      out = wrapped;
    }
  }
}

}  // namespace kelvora
