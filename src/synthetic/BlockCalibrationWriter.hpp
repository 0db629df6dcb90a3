#pragma once
// Writer of block-format calibrations ("ZYNQVF") for tests, benchmarks and
// fuzz seeds. It shares no code with the reader: values are encoded here from
// the layout rules, so a mistake on one side shows up as a mismatch.
//
// Two levels: writeBlockCalibration turns a KelvoraCalibration into a blob;
// blockCalibrationBlocks gives the same content as a list of BlockSpec that a
// test can change (types, count codes, widths, extra or missing blocks)
// before assembleBlockCalibration lays it out. BlockStreamBuilder appends raw
// bytes for anything the lists cannot express.
#include <cstdint>
#include <optional>
#include <vector>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora::synth {

// One block. Values: `integers` for types 0, 1, 2, 3 (bit pattern), 5 and 6
// (the packed codes v, read back as offset + v * scale); `floats` for type 4.
struct BlockSpec {
  uint8_t id = 0;
  uint8_t type = 0;
  std::vector<uint32_t> integers;
  std::vector<float> floats;
  // -1: the shortest code for the number of values (literal, per pixel,
  // 2..7 per pixel, else 249). Any other value is written as it stands.
  int countCode = -1;
  // Count written after code 249; default the number of values.
  std::optional<uint32_t> declaredCount;
  uint8_t bits = 0;  // packed types
  float scale = 1.0f;
  float offset = 0.0f;
};

struct BlockWriterOptions {
  uint8_t version = 1;
  uint8_t fpnType = 4;  // 4 (floats) or 6 (packed, fpnBits wide)
  uint8_t fpnBits = 16;
  uint8_t fppnType = 4;  // likewise for every frequency's fppn
  uint8_t fppnBits = 16;
  uint8_t maskBits = 1;
  int perPixelCountCode = -1;           // count code of per-pixel blocks; -1 automatic
  std::optional<uint32_t> dateSeconds;  // date block 4, seconds since 1970
  bool serials = true;                  // blocks 5 and 6
  bool auxBytes = false;                // block 7
  bool auxValues = false;               // block 8
  bool strayLight = true;               // block 9 when psfScale is set
  bool frequencyScalars = true;         // blocks 20 + 7f when set
  std::vector<BlockSpec> extraBlocks;   // custom or unknown blocks, merged by id
  std::vector<uint8_t> omitIds;         // blocks left out
};

// Independent encoders.
// Finite values; throws otherwise. Magnitudes below 2^-128 are written as 0.
uint32_t encodeBlockFloat(float value);
// Words of values packed `bits` wide, least significant bit first, host order.
std::vector<uint32_t> packBlockBits(const std::vector<uint32_t>& values, uint32_t bits);
// Payload bytes the format prescribes for a packed block (single-precision
// quotient, as the files are written).
uint64_t packedBlockBytes(uint64_t count, uint32_t bits);
// Quantises floats for a type-6 block of `bits` bits: fills scale, offset and
// the codes of `block`.
void quantiseIntoBlock(const float* values, uint32_t count, uint8_t bits, BlockSpec* block);

class BlockStreamBuilder {
 public:
  BlockStreamBuilder(uint16_t dimensionA, uint16_t dimensionB, uint8_t version = 1);
  void putU8(uint8_t v);
  void putU16(uint16_t v);  // big-endian
  void putU32(uint32_t v);  // big-endian
  void putRaw(const std::vector<uint8_t>& bytes);
  void appendBlock(const BlockSpec& block);
  void appendEnd();
  const std::vector<uint8_t>& bytes() const { return bytes_; }

 private:
  uint32_t pixelCount_;
  std::vector<uint8_t> bytes_;
};

// The record's blocks in rising id order, as writeBlockCalibration emits them.
std::vector<BlockSpec> blockCalibrationBlocks(const KelvoraCalibration& calibration,
                                              const BlockWriterOptions& options = {});
// Header, the blocks in the given order, end marker.
std::vector<uint8_t> assembleBlockCalibration(uint16_t dimensionA, uint16_t dimensionB,
                                              uint8_t version,
                                              const std::vector<BlockSpec>& blocks);
std::vector<uint8_t> writeBlockCalibration(const KelvoraCalibration& calibration,
                                           const BlockWriterOptions& options = {});

}  // namespace kelvora::synth
