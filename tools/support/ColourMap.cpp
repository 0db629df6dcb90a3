#include "support/ColourMap.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kelvora::tools {

namespace {

constexpr uint8_t kInvalid[3] = {40, 40, 40};
constexpr uint8_t kWhite[3] = {255, 255, 255};
constexpr uint32_t kLegendWidth = 64;  // pixels right of the image for the bar and labels

// 3 x 5 glyphs, one row per 3-bit group, top row first.
struct Glyph {
  char c;
  uint8_t rows[5];
};
constexpr Glyph kGlyphs[] = {
    {'0', {7, 5, 5, 5, 7}}, {'1', {2, 6, 2, 2, 7}}, {'2', {7, 1, 7, 4, 7}}, {'3', {7, 1, 7, 1, 7}},
    {'4', {5, 5, 7, 1, 1}}, {'5', {7, 4, 7, 1, 7}}, {'6', {7, 4, 7, 5, 7}}, {'7', {7, 1, 1, 1, 1}},
    {'8', {7, 5, 7, 5, 7}}, {'9', {7, 5, 7, 1, 7}}, {'.', {0, 0, 0, 0, 2}}, {'-', {0, 0, 7, 0, 0}},
    {'m', {0, 0, 7, 7, 5}}, {'x', {0, 5, 2, 5, 0}},
};

void fill(RgbImage& image, uint32_t x0, uint32_t y0, uint32_t w, uint32_t h, const uint8_t c[3]) {
  for (uint32_t y = y0; y < y0 + h; ++y) {
    for (uint32_t x = x0; x < x0 + w; ++x) image.set(x, y, c);
  }
}

// A round step for about `ticks` labels over span: 1, 2 or 5 times a power of ten.
float niceStep(float span, int ticks) {
  const float raw = span / static_cast<float>(ticks);
  const float power = std::pow(10.0f, std::floor(std::log10(raw)));
  for (float m : {1.0f, 2.0f, 5.0f}) {
    if (m * power >= raw) return m * power;
  }
  return 10.0f * power;
}

}  // namespace

void colourMap(float t, uint8_t out[3]) {
  // Anchors at equal spacing; linear in between.
  static constexpr float kAnchors[][3] = {{48, 18, 59},   {70, 107, 227}, {40, 187, 236},
                                          {50, 241, 152}, {164, 252, 60}, {237, 208, 58},
                                          {250, 126, 33}, {210, 49, 5},   {122, 4, 3}};
  constexpr int kLast = static_cast<int>(sizeof(kAnchors) / sizeof(kAnchors[0])) - 1;
  if (!(t > 0.0f)) t = 0.0f;  // NaN too
  if (t > 1.0f) t = 1.0f;
  const float x = t * kLast;
  const int i = std::min(static_cast<int>(x), kLast - 1);
  const float f = x - static_cast<float>(i);
  for (int c = 0; c < 3; ++c) {
    out[c] = static_cast<uint8_t>(
        std::lround(kAnchors[i][c] + f * (kAnchors[i + 1][c] - kAnchors[i][c])));
  }
}

const std::vector<FlagCause>& flagCauses() {
  static const std::vector<FlagCause> causes = {
      {0x21, "masked by calibration", {120, 120, 120}},
      {0x03, "saturated raw sample", {255, 255, 255}},
      {0x05, "inconsistent (asymmetry)", {230, 40, 40}},
      {0x11, "flying pixel", {250, 200, 0}},
      {0x41, "multipath by distance", {200, 60, 220}},
      {0x81, "multipath by amplitude", {60, 220, 220}},
      {0x09, "low signal or high noise", {40, 90, 230}},
  };
  return causes;
}

void flagColour(uint32_t flags, uint8_t out[3]) {
  if (flags == 0) {
    out[0] = out[1] = out[2] = 0;
    return;
  }
  for (const FlagCause& c : flagCauses()) {
    if ((flags & c.value & ~1u) != 0) {
      std::copy(c.colour, c.colour + 3, out);
      return;
    }
  }
  out[0] = out[1] = out[2] = 180;
}

void drawText(RgbImage& image, uint32_t x, uint32_t y, const char* text, uint32_t size,
              const uint8_t colour[3]) {
  for (; *text != '\0'; ++text, x += 4 * size) {
    for (const Glyph& g : kGlyphs) {
      if (g.c != *text) continue;
      for (uint32_t r = 0; r < 5; ++r) {
        for (uint32_t b = 0; b < 3; ++b) {
          if (g.rows[r] & (4u >> b)) fill(image, x + b * size, y + r * size, size, size, colour);
        }
      }
    }
  }
}

