#include "synthetic/BlockCalibrationWriter.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace kelvora::synth {

uint32_t encodeBlockFloat(float value) {
  if (!std::isfinite(value)) throw std::invalid_argument("block float must be finite");
  if (value == 0.0f) return 0u;
  int exponent = 0;
  const double fraction = std::frexp(std::fabs(static_cast<double>(value)), &exponent);
  // Exponents below -127 have no biased form; such tiny values become 0.
  const int biased = exponent + 127;
  if (biased < 0) return 0u;
  const auto significand = static_cast<uint32_t>(fraction * 16777216.0);  // 24 bits, top one set
  const uint32_t word = (static_cast<uint32_t>(biased) << 23) | (significand - 0x800000u);
  return value < 0.0f ? 0u - word : word;
}

std::vector<uint32_t> packBlockBits(const std::vector<uint32_t>& values, uint32_t bits) {
  std::vector<uint32_t> words((values.size() * bits + 31u) / 32u, 0u);
  for (size_t i = 0; i < values.size(); ++i) {
    for (uint32_t b = 0; b < bits; ++b) {
      if (b >= 32u || ((values[i] >> b) & 1u) == 0u) continue;
      const uint64_t k = static_cast<uint64_t>(i) * bits + b;
      words[k / 32u] |= 1u << (k % 32u);
    }
  }
  return words;
}

uint64_t packedBlockBytes(uint64_t count, uint32_t bits) {
  const float quotient = static_cast<float>(count * bits) / 32.0f;
  return static_cast<uint64_t>(std::ceil(quotient)) * 4u;
}

void quantiseIntoBlock(const float* values, uint32_t count, uint8_t bits, BlockSpec* block) {
  float lo = 0.0f, hi = 0.0f;
  if (count > 0) {
    lo = *std::min_element(values, values + count);
    hi = *std::max_element(values, values + count);
  }
  const double levels = std::ldexp(1.0, bits) - 1.0;
  const float scale = hi > lo ? static_cast<float>((static_cast<double>(hi) - lo) / levels) : 1.0f;
  block->type = 6;
  block->bits = bits;
  block->scale = scale;
  block->offset = lo;
  block->integers.resize(count);
  for (uint32_t i = 0; i < count; ++i) {
    const double code = std::round((static_cast<double>(values[i]) - lo) / scale);
    block->integers[i] = static_cast<uint32_t>(std::clamp(code, 0.0, levels));
  }
}

BlockStreamBuilder::BlockStreamBuilder(uint16_t dimensionA, uint16_t dimensionB, uint8_t version)
    : pixelCount_(uint32_t{dimensionA} * dimensionB) {
  putRaw({'Z', 'Y', 'N', 'Q', 'V', 'F'});
  putU8(version);
  putU16(dimensionA);
  putU16(dimensionB);
}

void BlockStreamBuilder::putU8(uint8_t v) {
  bytes_.push_back(v);
}

void BlockStreamBuilder::putU16(uint16_t v) {
  bytes_.push_back(static_cast<uint8_t>(v >> 8));
  bytes_.push_back(static_cast<uint8_t>(v));
}

void BlockStreamBuilder::putU32(uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes_.push_back(static_cast<uint8_t>(v >> shift));
}

