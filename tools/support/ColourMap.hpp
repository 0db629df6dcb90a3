#pragma once
// Result images for people: distance and noise through a colour map with a
// legend in metres, amplitude and intensity in grey, flags with one colour
// per cause and a legend of the cause codes.
#include <cstdint>
#include <vector>

#include "support/PngWriter.hpp"

namespace kelvora::tools {

// Colour of t in [0, 1] (clamped): dark blue through cyan, green and yellow
// to dark red, monotonic in lightness up to yellow so that near and far read
// apart in print.
void colourMap(float t, uint8_t out[3]);

struct FlagCause {
  uint32_t value;  // the flag word a stage ORs in (bit 0 plus the cause bit)
  const char* name;
  uint8_t colour[3];
};
// Every cause, in the order the legend lists them; a pixel with several
// causes shows the first one listed.
const std::vector<FlagCause>& flagCauses();
// The colour of a flag word: black for valid, the first cause's colour, or
// grey for a word with no cause bit (as image validation leaves it).
void flagColour(uint32_t flags, uint8_t out[3]);

// Each image pixel becomes a scale x scale block.
struct ImageLayout {
  uint32_t width;
  uint32_t height;
  uint32_t scale = 2;
};

// Values in [lo, hi] metres through the colour map; pixels with a non-zero
// flag word (when flags is not null) in dark grey. A legend bar at the right
// labels the range in metres.
RgbImage renderMetres(const float* values, const uint32_t* flags, const ImageLayout& layout,
                      float lo, float hi);
// 0 black to `white` white.
RgbImage renderGrey(const float* values, const ImageLayout& layout, float white);
RgbImage renderFlags(const uint32_t* flags, const ImageLayout& layout);

// The value below which `fraction` of the finite values lie (nearest rank);
// 0 for no values.
float percentile(std::vector<float> values, float fraction);

// Draws text in a 3 x 5 pixel font (digits, '.', 'm', '-', ' ') scaled by `size`.
void drawText(RgbImage& image, uint32_t x, uint32_t y, const char* text, uint32_t size,
              const uint8_t colour[3]);

}  // namespace kelvora::tools
