#pragma once
// The per-pixel flag word. Every stage ORs one value in; each value sets bit 0
// (invalid) together with one cause bit. A pixel is valid exactly when its word
// is 0; image validation collapses every non-zero word to kInvalid.
#include <cstdint>

namespace kelvora::flags {

constexpr uint32_t kInvalid = 0x01u;
constexpr uint32_t kSaturated = 0x03u;
constexpr uint32_t kInconsistent = 0x05u;
constexpr uint32_t kLowSignal = 0x09u;  // low amplitude or high noise
constexpr uint32_t kFlyingPixel = 0x11u;
constexpr uint32_t kMasked = 0x21u;
constexpr uint32_t kMultipathDistance = 0x41u;
constexpr uint32_t kMultipathAmplitude = 0x81u;

}  // namespace kelvora::flags
