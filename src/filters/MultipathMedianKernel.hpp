#pragma once
// The pair-wise 3x3 median with one pair of output columns per vector lane.
// Its min/max network fixes which of -0 and +0 survives, and which NaN, by
// the order of the operations, not by value; Min and Max keep the scalar
// rule b < a ? b : a (and a < b ? b : a) on every target.
#include <cstddef>
#include <cstdint>

#include "simd/Simd.hpp"

namespace kelvora::KELVORA_TARGET {

// Compare-exchange through min and max rather than a branch: on noisy data a
// branch would mispredict about half the time.
template <class V>
inline void OrderPair(V& a, V& b) {
  const V lo = Min(a, b);
  b = Max(a, b);
  a = lo;
}

// The three values of one column, ascending.
template <class V>
struct SortedColumn {
  V v[3];
};

template <class V>
inline SortedColumn<V> SortColumn(V top, V middle, V bottom) {
  SortedColumn<V> c{{top, middle, bottom}};
  OrderPair(c.v[0], c.v[1]);
  OrderPair(c.v[1], c.v[2]);
  OrderPair(c.v[0], c.v[1]);
  return c;
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
inline SortedSix<V> MergeColumns(const SortedColumn<V>& x, const SortedColumn<V>& y) {
  const V* a = x.v;
  const V* b = y.v;
  SortedSix<V> m;
  m.v[0] = Min(a[0], b[0]);
  m.v[1] = Min(Min(a[1], b[1]), Max(a[0], b[0]));
  m.v[2] = Min(Min(a[2], b[2]), Min(Max(a[0], b[1]), Max(a[1], b[0])));
  m.v[3] = Min(Max(a[0], b[2]), Min(Max(a[1], b[1]), Max(a[2], b[0])));
  m.v[4] = Min(Max(a[1], b[2]), Max(a[2], b[1]));
  m.v[5] = Max(a[2], b[2]);
  return m;
}

// Fifth smallest of the nine values, by the same rule as the merge: take i
// values from the outer column and 5 - i from the six.
template <class V>
inline V MedianOfNine(const SortedSix<V>& m, const SortedColumn<V>& outer) {
  V best = m.v[4];
  best = Min(best, Max(outer.v[0], m.v[3]));
  best = Min(best, Max(outer.v[1], m.v[2]));
  best = Min(best, Max(outer.v[2], m.v[1]));
  return best;
}

// Columns at, at + 2, ... (even) and at + 1, at + 3, ... (odd) of the three
// rows from `top`, one per pair of the group, each lane's column sorted.
template <class D, class G, class VF = decltype(Zero(D()))>
inline void SortStridedColumns(D d, G g, const float* top, std::size_t width, std::size_t at,
                               SortedColumn<VF>& even, SortedColumn<VF>& odd) {
  VF e[3], o[3];
  for (std::size_t r = 0; r < 3; ++r) {
    VF lo, hi;
    g.LoadPair(d, top + r * width + at, lo, hi);
    e[r] = ConcatEven(hi, lo);
    o[r] = ConcatOdd(hi, lo);
  }
  even = SortColumn(e[0], e[1], e[2]);
  odd = SortColumn(o[0], o[1], o[2]);
}

// The two medians of each pair of a group from its four sorted columns.
template <class D, class G, class VF>
inline void StorePairMedians(D d, G g, const SortedColumn<VF>& left,
                             const SortedColumn<VF>& midLeft, const SortedColumn<VF>& midRight,
                             const SortedColumn<VF>& right, float* out) {
  const auto shared = MergeColumns(midLeft, midRight);
  const auto first = MedianOfNine(shared, left);
  const auto second = MedianOfNine(shared, right);
  if constexpr (G::kWhole) {
    StoreInterleaved2(first, second, d, out);
  } else {
    g.StorePair(d, InterleaveLower(first, second), InterleaveUpper(first, second), out);
  }
}

// Internal linkage lets the compiler inline each row's group runner, so the
// columns a group hands on stay in registers.
namespace {

// Interior rows of data from the unfiltered copy in scratch. Pair p of a row
// fills columns 1 + 2p and 2 + 2p and reads column pairs p and p + 1 (columns
// 2p .. 2p + 3); with an odd width the last interior column belongs to no pair
// and keeps its value. A column's sort serves two neighbouring pairs, so along
// a row each group sorts only the column pairs of the group after it and hands
// them on. The last few pairs take one partial group from the handed-on sorts
// where they fit it, else whole groups that overlap the pairs before them
// (recomputing those to the same bits).
template <class D>
void MedianKernel(D d, uint32_t width, uint32_t height, const float* scratch, float* data) {
  if (height < 3 || width < 4) return;
  using VF = decltype(Zero(d));
  constexpr std::size_t kLanes = D::kLanes;
  const std::size_t w = width;
  const std::size_t pairs = ((w - 4) & ~std::size_t{1}) / 2 + 1;
  // Groups that can hand on: the next group's column pairs all exist (pair
  // `pairs` is the last one read).
  const std::size_t handOnEnd =
      pairs + 1 >= 2 * kLanes ? (pairs + 1 - kLanes) / kLanes * kLanes : 0;
  for (std::size_t y = 1; y + 1 < height; ++y) {
    const float* top = scratch + (y - 1) * w;
    float* out = data + y * w;
    // Each pair on its own: its own group's columns and the group one pair on.
    const auto standalone = [=](auto g, std::size_t p) {
      SortedColumn<VF> left, midLeft, midRight, right;
      SortStridedColumns(d, g, top, w, 2 * p, left, midLeft);
      SortStridedColumns(d, g, top, w, 2 * p + 2, midRight, right);
      StorePairMedians(d, g, left, midLeft, midRight, right, out + 1 + 2 * p);
    };
    if (handOnEnd == 0) {
      if (pairs >= kLanes) {
        simd::ForEachGroup(d, 0, pairs / kLanes * kLanes, standalone);
        if (pairs % kLanes != 0) standalone(simd::WholeGroup<D>{}, pairs - kLanes);
      } else {
        simd::ForEachGroup(d, 0, pairs, standalone);
      }
      continue;
    }
    // kLanes - 1 to 2 * kLanes - 2 pairs are left after the groups that hand
    // on. Exactly kLanes - 1 (every even width that is a multiple of
    // 2 * kLanes) fit a partial group whose columns the last of them has
    // already sorted.
    const bool lastFromHandOn = pairs - handOnEnd == kLanes - 1;
    // Column pairs p .. p + kLanes - 1, sorted (even and odd columns).
    SortedColumn<VF> even, odd;
    SortStridedColumns(d, simd::WholeGroup<D>{}, top, w, 0, even, odd);
    auto handOn = [=](auto g, std::size_t p) mutable {
      SortedColumn<VF> nextEven = even, nextOdd = odd;
      if constexpr (decltype(g)::kWhole) {
        SortStridedColumns(d, g, top, w, 2 * (p + kLanes), nextEven, nextOdd);
      }
      SortedColumn<VF> midRight, right;
      for (std::size_t r = 0; r < 3; ++r) {
        midRight.v[r] = ConcatShiftOne(nextEven.v[r], even.v[r]);
        right.v[r] = ConcatShiftOne(nextOdd.v[r], odd.v[r]);
      }
      StorePairMedians(d, g, even, odd, midRight, right, out + 1 + 2 * p);
      even = nextEven;
      odd = nextOdd;
    };
    simd::ForEachGroup(d, 0, lastFromHandOn ? pairs : handOnEnd, handOn);
    if (lastFromHandOn) continue;
    if (pairs - handOnEnd > kLanes) standalone(simd::WholeGroup<D>{}, handOnEnd);
    standalone(simd::WholeGroup<D>{}, pairs - kLanes);
  }
}

}  // namespace

}  // namespace kelvora::KELVORA_TARGET
