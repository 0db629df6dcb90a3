#include "synthetic/CalibrationByteWriter.hpp"

namespace kelvora::synth {

std::vector<uint32_t> packBits(const std::vector<uint32_t>& values, uint32_t bits) {
  const uint64_t totalBits = static_cast<uint64_t>(values.size()) * bits;
  std::vector<uint32_t> words(static_cast<size_t>((totalBits + 31u) / 32u), 0u);
  for (size_t i = 0; i < values.size(); ++i) {
    for (uint32_t b = 0; b < bits; ++b) {
      if (((values[i] >> b) & 1u) == 0) continue;
      const uint64_t k = static_cast<uint64_t>(i) * bits + b;
      words[k / 32u] |= 1u << (k % 32u);
    }
  }
  return words;
}

}  // namespace kelvora::synth
