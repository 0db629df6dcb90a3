#pragma once
// How the container calibration format turns stored integers into values, and
// the checks on the value counts that precede its variable-length arrays.
#include <cstdint>

namespace kelvora {

// Packed integers: value = minimum + step * v; `scale` repeats the step.
struct TavelIntegralDescriptor {
  uint32_t scale;
  uint32_t step;
  uint32_t bitsPerValue;
  uint32_t minimum;
  uint32_t maximum;
};

// Packed floats: value = minimum + v * scale. A step of 0 (stored, or forced
// for ranges of 24 bits and more) means the array is stored as plain floats.
struct TavelFloatDescriptor {
  float scale;
  float step;
  uint32_t bitsPerValue;
  float minimum;
  float maximum;
};

// 0x80000007 when more values are announced than the record has room for.
uint32_t kelvora_checkTavelNoValues(uint32_t count, uint32_t capacity);
// 0x80000003 above 255, else stores the count.
uint32_t kelvora_updateTavelWithActualNo(uint8_t* countField, uint32_t count);
// 0x80000003 when two counts of one table differ.
uint32_t kelvora_checkTavelConsistentNoValues(uint32_t count, uint32_t expected);

// 0x80000009 for a step of 0 or minimum >= maximum.
uint32_t kelvora_fillTavelIntegralDescriptor(uint32_t minimum, uint32_t maximum, uint32_t step,
                                             TavelIntegralDescriptor* descriptor);
// Three little-endian floats (minimum, maximum, step) from the stream.
uint32_t kelvora_fillTavelFloatDescriptorFromStream(TavelFloatDescriptor* descriptor,
                                                    const uint8_t* data, uint32_t* position,
                                                    uint32_t size);

}  // namespace kelvora
