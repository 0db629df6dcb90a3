#pragma once
// The pair-wise 3x3 median, once as plain scalar code and once with one pair
// of output columns per vector lane. Both run the same min/max network with
// the same operand order, so they agree bit for bit on every input: which of
// -0 and +0 survives, and which NaN, is decided by that order, not by value.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "simd/Simd.hpp"

namespace kelvora {

namespace median_detail {

// std::min/std::max(a, b), whose tie and NaN rule (the first operand unless
// the second compares strictly smaller/greater) the vector Min/Max share.
inline float minOf(float a, float b) {
  return std::min(a, b);
}
inline float maxOf(float a, float b) {
  return std::max(a, b);
}
template <class V>
inline V minOf(V a, V b) {
  return Min(a, b);
}
template <class V>
inline V maxOf(V a, V b) {
  return Max(a, b);
}

// Compare-exchange through min and max rather than a branch: on noisy data a
// branch would mispredict about half the time.
template <class V>
inline void orderPair(V& a, V& b) {
  const V lo = minOf(a, b);
  b = maxOf(a, b);
  a = lo;
}

// The three values of one column, ascending.
template <class V>
struct SortedColumn {
  V v[3];
};

template <class V>
inline SortedColumn<V> sortColumn(V top, V middle, V bottom) {
  SortedColumn<V> c{{top, middle, bottom}};
  orderPair(c.v[0], c.v[1]);
  orderPair(c.v[1], c.v[2]);
  orderPair(c.v[0], c.v[1]);
  return c;
}

inline SortedColumn<float> sortColumn(const float* top, std::size_t stride) {
  return sortColumn(top[0], top[stride], top[2 * stride]);
}

// The two columns the pixels of a pair share, merged ascending.
template <class V>
struct SortedSix {
  V v[6];
};

// Branch-free merge: the k-th smallest of two sorted lists is the smallest,
// over every way of taking k values from the two lists' fronts, of the
// largest value taken.
template <class V>
inline SortedSix<V> mergeColumns(const SortedColumn<V>& x, const SortedColumn<V>& y) {
  const V* a = x.v;
  const V* b = y.v;
  SortedSix<V> m;
  m.v[0] = minOf(a[0], b[0]);
  m.v[1] = minOf(minOf(a[1], b[1]), maxOf(a[0], b[0]));
  m.v[2] = minOf(minOf(a[2], b[2]), minOf(maxOf(a[0], b[1]), maxOf(a[1], b[0])));
  m.v[3] = minOf(maxOf(a[0], b[2]), minOf(maxOf(a[1], b[1]), maxOf(a[2], b[0])));
  m.v[4] = minOf(maxOf(a[1], b[2]), maxOf(a[2], b[1]));
  m.v[5] = maxOf(a[2], b[2]);
  return m;
}

// Fifth smallest of the nine values, by the same rule as the merge: take i
// values from the outer column and 5 - i from the six.
template <class V>
inline V medianOfNine(const SortedSix<V>& m, const SortedColumn<V>& outer) {
  V best = m.v[4];
  best = minOf(best, maxOf(outer.v[0], m.v[3]));
  best = minOf(best, maxOf(outer.v[1], m.v[2]));
  best = minOf(best, maxOf(outer.v[2], m.v[1]));
  return best;
}

// Pairs per interior row; valid for width >= 4. With an odd width the last
// interior column belongs to no pair and keeps its value.
inline std::size_t pairCount(std::size_t width) {
  return ((width - 4) & ~std::size_t{1}) / 2 + 1;
}

// Pairs [first, pairs) of the row below `top`, pair p filling out[1 + 2p] and
// out[2 + 2p]. The last pair reads column 2 * pairs + 1 <= width - 1.
inline void scalarPairs(const float* top, std::size_t width, float* out, std::size_t first,
                        std::size_t pairs) {
  if (first >= pairs) return;
  // Columns x - 1 and x of each pair are x + 1 and x + 2 of the pair before:
  // every column is sorted once.
  SortedColumn<float> left = sortColumn(top + 2 * first, width);
  SortedColumn<float> midLeft = sortColumn(top + 2 * first + 1, width);
  for (std::size_t p = first; p < pairs; ++p) {
    const std::size_t x = 1 + 2 * p;
    const SortedColumn<float> midRight = sortColumn(top + x + 1, width);
    const SortedColumn<float> right = sortColumn(top + x + 2, width);
    const SortedSix<float> shared = mergeColumns(midLeft, midRight);
    out[x] = medianOfNine(shared, left);
    out[x + 1] = medianOfNine(shared, right);
    left = midRight;
    midLeft = right;
  }
}

// Columns `at`, at + 2, at + 4, ... (even) and at + 1, at + 3, ... (odd) of
// the three rows from `top`, each lane's column sorted.
template <class D, class VF = decltype(Zero(D()))>
inline void sortStridedColumns(D d, const float* top, std::size_t width, std::size_t at,
                               SortedColumn<VF>& even, SortedColumn<VF>& odd) {
  VF e[3], o[3];
  for (std::size_t r = 0; r < 3; ++r) {
    const float* row = top + r * width + at;
    const VF lo = LoadU(d, row);
    const VF hi = LoadU(d, row + D::kLanes);
    e[r] = ConcatEven(hi, lo);
    o[r] = ConcatOdd(hi, lo);
  }
  even = sortColumn(e[0], e[1], e[2]);
  odd = sortColumn(o[0], o[1], o[2]);
}

// As many whole steps of one pair per lane as fit from `firstPair`; returns
// the first pair left. Lane k of the step at pair p works on pair p + k, whose
// columns x - 1 .. x + 2 (x = 1 + 2(p + k)) lie at stride 2 from columns
// 2p .. 2p + 3. Reads stay within columns 2p .. 2p + 2 * lanes + 1, which the
// step's last pair reads too.
template <class D, class VF = decltype(Zero(D()))>
inline std::size_t vectorPairs(D d, const float* top, std::size_t width, float* out,
                               std::size_t firstPair, std::size_t pairs) {
  constexpr std::size_t kPairsPerStep = D::kLanes;
  std::size_t p = firstPair;
  for (; p + kPairsPerStep <= pairs; p += kPairsPerStep) {
    SortedColumn<VF> left, midLeft, midRight, right;
    sortStridedColumns(d, top, width, 2 * p, left, midLeft);
    sortStridedColumns(d, top, width, 2 * p + 2, midRight, right);
    const SortedSix<VF> shared = mergeColumns(midLeft, midRight);
    const VF first = medianOfNine(shared, left);
    const VF second = medianOfNine(shared, right);
    float* at = out + 1 + 2 * p;
    StoreU(InterleaveLower(first, second), d, at);
    StoreU(InterleaveUpper(first, second), d, at + kPairsPerStep);
  }
  return p;
}

// Copies data into scratch and runs rowPairs(top, out, pairs) on every
// interior row; images under 3 rows or 4 columns stay as they are.
template <class RowPairs>
inline void forEachInteriorRow(uint32_t width, uint32_t height, float* data, float* scratch,
                               RowPairs rowPairs) {
  const std::size_t w = width;
  std::copy(data, data + w * height, scratch);
  if (height < 3 || width < 4) return;
  const std::size_t pairs = pairCount(w);
  for (std::size_t y = 1; y + 1 < height; ++y) rowPairs(scratch + (y - 1) * w, data + y * w, pairs);
}

}  // namespace median_detail

// The 3x3 median of zyn_mpiFastMedian in plain scalar code: the reference the
// vector form must match bit for bit.
inline void multipathMedianScalar(uint32_t width, uint32_t height, float* data, float* scratch) {
  median_detail::forEachInteriorRow(width, height, data, scratch,
                                    [&](const float* top, float* out, std::size_t pairs) {
                                      median_detail::scalarPairs(top, width, out, 0, pairs);
                                    });
}

#if defined(KELVORA_WIDE_X86)
// median_detail::vectorPairs on the AVX2 (AVX-512) backend, in
// core/WideStages.inl.
std::size_t multipathMedianPairsAvx2(const float* top, std::size_t width, float* out,
                                     std::size_t first, std::size_t pairs);
std::size_t multipathMedianPairsAvx512(const float* top, std::size_t width, float* out,
                                       std::size_t first, std::size_t pairs);
#endif

// The same median, one pair per lane on backend D (first on the wide x86
// backends up to `wideLanes`) and the row's remaining pairs in scalar code.
template <class D>
void multipathMedian(D d, uint32_t width, uint32_t height, float* data, float* scratch,
                     unsigned wideLanes = 4) {
  static_cast<void>(wideLanes);
  median_detail::forEachInteriorRow(
      width, height, data, scratch, [&](const float* top, float* out, std::size_t pairs) {
        std::size_t done = 0;
#if defined(KELVORA_WIDE_X86)
        if (wideLanes >= 16) done = multipathMedianPairsAvx512(top, width, out, done, pairs);
        if (wideLanes >= 8) done = multipathMedianPairsAvx2(top, width, out, done, pairs);
#endif
        done = median_detail::vectorPairs(d, top, width, out, done, pairs);
        median_detail::scalarPairs(top, width, out, done, pairs);
      });
}

}  // namespace kelvora
