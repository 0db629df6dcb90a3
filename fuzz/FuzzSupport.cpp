#include "FuzzSupport.hpp"

#include <utility>

#include "synthetic/BlockCalibrationWriter.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::fuzz {

RecordPtr syntheticRecord(uint32_t width, uint32_t height, std::vector<uint32_t> frequencies,
                          bool strayLight, uint32_t seed) {
  synth::SyntheticCalibrationOptions o;
  o.width = width;
  o.height = height;
  o.frequencies = std::move(frequencies);
  o.strayLight = strayLight;
  o.maskedFraction = 0.1f;
  o.seed = seed;
  return RecordPtr(synth::makeSyntheticCalibration(o));
}

std::vector<uint8_t> customBlocksBlob() {
  const auto block = [](uint8_t id, uint8_t type, std::vector<uint32_t> v, std::vector<float> f,
                        uint8_t bits) {
    return synth::BlockSpec{id, type, std::move(v), std::move(f), -1, {}, bits, 1.0f, 0.0f};
  };
  synth::BlockWriterOptions o;
  // Five blocks, as many as a record holds. A custom field is as large as
  // its block's payload, so a packed block decodes into it only at 31 bits.
  o.extraBlocks = {block(128, 0, {1, 2, 250}, {}, 0), block(131, 1, {0xBEEF, 7}, {}, 0),
                   block(200, 3, {0xFFFFFFF6u, 5}, {}, 0), block(230, 5, {0x7FFFFFFFu, 5}, {}, 31),
                   block(254, 4, {}, {-2.5f, 1e-3f}, 0)};
  return synth::writeBlockCalibration(*syntheticRecord(8, 5, {80320000u, 60240000u}, true), o);
}

}  // namespace kelvora::fuzz
