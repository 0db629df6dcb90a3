#pragma once
// Shared helpers of the block-format tests: records that free themselves and
// the reader called directly with the format's own table.
#include <cstdint>
#include <memory>
#include <vector>

#include "calibration/KelvoraCalibration.hpp"
#include "calibration/QvCalibrationReader.hpp"
#include "calibration/QvDrevantTable.hpp"
#include "synthetic/BlockCalibrationWriter.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::qvtest {

struct RecordDeleter {
  void operator()(KelvoraCalibration* c) const { kelvora_freeCalibration(c); }
};
using RecordPtr = std::unique_ptr<KelvoraCalibration, RecordDeleter>;

inline RecordPtr freshRecord(uint32_t pixels) {
  return RecordPtr(allocateCalibration(pixels));
}

// Reads `blob` into `record` (made for `pixels` pixels) with the format's table.
inline QvReadResult readDirect(const std::vector<uint8_t>& blob, KelvoraCalibration* record,
                               uint32_t pixels) {
  return kelvora_readQVCalibration(blob.data(), static_cast<uint32_t>(blob.size()), record,
                                   kelvora_createDrevantTable(record, pixels));
}

// A small synthetic calibration: width x height pixels, two frequencies, a
// stray-light model.
inline RecordPtr smallSynthetic(uint32_t width = 8, uint32_t height = 5, uint32_t seed = 3) {
  synth::SyntheticCalibrationOptions o;
  o.width = width;
  o.height = height;
  o.strayLight = true;
  o.maskedFraction = 0.3f;
  o.seed = seed;
  return RecordPtr(synth::makeSyntheticCalibration(o));
}

inline synth::BlockSpec customBlock(uint8_t id, uint8_t type, std::vector<uint32_t> integers,
                                    std::vector<float> floats = {}, uint8_t bits = 0) {
  synth::BlockSpec b;
  b.id = id;
  b.type = type;
  b.integers = std::move(integers);
  b.floats = std::move(floats);
  b.bits = bits;
  return b;
}

}  // namespace kelvora::qvtest
