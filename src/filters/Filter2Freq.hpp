#pragma once
// Unwrapping-error filter for two-frequency distances. A wrong unwrapping
// index moves a distance by a fixed step that depends only on the frequency
// pair; a pixel is moved back when more of its 8 neighbours vote for such a
// step than for leaving it alone. Works in place; reads only the copy in
// scratch, so every decision sees the unfiltered image.
#include <cstdint>

namespace kelvora {

struct Filter2FreqConstants {
  uint32_t gcd;
  int32_t coefficient;  // Bezout coefficient s of freq2 in s*freq2 + t*freq1 = gcd
  float K;
  float threshold;  // metres: the distance step of one unwrapping index
  float shift;      // metres: the move an unwrapping error makes
  float range;      // metres: unambiguous range of the pair, c / (2 gcd)
  float invRange;
  float half;
};

// Both frequencies must be non-zero.
Filter2FreqConstants filter2FreqConstants(uint32_t freq1, uint32_t freq2);

// scratch and distance: width x height floats. Zero frequencies leave the
// image untouched.
void filter2Freq(int width, int height, uint32_t freq1, uint32_t freq2, float* scratch,
                 float* distance);

}  // namespace kelvora