RgbImage renderMetres(const float* values, const uint32_t* flags, const ImageLayout& layout,
                      float lo, float hi) {
  const uint32_t s = layout.scale;
  const uint32_t w = layout.width * s, h = layout.height * s;
  RgbImage image(w + kLegendWidth, std::max<uint32_t>(h, 60), 0);
  const float span = hi > lo ? hi - lo : 1.0f;
  for (uint32_t y = 0; y < layout.height; ++y) {
    for (uint32_t x = 0; x < layout.width; ++x) {
      const size_t i = static_cast<size_t>(y) * layout.width + x;
      uint8_t c[3] = {kInvalid[0], kInvalid[1], kInvalid[2]};
      if (flags == nullptr || flags[i] == 0) colourMap((values[i] - lo) / span, c);
      fill(image, x * s, y * s, s, s, c);
    }
  }
  // Bar: top is hi, bottom is lo, with a label at every round step.
  const uint32_t barX = w + 6, barTop = 6, barHeight = image.height - 12;
  for (uint32_t y = 0; y < barHeight; ++y) {
    uint8_t c[3];
    colourMap(1.0f - static_cast<float>(y) / static_cast<float>(barHeight - 1), c);
    fill(image, barX, barTop + y, 10, 1, c);
  }
  const float step = niceStep(span, 5);
  const int decimals = step >= 1.0f ? 0 : step >= 0.1f ? 1 : step >= 0.01f ? 2 : 3;
  for (float v = std::ceil(lo / step) * step; v <= hi + 1e-6f; v += step) {
    const float t = (v - lo) / span;
    const uint32_t y = barTop + static_cast<uint32_t>(std::lround((1.0f - t) * (barHeight - 1)));
    fill(image, barX + 10, y, 4, 1, kWhite);
    char label[24];
    std::snprintf(label, sizeof(label), "%.*fm", decimals, static_cast<double>(v));
    drawText(image, barX + 16, y >= 5 ? y - 5 : 0, label, 2, kWhite);
  }
  return image;
}

RgbImage renderGrey(const float* values, const ImageLayout& layout, float white) {
  const uint32_t s = layout.scale;
  RgbImage image(layout.width * s, layout.height * s, 0);
  const float scale = white > 0.0f ? 255.0f / white : 0.0f;
  for (uint32_t y = 0; y < layout.height; ++y) {
    for (uint32_t x = 0; x < layout.width; ++x) {
      float v = values[static_cast<size_t>(y) * layout.width + x] * scale;
      if (!(v > 0.0f)) v = 0.0f;
      const uint8_t g = static_cast<uint8_t>(std::lround(std::min(v, 255.0f)));
      const uint8_t c[3] = {g, g, g};
      fill(image, x * s, y * s, s, s, c);
    }
  }
  return image;
}

RgbImage renderFlags(const uint32_t* flags, const ImageLayout& layout) {
  const uint32_t s = layout.scale;
  const uint32_t w = layout.width * s, h = layout.height * s;
  const uint32_t rowHeight = 14;
  RgbImage image(w + kLegendWidth,
                 std::max<uint32_t>(h, 6 + rowHeight * static_cast<uint32_t>(flagCauses().size())),
                 0);
  for (uint32_t y = 0; y < layout.height; ++y) {
    for (uint32_t x = 0; x < layout.width; ++x) {
      uint8_t c[3];
      flagColour(flags[static_cast<size_t>(y) * layout.width + x], c);
      fill(image, x * s, y * s, s, s, c);
    }
  }
  // Legend: a swatch and the cause's flag value in hex, e.g. "0x21".
  uint32_t y = 6;
  for (const FlagCause& c : flagCauses()) {
    fill(image, w + 6, y, 10, 10, c.colour);
    char label[8];
    std::snprintf(label, sizeof(label), "0x%02x", c.value);
    drawText(image, w + 20, y, label, 2, kWhite);
    y += rowHeight;
  }
  return image;
}

float percentile(std::vector<float> values, float fraction) {
  values.erase(
      std::remove_if(values.begin(), values.end(), [](float v) { return !std::isfinite(v); }),
      values.end());
  if (values.empty()) return 0.0f;
  const double rank = std::ceil(static_cast<double>(fraction) * static_cast<double>(values.size()));
  const size_t k =
      static_cast<size_t>(std::clamp(rank, 1.0, static_cast<double>(values.size()))) - 1;
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(k), values.end());
  return values[k];
}

}  // namespace kelvora::tools
