#pragma once
// The per-value parts of the stray-light correction. Complex values are
// pairs (re, im) stored back to back, as the FFT library keeps them.
#include <cstddef>
#include <cstdint>

#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

// One padded row of `width` complex values: re/im of w pixels into
// out[ox .. ox + w), the first pixel replicated into out[0 .. ox) and the
// last into out[ox + w .. width).
template <class D>
void PadRowKernel(D d, const float* re, const float* im, uint32_t w, uint32_t ox, uint32_t width,
                  float* out) {
  for (uint32_t j = 0; j < ox; ++j) {
    out[2 * j] = re[0];
    out[2 * j + 1] = im[0];
  }
  float* inside = out + 2 * ox;
  simd::ForEachGroup(d, 0, w, [&](auto g, std::size_t x) {
    const auto r = g.Load(d, re + x);
    const auto i = g.Load(d, im + x);
    g.StorePair(d, InterleaveLower(r, i), InterleaveUpper(r, i), inside + 2 * x);
  });
  for (uint32_t j = ox + w; j < width; ++j) {
    out[2 * j] = re[w - 1];
    out[2 * j + 1] = im[w - 1];
  }
}

// bins[k] *= factor[k] for both parts of `count` complex bins.
template <class D>
void MultiplySpectrumKernel(D d, float* bins, const float* factor, std::size_t count) {
  simd::ForEachGroup(d, 0, count, [&](auto g, std::size_t k) {
    const auto f = g.Load(d, factor + k);
    decltype(Zero(d)) lo, hi;
    g.LoadPair(d, bins + 2 * k, lo, hi);
    g.StorePair(d, Mul(lo, InterleaveLower(f, f)), Mul(hi, InterleaveUpper(f, f)), bins + 2 * k);
  });
}

// re[x] = scale * row[x].re and im[x] = scale * row[x].im for x < w.
template <class D>
void WriteBackRowKernel(D d, const float* row, uint32_t w, float scale, float* re, float* im) {
  const auto s = Set(d, scale);
  simd::ForEachGroup(d, 0, w, [&](auto g, std::size_t x) {
    decltype(Zero(d)) lo, hi;
    g.LoadPair(d, row + 2 * x, lo, hi);
    g.Store(d, Mul(s, ConcatEven(hi, lo)), re + x);
    g.Store(d, Mul(s, ConcatOdd(hi, lo)), im + x);
  });
}

}  // namespace kelvora::KELVORA_TARGET
