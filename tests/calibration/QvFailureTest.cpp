// Bad block-format input: every failure status of the reader, each with the
// block the reader or the whole-file check names, made from a valid
// calibration with one deliberate fault. (Blobs cut anywhere are the
// block-reader fuzz target's.)
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "CalibrationTestSupport.hpp"
#include "base/StatusCodes.hpp"
#include "calibration/QvCustomFields.hpp"

namespace kelvora {
namespace {

using testing::block;
using testing::CalibrationPtr;
using testing::freshRecord;
using testing::readDirect;
using Blocks = std::vector<synth::BlockSpec>;
using Edit = std::function<void(Blocks&)>;

constexpr uint32_t kWidth = 8, kHeight = 5, kPixels = kWidth * kHeight;

CalibrationPtr smallSynthetic(uint32_t width = kWidth, uint32_t height = kHeight) {
  return testing::syntheticRecord(width, height, {80320000u, 60240000u}, true, 3);
}

synth::BlockSpec& blockWithId(Blocks& blocks, uint8_t id) {
  for (auto& b : blocks) {
    if (b.id == id) return b;
  }
  blocks.push_back(synth::BlockSpec{});
  blocks.back().id = id;
  return blocks.back();
}

void removeId(Blocks& blocks, uint8_t id) {
  blocks.erase(std::remove_if(blocks.begin(), blocks.end(),
                              [id](const synth::BlockSpec& b) { return b.id == id; }),
               blocks.end());
}

// Edits of the block list, for the table below.
Edit insert(const synth::BlockSpec& b) {
  return [b](Blocks& blocks) {
    blocks.insert(std::upper_bound(blocks.begin(), blocks.end(), b,
                                   [](const auto& x, const auto& y) { return x.id < y.id; }),
                  b);
  };
}
Edit remove(std::vector<uint8_t> ids) {
  return [ids](Blocks& blocks) {
    for (uint8_t id : ids) removeId(blocks, id);
  };
}
Edit floats(uint8_t id, size_t count) {
  return [id, count](Blocks& b) { blockWithId(b, id).floats.resize(count, 1.0f); };
}
Edit bits(uint8_t id, uint8_t value) {
  return [id, value](Blocks& b) { blockWithId(b, id).bits = value; };
}

struct FailureCase {
  const char* name;
  bool fileHeader;  // the handler turns file-header failures into kUnsupported
  uint32_t status;
  uint32_t identifier;
  Edit editBlocks;
  std::function<void(std::vector<uint8_t>&)> editBytes;
};

synth::BlockSpec declaringMoreThanItHolds() {
  auto x = block(200, 0, {1, 2, 3});
  x.countCode = 249;
  x.declaredCount = 1000;
  return x;
}

Edit sixCustomBlocks() {
  return [](Blocks& b) {
    for (uint8_t id = 128; id < 134; ++id) insert(block(id, 0, {id}))(b);
  };
}

const FailureCase kCases[] = {
    {"unmodified", false, status::kSuccess, kQvNoBlock, nullptr, nullptr},
    // 0x80000003
    {"wrongMagic", true, status::kUnsupported, kQvNoBlock, nullptr,
     [](std::vector<uint8_t>& b) { b[3] = 'X'; }},
    // 0x80000004
    {"headerCut", true, status::kStreamTooShort, kQvNoBlock, nullptr,
     [](std::vector<uint8_t>& b) { b.resize(9); }},
    {"lastPayloadCut", false, status::kStreamTooShort, 29, nullptr,
     [](std::vector<uint8_t>& b) { b.resize(b.size() - 5); }},
    {"customPayloadBeyondEnd", false, status::kStreamTooShort, 200,
     insert(declaringMoreThanItHolds()), nullptr},
    // 0x80000006
    {"auxValuesUnset", false, status::kUnsetValue, 8, insert(block(8, 1, {0xFFFF, 1})), nullptr},
    // 0x80000007
    {"sixthCustomBlock", false, status::kCapacityExceeded, 133, sixCustomBlocks(), nullptr},
    {"wigglingSixTerms", false, status::kCapacityExceeded, 21, floats(21, 19), nullptr},
    // 0x80000008
    {"fpnShort", false, status::kTooFewValues, 3, floats(3, kPixels - 1), nullptr},
    // 0x80000009
    {"idsNotRising", false, status::kInvalidValue, 2,
     [](Blocks& b) { std::swap(blockWithId(b, 2), blockWithId(b, 3)); }, nullptr},
    {"dataTypeSeven", false, status::kInvalidValue, 140, insert(block(140, 7, {})), nullptr},
    {"fpnAsIntegers", false, status::kInvalidValue, 3,
     [](Blocks& b) {
       auto& f = blockWithId(b, 3);
       f.type = 2;
       f.integers.assign(f.floats.size(), 0u);
       f.floats.clear();
     },
     nullptr},
    {"maskBits32", false, status::kInvalidValue, 2, bits(2, 32), nullptr},
    {"strayLight31Floats", false, status::kInvalidValue, 9, floats(9, 31), nullptr},
    {"wigglingThreeFloats", false, status::kInvalidValue, 22, floats(22, 3), nullptr},
    // 0x8000000A, named by the whole-file check
    {"formatFlagMissing", false, status::kEmpty, 0, remove({0}), nullptr},
    {"firstFppnMissing", false, status::kEmpty, 17, remove({17}), nullptr},
    {"groupWithoutFrequency", false, status::kEmpty, 31,
     insert(block(31, 4, {}, std::vector<float>(40, 0.f))), nullptr},
    {"lonelyFrequencyBlock", false, status::kEmpty, 36, insert(block(30, 2, {1000u})), nullptr},
};

TEST(QvFailure, EachFaultReportsItsStatusAndBlock) {
  for (const FailureCase& p : kCases) {
    synth::BlockWriterOptions o;
    o.dateSeconds = 1000000000u;
    Blocks blocks = synth::blockCalibrationBlocks(*smallSynthetic(), o);
    if (p.editBlocks) p.editBlocks(blocks);
    std::vector<uint8_t> blob = synth::assembleBlockCalibration(kWidth, kHeight, 1, blocks);
    if (p.editBytes) p.editBytes(blob);
    const QvReadResult r = readDirect(blob, freshRecord(kPixels).get(), kPixels);
    EXPECT_EQ(r.status, p.status) << p.name << std::hex << " got " << r.status;
    EXPECT_EQ(r.identifier, p.identifier) << p.name;
    EXPECT_EQ(kelvora_readQVHandlerCalibration(blob.data(), static_cast<uint32_t>(blob.size()),
                                               freshRecord(kPixels).get()),
              p.fileHeader ? status::kUnsupported : p.status)
        << p.name;
  }
}

}  // namespace
}  // namespace kelvora
