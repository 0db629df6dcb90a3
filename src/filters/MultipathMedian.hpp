#pragma once
// 3x3 median used to smooth the multipath measures before they are
// thresholded, so a single noisy pixel cannot raise a multipath flag.
#include <cstdint>

namespace kelvora {

// Replaces the interior of data (width x height floats, row-major) by its 3x3
// median, in place; scratch receives a copy of the unfiltered data. Interior
// columns are filtered in pairs, so with an odd width the last interior column
// (width - 2) keeps its value; images under 3 rows or 4 columns are unchanged.
// Allocates nothing.
void zyn_mpiFastMedian(uint32_t width, uint32_t height, float* data, float* scratch);

}  // namespace kelvora
