// Pixel flag words in words, for viewers and reports.
#include <cstdio>
#include <string>
#include <vector>

#include "kelvora/HostSupport.hpp"

namespace kelvora {

namespace {

constexpr FlagText kCauses[] = {
    {PIXEL_SATURATED, "SATURATED", "saturated raw sample"},
    {PIXEL_INCONSISTENT, "INCONSISTENT", "inconsistent phase frames"},
    {PIXEL_LOW_SIGNAL, "LOW_SIGNAL", "low signal or high noise"},
    {PIXEL_FLYING, "FLYING_PIXEL", "flying pixel"},
    {PIXEL_MASKED, "MASKED", "masked by the calibration"},
    {PIXEL_MULTIPATH_DISTANCE, "MULTIPATH_DISTANCE", "multipath by distance"},
    {PIXEL_MULTIPATH_AMPLITUDE, "MULTIPATH_AMPLITUDE", "multipath by amplitude"},
};

}  // namespace

std::vector<FlagText> flagCauses() {
  return std::vector<FlagText>(std::begin(kCauses), std::end(kCauses));
}

std::string describeFlags(uint32_t flags) {
  if (flags == 0) return "valid";
  if (flags == PIXEL_INVALID) return "invalid";
  std::string text;
  uint32_t known = PIXEL_INVALID;
  for (const FlagText& c : kCauses) {
    const uint32_t causeBit = c.value & ~static_cast<uint32_t>(PIXEL_INVALID);
    known |= causeBit;
    if ((flags & causeBit) == 0) continue;
    text += (text.empty() ? "" : ", ") + std::string(c.meaning);
  }
  if ((flags & ~known) != 0) {
    char unknown[32];
    std::snprintf(unknown, sizeof(unknown), "unknown bits 0x%X", flags & ~known);
    text += (text.empty() ? "" : ", ") + std::string(unknown);
  }
  return text;
}

}  // namespace kelvora