void BlockStreamBuilder::putRaw(const std::vector<uint8_t>& bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

namespace {

bool isPacked(uint8_t type) {
  return type == 5 || type == 6;
}

uint8_t shortestCountCode(uint64_t n, uint32_t pixelCount) {
  if (n >= 1 && n <= 248) return static_cast<uint8_t>(n);
  if (pixelCount > 0 && n % pixelCount == 0) {
    const uint64_t perPixel = n / pixelCount;
    if (perPixel == 1) return 0;
    if (perPixel >= 2 && perPixel <= 7) return static_cast<uint8_t>(248 + perPixel);
  }
  return 249;
}

}  // namespace

void BlockStreamBuilder::appendBlock(const BlockSpec& block) {
  const uint64_t n = block.type == 4 ? block.floats.size() : block.integers.size();
  const uint8_t code = block.countCode < 0 ? shortestCountCode(n, pixelCount_)
                                           : static_cast<uint8_t>(block.countCode);
  putU8(block.id);
  putU8(block.type);
  putU8(code);
  if (code == 249) putU32(block.declaredCount.value_or(static_cast<uint32_t>(n)));
  if (isPacked(block.type)) putU8(block.bits);
  if (block.type == 6) {
    putU32(encodeBlockFloat(block.scale));
    putU32(encodeBlockFloat(block.offset));
  }
  switch (block.type) {
    case 0:
      for (uint32_t v : block.integers) putU8(static_cast<uint8_t>(v));
      break;
    case 1:
      for (uint32_t v : block.integers) putU16(static_cast<uint16_t>(v));
      break;
    case 4:
      for (float v : block.floats) putU32(encodeBlockFloat(v));
      break;
    case 5:
    case 6: {
      // The payload has exactly the prescribed size: packed words, cut or
      // padded with zero words to it.
      std::vector<uint32_t> words = packBlockBits(block.integers, block.bits);
      words.resize(packedBlockBytes(n, block.bits) / 4u, 0u);
      for (uint32_t w : words) putU32(w);
      break;
    }
    default:  // 2, 3 and any invalid type: 32-bit words
      for (uint32_t v : block.integers) putU32(v);
      break;
  }
}

void BlockStreamBuilder::appendEnd() {
  putU8(255);
}

namespace {

BlockSpec bytesBlock(uint8_t id, const uint8_t* data, size_t size) {
  BlockSpec b;
  b.id = id;
  b.type = 0;
  b.integers.assign(data, data + size);
  return b;
}

BlockSpec floatBlock(uint8_t id, const float* values, size_t count) {
  BlockSpec b;
  b.id = id;
  b.type = 4;
  b.floats.assign(values, values + count);
  return b;
}

BlockSpec uintBlock(uint8_t id, uint32_t value) {
  BlockSpec b;
  b.id = id;
  b.type = 2;
  b.integers = {value};
  return b;
}

BlockSpec perPixelFloats(uint8_t id, const float* values, uint32_t pixels, uint8_t type,
                         uint8_t bits, int countCode) {
  BlockSpec b = floatBlock(id, values, pixels);
  if (type == 6) {
    b.floats.clear();
    quantiseIntoBlock(values, pixels, bits, &b);
  }
  b.countCode = countCode;
  return b;
}

BlockSpec wigglingBlock(uint8_t id, const KelvoraWiggling& w) {
  const uint32_t n = std::min<uint32_t>(w.count, kWigglingCapacity);
  std::vector<float> v{w.offset};
  for (uint32_t k = 0; k < n; ++k) v.push_back(w.phase[k]);
  for (uint32_t k = 0; k < n; ++k) v.push_back(w.amplitude[k]);
  for (uint32_t k = 0; k < n; ++k) v.push_back(static_cast<float>(w.harmonic[k]));
  return floatBlock(id, v.data(), v.size());
}

}  // namespace

std::vector<BlockSpec> blockCalibrationBlocks(const KelvoraCalibration& c,
                                              const BlockWriterOptions& o) {
  const uint32_t pixels = c.calibrationROI[2] * c.calibrationROI[3];
  std::vector<BlockSpec> blocks;
  blocks.push_back(bytesBlock(0, &c.formatFlag, 1));
  blocks.push_back(floatBlock(1, c.lensParameters, c.lensParameterCount));

  BlockSpec mask;
  mask.id = 2;
  mask.type = 5;
  mask.bits = o.maskBits;
  mask.integers.assign(c.mask, c.mask + pixels);
  mask.countCode = o.perPixelCountCode;
  blocks.push_back(mask);
  blocks.push_back(perPixelFloats(3, c.fpn, pixels, o.fpnType, o.fpnBits, o.perPixelCountCode));

  if (o.dateSeconds) blocks.push_back(uintBlock(4, *o.dateSeconds));
  if (o.serials) {
    blocks.push_back(bytesBlock(5, reinterpret_cast<const uint8_t*>(c.serial),
                                strnlen(c.serial, kCalibrationTextCapacity - 1)));
    blocks.push_back(bytesBlock(6, reinterpret_cast<const uint8_t*>(c.sensorSerial),
                                strnlen(c.sensorSerial, kCalibrationTextCapacity - 1)));
  }
  if (o.auxBytes) blocks.push_back(bytesBlock(7, c.auxBytes, c.auxBytesSize));
  if (o.auxValues) {
    BlockSpec aux;
    aux.id = 8;
    aux.type = 1;
    aux.integers = {c.auxValues[0], c.auxValues[1]};
    blocks.push_back(aux);
  }
  if (o.strayLight && !std::isnan(c.psfScale)) {
    std::vector<float> v{c.psfScale};
    v.insert(v.end(), c.psfRadii, c.psfRadii + 13);
    v.insert(v.end(), c.psfValues, c.psfValues + 13);
    v.insert(v.end(), {c.psfExponent, c.psfOffset, c.psfCentre, static_cast<float>(c.psfWidth),
                       static_cast<float>(c.psfHeight)});
    blocks.push_back(floatBlock(9, v.data(), v.size()));
  }

  const uint32_t frequencies = std::min<uint32_t>(c.frequencyCount, kCalibrationFrequencyCapacity);
  for (uint32_t f = 0; f < frequencies; ++f) {
    const KelvoraCalibrationFrequency& fr = c.frequencies[f];
    const auto id = static_cast<uint8_t>(16 + 7 * f);
    blocks.push_back(uintBlock(id, fr.modulationFrequency));
    blocks.push_back(perPixelFloats(static_cast<uint8_t>(id + 1), fr.fppn, pixels, o.fppnType,
                                    o.fppnBits, o.perPixelCountCode));
    blocks.push_back(
        floatBlock(static_cast<uint8_t>(id + 2), fr.tempCompensation, fr.tempCompensationCount));
    blocks.push_back(
        floatBlock(static_cast<uint8_t>(id + 3), fr.noiseParameters, fr.noiseParameterCount));
    if (o.frequencyScalars && !std::isnan(fr.frequencyScalar)) {
      blocks.push_back(floatBlock(static_cast<uint8_t>(id + 4), &fr.frequencyScalar, 1));
    }
    blocks.push_back(wigglingBlock(static_cast<uint8_t>(id + 5), fr.phaseWiggling));
    blocks.push_back(wigglingBlock(static_cast<uint8_t>(id + 6), fr.amplitudeWiggling));
  }

  blocks.insert(blocks.end(), o.extraBlocks.begin(), o.extraBlocks.end());
  blocks.erase(std::remove_if(blocks.begin(), blocks.end(),
                              [&o](const BlockSpec& b) {
                                return std::find(o.omitIds.begin(), o.omitIds.end(), b.id) !=
                                       o.omitIds.end();
                              }),
               blocks.end());
  std::stable_sort(blocks.begin(), blocks.end(),
                   [](const BlockSpec& a, const BlockSpec& b) { return a.id < b.id; });
  return blocks;
}

std::vector<uint8_t> assembleBlockCalibration(uint16_t dimensionA, uint16_t dimensionB,
                                              uint8_t version,
                                              const std::vector<BlockSpec>& blocks) {
  BlockStreamBuilder builder(dimensionA, dimensionB, version);
  for (const BlockSpec& b : blocks) builder.appendBlock(b);
  builder.appendEnd();
  return builder.bytes();
}

std::vector<uint8_t> writeBlockCalibration(const KelvoraCalibration& c,
                                           const BlockWriterOptions& o) {
  return assembleBlockCalibration(static_cast<uint16_t>(c.calibrationROI[2]),
                                  static_cast<uint16_t>(c.calibrationROI[3]), o.version,
                                  blockCalibrationBlocks(c, o));
}

}  // namespace kelvora::synth
