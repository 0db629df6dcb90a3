#pragma once
// The layout of an engine fuzz input, shared by the target and the seed
// generator:
//
//   byte 0         calibration (index into engineCalibrations(), modulo)
//   byte 1         number of parameter edits (modulo 16), then per edit
//                  1 byte key (modulo 32: 0, 29..31 are no parameter),
//                  1 byte alternative (bit 7 set: use alternative byte%5
//                  instead of the parameter's own), 4 bytes value
//   1 byte         redirection mask (bit r: redirect result kind r), then per
//                  set bit 1 signed byte: target size minus required size,
//                  divided by 64 (so -2..1 elements)
//   1 byte         number of operations (modulo 24), then 1 byte each
//   4 bytes        temperature (float bits), 3 x 4 bytes exposure times
//   rest           frame samples, cycled over grey, A0..A3 of frequency 1,
//                  A0..A3 of frequency 2 (little-endian 16-bit)
//
// Missing bytes read as zero.
#include <cstdint>
#include <vector>

#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora::fuzz {

enum EngineOperation : uint8_t {
  kProcessWholeReference = 0,
  kProcessWholeHolder,
  kProcessIntensity,
  kProcessFrequency1,
  kProcessFrequency2,
  kCombineResults,
  kReconfigureSame,
  kReadResults,
  kCopyCalibrationFields,
  kEngineOperationCount,
};

// Small sensors (odd sizes among them, so that row and vector tails are
// exercised), one and two frequencies. All are containers: getKelvora hands
// every blob without the container magic to the legacy reader, so a block
// blob never makes an engine.
std::vector<synth::SyntheticCalibrationOptions> engineCalibrations();
std::vector<uint8_t> engineCalibrationBlob(const synth::SyntheticCalibrationOptions& options);

// An input with no edits and one processWhole of a frame set rendered from
// the entry's calibration (frameIndex varies its noise).
std::vector<uint8_t> renderedEngineInput(uint32_t calibrationIndex, uint32_t frameIndex);

}  // namespace kelvora::fuzz
