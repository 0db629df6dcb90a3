#pragma once
// Byte offsets of the legacy calibration layout (all values little-endian and
// unaligned), shared by its reader and the synthetic writer.
#include <cstdint>

namespace kelvora::legacy {

constexpr uint32_t kHeaderCopy = 0;  // 16 bytes the conversion keeps nowhere
constexpr uint32_t kHeaderCopySize = 16;
constexpr uint32_t kDate = 40;
constexpr uint32_t kDateSize = 19;
constexpr uint32_t kSerial = 61;
constexpr uint32_t kSerialSize = 9;
constexpr uint32_t kSensorSerial = 72;
constexpr uint32_t kSensorSerialSize = 19;
constexpr uint32_t kRoi0 = 93;               // int16
constexpr uint32_t kRoi1 = 95;               // int16
constexpr uint32_t kRoiWidth = 97;           // uint16
constexpr uint32_t kRoiHeightMinusOne = 99;  // int16
constexpr uint32_t kMask = 103;              // uint16 words, 16 pixels each
constexpr uint32_t kFpnOffset = 4919;        // float
constexpr uint32_t kFpnStep = 4927;          // float
constexpr uint32_t kFpnCodes = 4933;         // 3-bit codes, 8 pixels per 3 bytes
constexpr uint32_t kLensParameters = 19383;  // 9 floats
constexpr uint32_t kLensParameterCount = 9;

// Frequency 0: minimum, maximum and selector of the phase-noise codes.
constexpr uint32_t kFppnMinimum0 = 19427;
constexpr uint32_t kFppnMaximum0 = 19431;
constexpr uint32_t kFppnSelector0 = 19435;
constexpr uint32_t kFppnCodes0 = 19441;

// Each frequency's field group starts this many bytes after its codes.
constexpr uint32_t kGroupGap = 6;
// Frequency 1 is placed relative to the start G of frequency 0's group.
constexpr uint32_t kFppnMinimum1FromGroup = 166;
constexpr uint32_t kFppnMaximum1FromGroup = 170;
constexpr uint32_t kFppnSelector1FromGroup = 174;
constexpr uint32_t kFppnCodes1FromGroup = 180;

// Byte ranges of a field group, relative to its start; each becomes a new
// buffer of exactly that size.
struct GroupField {
  uint32_t offset;
  uint32_t size;
};
constexpr GroupField kTempCompensation{0, 18};
constexpr GroupField kNoiseParameters{18, 28};
constexpr GroupField kPhaseWigglingAmplitude{46, 22};
constexpr GroupField kPhaseWigglingHarmonic{68, 22};
constexpr GroupField kPhaseWigglingPhase{90, 20};
constexpr GroupField kAmplitudeWigglingAmplitude{120, 14};
constexpr GroupField kAmplitudeWigglingHarmonic{134, 14};
constexpr GroupField kAmplitudeWigglingPhase{148, 20};
constexpr uint32_t kGroupSize = 168;

constexpr uint32_t kTempCompensationCount = 4;
constexpr uint32_t kNoiseParameterCount = 4;
constexpr uint8_t kPhaseWigglingTerms = 4;
constexpr uint8_t kAmplitudeWigglingTerms = 2;

constexpr uint32_t kModulationFrequency0 = 80320000;  // Hz
constexpr uint32_t kModulationFrequency1 = 60240000;  // Hz

// 1/255 and 1/511 as the conversion stored them.
constexpr float kInverse255 = 0.003921569f;
constexpr float kInverse511 = 0.0019569471f;

// Bytes taken by the phase-noise codes of `pixels` pixels.
constexpr uint32_t fppnCodeBytes(uint32_t pixels, bool nineBit) {
  return nineBit ? static_cast<uint32_t>((static_cast<uint64_t>(pixels) * 9u + 7u) / 8u) : pixels;
}

}  // namespace kelvora::legacy
