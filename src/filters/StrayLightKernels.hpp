#pragma once
// Vector kernels of the stray-light correction, templates over the backend tag
// so tests can run them on every compiled backend. Complex values are kissfft
// pairs (re, im) stored back to back, read as plain floats.
#include <kissfft/kiss_fft.h>

#include <cstddef>
#include <cstdint>

#include "simd/Simd.hpp"

namespace kelvora {

static_assert(sizeof(kiss_fft_cpx) == 2 * sizeof(float), "kissfft must be built for float");

// One padded row: re/im of w pixels into out[ox .. ox+w), the first pixel
// replicated into out[0 .. ox) and the last into out[ox+w .. width).
template <class D>
void padRowStrayLight(D d, const float* re, const float* im, uint32_t w, uint32_t ox,
                      uint32_t width, kiss_fft_cpx* out) {
  const kiss_fft_cpx first{re[0], im[0]};
  const kiss_fft_cpx last{re[w - 1], im[w - 1]};
  for (uint32_t j = 0; j < ox; ++j) out[j] = first;
  float* dst = reinterpret_cast<float*>(out + ox);
  uint32_t x = 0;
  for (; x + simd::kLanes <= w; x += simd::kLanes) {
    const auto r = LoadU(d, re + x);
    const auto i = LoadU(d, im + x);
    StoreU(InterleaveLower(r, i), d, dst + 2 * x);
    StoreU(InterleaveUpper(r, i), d, dst + 2 * x + 4);
  }
  for (; x < w; ++x) out[ox + x] = kiss_fft_cpx{re[x], im[x]};
  for (uint32_t j = ox + w; j < width; ++j) out[j] = last;
}

// bins[k] *= factor[k] for both parts, four bins per step.
template <class D>
void multiplySpectrumStrayLight(D d, kiss_fft_cpx* bins, const float* factor, std::size_t count) {
  float* b = reinterpret_cast<float*>(bins);
  std::size_t k = 0;
  for (; k + simd::kLanes <= count; k += simd::kLanes) {
    const auto f = LoadU(d, factor + k);
    float* p = b + 2 * k;
    StoreU(Mul(LoadU(d, p), InterleaveLower(f, f)), d, p);
    StoreU(Mul(LoadU(d, p + 4), InterleaveUpper(f, f)), d, p + 4);
  }
  for (; k < count; ++k) {
    bins[k].r = bins[k].r * factor[k];
    bins[k].i = bins[k].i * factor[k];
  }
}

// re[x] = scale * row[x].r and im[x] = scale * row[x].i for x < w.
template <class D>
void writeBackRowStrayLight(D d, const kiss_fft_cpx* row, uint32_t w, float scale, float* re,
                            float* im) {
  const float* src = reinterpret_cast<const float*>(row);
  const auto s = Set(d, scale);
  uint32_t x = 0;
  for (; x + simd::kLanes <= w; x += simd::kLanes) {
    const auto lo = LoadU(d, src + 2 * x);
    const auto hi = LoadU(d, src + 2 * x + 4);
    StoreU(Mul(s, ConcatEven(hi, lo)), d, re + x);
    StoreU(Mul(s, ConcatOdd(hi, lo)), d, im + x);
  }
  for (; x < w; ++x) {
    re[x] = scale * row[x].r;
    im[x] = scale * row[x].i;
  }
}

}  // namespace kelvora
