#include "filters/MultipathMedian.hpp"

#include <algorithm>
#include <cstddef>

namespace kelvora {

namespace {

// Compare-exchange through min and max rather than a branch: on noisy data a
// branch would mispredict about half the time.
inline void orderPair(float& a, float& b) {
  const float lo = std::min(a, b);
  b = std::max(a, b);
  a = lo;
}

// The three values of one column, ascending.
struct SortedColumn {
  float v[3];
};

SortedColumn sortColumn(const float* top, std::size_t stride) {
  SortedColumn c{{top[0], top[stride], top[2 * stride]}};
  orderPair(c.v[0], c.v[1]);
  orderPair(c.v[1], c.v[2]);
  orderPair(c.v[0], c.v[1]);
  return c;
}

// The two columns the pixels of a pair share, merged ascending.
struct SortedSix {
  float v[6];
};

// Branch-free merge: the k-th smallest of two sorted lists is the smallest,
// over every way of taking k values from the two lists' fronts, of the
// largest value taken.
SortedSix mergeColumns(const SortedColumn& x, const SortedColumn& y) {
  const float* a = x.v;
  const float* b = y.v;
  using std::max;
  using std::min;
  SortedSix m;
  m.v[0] = min(a[0], b[0]);
  m.v[1] = min(min(a[1], b[1]), max(a[0], b[0]));
  m.v[2] = min(min(a[2], b[2]), min(max(a[0], b[1]), max(a[1], b[0])));
  m.v[3] = min(max(a[0], b[2]), min(max(a[1], b[1]), max(a[2], b[0])));
  m.v[4] = min(max(a[1], b[2]), max(a[2], b[1]));
  m.v[5] = max(a[2], b[2]);
  return m;
}

// Fifth smallest of the nine values, by the same rule as the merge: take i
// values from the outer column and 5 - i from the six.
float medianOfNine(const SortedSix& m, const SortedColumn& outer) {
  float best = m.v[4];
  best = std::min(best, std::max(outer.v[0], m.v[3]));
  best = std::min(best, std::max(outer.v[1], m.v[2]));
  best = std::min(best, std::max(outer.v[2], m.v[1]));
  return best;
}

}  // namespace

void zyn_mpiFastMedian(uint32_t width, uint32_t height, float* data, float* scratch) {
  const std::size_t w = width;
  std::copy(data, data + w * height, scratch);
  if (height < 3 || width < 4) return;
  const std::size_t pairs = ((w - 4) & ~std::size_t{1}) / 2 + 1;
  for (std::size_t y = 1; y + 1 < height; ++y) {
    const float* top = scratch + (y - 1) * w;
    float* out = data + y * w;
    // Columns x - 1 and x of each pair are x + 1 and x + 2 of the pair before:
    // every column is sorted once.
    SortedColumn left = sortColumn(top, w);
    SortedColumn midLeft = sortColumn(top + 1, w);
    for (std::size_t p = 0; p < pairs; ++p) {
      const std::size_t x = 1 + 2 * p;
      const SortedColumn midRight = sortColumn(top + x + 1, w);
      const SortedColumn right = sortColumn(top + x + 2, w);
      const SortedSix shared = mergeColumns(midLeft, midRight);
      out[x] = medianOfNine(shared, left);
      out[x + 1] = medianOfNine(shared, right);
      left = midRight;
      midLeft = right;
    }
  }
}

}  // namespace kelvora
