// Every failure status of the block-format reader, each with the block the
// reader or the whole-file check names, made from a valid calibration with
// one deliberate fault.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "QvTestSupport.hpp"
#include "calibration/QvTable.hpp"
#include "core/StatusCodes.hpp"

namespace kelvora {
namespace {

using qvtest::customBlock;
using qvtest::freshRecord;
using qvtest::readDirect;
using Blocks = std::vector<synth::BlockSpec>;

constexpr uint32_t kWidth = 8, kHeight = 5, kPixels = kWidth * kHeight;

synth::BlockSpec& blockWithId(Blocks& blocks, uint8_t id) {
  for (auto& b : blocks) {
    if (b.id == id) return b;
  }
  blocks.push_back(synth::BlockSpec{});
  blocks.back().id = id;
  return blocks.back();
}

void insertSorted(Blocks& blocks, const synth::BlockSpec& b) {
  blocks.insert(std::upper_bound(blocks.begin(), blocks.end(), b,
                                 [](const synth::BlockSpec& x, const synth::BlockSpec& y) {
                                   return x.id < y.id;
                                 }),
                b);
}

void removeId(Blocks& blocks, uint8_t id) {
  blocks.erase(std::remove_if(blocks.begin(), blocks.end(),
                              [id](const synth::BlockSpec& b) { return b.id == id; }),
               blocks.end());
}

struct FailureCase {
  const char* name;
  bool fileHeader;  // the handler turns file-header failures into kUnsupported
  uint32_t status;
  uint32_t identifier;
  std::function<void(Blocks&)> mutateBlocks;
  std::function<void(std::vector<uint8_t>&)> mutateBytes;
};

class QvFailure : public ::testing::TestWithParam<FailureCase> {};

TEST_P(QvFailure, ReportsStatusAndBlock) {
  const FailureCase& p = GetParam();
  auto src = qvtest::smallSynthetic(kWidth, kHeight);
  synth::BlockWriterOptions o;
  o.dateSeconds = 1000000000u;
  Blocks blocks = synth::blockCalibrationBlocks(*src, o);
  if (p.mutateBlocks) p.mutateBlocks(blocks);
  std::vector<uint8_t> blob = synth::assembleBlockCalibration(kWidth, kHeight, 1, blocks);
  if (p.mutateBytes) p.mutateBytes(blob);

  auto c = freshRecord(kPixels);
  const QvReadResult r = readDirect(blob, c.get(), kPixels);
  EXPECT_EQ(r.status, p.status) << std::hex << r.status;
  EXPECT_EQ(r.identifier, p.identifier);
  // The handler reports the same status.
  auto d = freshRecord(kPixels);
  EXPECT_EQ(
      kelvora_readQVHandlerCalibration(blob.data(), static_cast<uint32_t>(blob.size()), d.get()),
      p.fileHeader ? status::kUnsupported : p.status);
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
    {"endMarkerMissing", false, status::kStreamTooShort, kQvNoBlock, nullptr,
     [](std::vector<uint8_t>& b) { b.pop_back(); }},
    {"customPayloadBeyondEnd", false, status::kStreamTooShort, 200,
     [](Blocks& b) {
       auto x = customBlock(200, 0, {1, 2, 3});
       x.countCode = 249;
       x.declaredCount = 1000;
       insertSorted(b, x);
     },
     nullptr},
    // 0x80000006
    {"auxValuesUnset", false, status::kUnsetValue, 8,
     [](Blocks& b) {
       insertSorted(b, customBlock(8, 1, {0xFFFF, 1}));
     },
     nullptr},
    // 0x80000007
    {"sixthCustomBlock", false, status::kCapacityExceeded, 133,
     [](Blocks& b) {
       for (uint8_t id = 128; id < 134; ++id) insertSorted(b, customBlock(id, 0, {id}));
     },
     nullptr},
    {"wigglingSixTerms", false, status::kCapacityExceeded, 21,
     [](Blocks& b) { blockWithId(b, 21).floats.assign(19, 1.0f); }, nullptr},
    {"serialTooLong", false, status::kCapacityExceeded, 5,
     [](Blocks& b) { blockWithId(b, 5).integers.assign(64, 'x'); }, nullptr},
    {"lensTenValues", false, status::kCapacityExceeded, 1,
     [](Blocks& b) { blockWithId(b, 1).floats.push_back(0.0f); }, nullptr},
    {"auxBytesTooMany", false, status::kCapacityExceeded, 7,
     [](Blocks& b) { insertSorted(b, customBlock(7, 0, std::vector<uint32_t>(33, 1))); }, nullptr},
    {"maskMoreValuesThanPixels", false, status::kCapacityExceeded, 2,
     [](Blocks& b) { blockWithId(b, 2).integers.push_back(1); }, nullptr},
    // 0x80000008
    {"fpnShort", false, status::kTooFewValues, 3,
     [](Blocks& b) { blockWithId(b, 3).floats.pop_back(); }, nullptr},
    {"temperatureThreeValues", false, status::kTooFewValues, 18,
     [](Blocks& b) { blockWithId(b, 18).floats.pop_back(); }, nullptr},
    {"auxValuesOne", false, status::kTooFewValues, 8,
     [](Blocks& b) { insertSorted(b, customBlock(8, 1, {5})); }, nullptr},
    // 0x80000009
    {"idsNotRising", false, status::kInvalidValue, 2,
     [](Blocks& b) { std::swap(blockWithId(b, 2), blockWithId(b, 3)); }, nullptr},
    {"repeatedId", false, status::kInvalidValue, 5, [](Blocks& b) { blockWithId(b, 6).id = 5; },
     nullptr},
    {"dataTypeSeven", false, status::kInvalidValue, 140,
     [](Blocks& b) { insertSorted(b, customBlock(140, 7, {})); }, nullptr},
    {"fpnAsIntegers", false, status::kInvalidValue, 3,
     [](Blocks& b) {
       auto& f = blockWithId(b, 3);
       f.type = 2;
       f.integers.assign(f.floats.size(), 0u);
       f.floats.clear();
     },
     nullptr},
    {"maskBits32", false, status::kInvalidValue, 2, [](Blocks& b) { blockWithId(b, 2).bits = 32; },
     nullptr},
    {"maskBits0", false, status::kInvalidValue, 2, [](Blocks& b) { blockWithId(b, 2).bits = 0; },
     nullptr},
    {"strayLight31Floats", false, status::kInvalidValue, 9,
     [](Blocks& b) { blockWithId(b, 9).floats.pop_back(); }, nullptr},
    {"dateTwoValues", false, status::kInvalidValue, 4,
     [](Blocks& b) { blockWithId(b, 4).integers.push_back(1); }, nullptr},
    {"wigglingThreeFloats", false, status::kInvalidValue, 22,
     [](Blocks& b) { blockWithId(b, 22).floats.assign(3, 1.0f); }, nullptr},
    {"wigglingOneFloat", false, status::kInvalidValue, 28,
     [](Blocks& b) { blockWithId(b, 28).floats.assign(1, 1.0f); }, nullptr},
    // 0x8000000A, named by the whole-file check
    {"formatFlagMissing", false, status::kEmpty, 0, [](Blocks& b) { removeId(b, 0); }, nullptr},
    {"firstFppnMissing", false, status::kEmpty, 17, [](Blocks& b) { removeId(b, 17); }, nullptr},
    {"secondGroupIncomplete", false, status::kEmpty, 29, [](Blocks& b) { removeId(b, 29); },
     nullptr},
    {"secondGroupTwoMissing", false, status::kEmpty, 29,
     [](Blocks& b) {
       removeId(b, 24);
       removeId(b, 29);
     },
     nullptr},
    {"groupWithoutFrequency", false, status::kEmpty, 31,
     [](Blocks& b) { insertSorted(b, customBlock(31, 4, {}, std::vector<float>(40, 0.f))); },
     nullptr},
    {"lonelyFrequencyBlock", false, status::kEmpty, 36,
     [](Blocks& b) { insertSorted(b, customBlock(30, 2, {1000u})); }, nullptr},
};

INSTANTIATE_TEST_SUITE_P(Faults, QvFailure, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<FailureCase>& i) {
                           return std::string(i.param.name);
                         });

TEST(QvTableFailures, ValidationRecordWithoutStorage) {
  // The format's own table always has storage; a table made without it
  // refuses entries that bring a validation record.
  QvTable* table = kelvora_createTable(2, 0);
  ASSERT_NE(table, nullptr);
  const QvTableEntry entry{1, nullptr, 0, nullptr, kQvNoMinimum, nullptr, nullptr};
  const QvValidation validation{1, 0, 0, 0, 0};
  EXPECT_EQ(kelvora_addQVTableEntry(table, &entry, &validation), status::kInvalidRecord);
  EXPECT_EQ(kelvora_addQVTableEntry(table, &entry, nullptr), status::kSuccess);
  EXPECT_EQ(kelvora_addQVTableEntry(table, &entry, nullptr), status::kSuccess);
  EXPECT_EQ(kelvora_addQVTableEntry(table, &entry, nullptr), status::kCapacityExceeded);
  kelvora_freeQVTable(table);

  auto c = freshRecord(4);
  const std::vector<uint8_t> blob = {'Z', 'Y', 'N', 'Q', 'V', 'F', 1, 0, 2, 0, 2, 255};
  EXPECT_EQ(kelvora_readQVCalibration(blob.data(), 12, c.get(), nullptr).status,
            status::kInvalidRecord);
}

TEST(QvTableFailures, DrevantTableHasItsFortyFiveEntries) {
  auto c = freshRecord(4);
  QvTable* t = kelvora_createDrevantTable(c.get(), 4);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t->count, 45u);
  EXPECT_EQ(t->count, t->capacity);
  for (uint8_t id = 0; id < 10; ++id) EXPECT_NE(kelvora_findQVTableEntry(t, id), nullptr) << id;
  for (uint8_t id = 10; id < 16; ++id) EXPECT_EQ(kelvora_findQVTableEntry(t, id), nullptr) << id;
  for (uint8_t id = 16; id <= 50; ++id) EXPECT_NE(kelvora_findQVTableEntry(t, id), nullptr) << id;
  EXPECT_EQ(kelvora_findQVTableEntry(t, 51), nullptr);
  const QvTableEntry entry{60, nullptr, 0, nullptr, kQvNoMinimum, nullptr, nullptr};
  EXPECT_EQ(kelvora_addQVTableEntry(t, &entry, nullptr), status::kCapacityExceeded);
  for (uint8_t id = 0; id < 60; ++id) {
    EXPECT_EQ(isFrequencyBlock(id), id >= 16 && id <= 44 && (id - 16) % 7 == 0) << int(id);
  }
  kelvora_freeQVTable(t);
}

// ---------------------------------------------------------------------------
// Pixel counts from the header: zero and absurd values.

TEST(QvPixelCount, AbsurdCountsAreRefusedBeforeAnythingIsSized) {
  std::vector<uint8_t> blob = {'Z', 'Y', 'N', 'Q', 'V', 'F', 1, 0xFF, 0xFF, 0xFF, 0xFF, 255};
  const auto size = static_cast<uint32_t>(blob.size());
  EXPECT_EQ(static_cast<uint32_t>(kelvora_getQVNumPixels(blob.data(), size)),
            status::kCapacityExceeded);
  auto c = freshRecord(1);
  EXPECT_EQ(kelvora_readQVHandlerCalibration(blob.data(), size, c.get()),
            status::kCapacityExceeded);
  // 4096 x 4096 is the largest count accepted, 4097 x 4096 is refused.
  blob[7] = 0x10, blob[8] = 0x00, blob[9] = 0x10, blob[10] = 0x00;
  EXPECT_EQ(kelvora_getQVNumPixels(blob.data(), size), 4096 * 4096);
  blob[8] = 0x01;
  EXPECT_EQ(static_cast<uint32_t>(kelvora_getQVNumPixels(blob.data(), size)),
            status::kCapacityExceeded);
}

TEST(QvPixelCount, ZeroPixelsLeaveNoScratchRoomForCopiedBlocks) {
  // Per-pixel blocks are empty with no pixels, but every block that goes
  // through a copy function (text, wiggling, stray light) needs scratch room
  // of 4 bytes per pixel: the first such block with data is refused.
  auto src = qvtest::smallSynthetic();
  Blocks blocks = synth::blockCalibrationBlocks(*src);
  for (auto& b : blocks) {
    if (b.id == 2 || b.id == 3 || b.id == 17 || b.id == 24) {
      b.integers.clear();
      b.floats.clear();
      b.countCode = 0;
    }
  }
  const auto blob = synth::assembleBlockCalibration(0, 5, 1, blocks);
  EXPECT_EQ(kelvora_getQVNumPixels(blob.data(), static_cast<uint32_t>(blob.size())), 0);
  auto c = freshRecord(0);
  QvReadResult r = readDirect(blob, c.get(), 0);
  EXPECT_EQ(r.status, status::kCapacityExceeded);
  EXPECT_EQ(r.identifier, 5u);  // serial

  removeId(blocks, 5);
  removeId(blocks, 6);
  auto d = freshRecord(0);
  r = readDirect(synth::assembleBlockCalibration(0, 5, 1, blocks), d.get(), 0);
  EXPECT_EQ(r.status, status::kCapacityExceeded);
  EXPECT_EQ(r.identifier, 9u);  // stray light
}

TEST(QvPixelCount, StrayLightBlockNeedsThirtyTwoPixelsOfScratchRoom) {
  // Its 32 decoded floats go through the scratch room of 4 bytes per pixel.
  for (uint32_t width : {31u, 32u}) {
    auto src = qvtest::smallSynthetic(width, 1);
    const auto blob = synth::writeBlockCalibration(*src);
    auto c = freshRecord(width);
    const QvReadResult r = readDirect(blob, c.get(), width);
    if (width == 31) {
      EXPECT_EQ(r.status, status::kCapacityExceeded);
      EXPECT_EQ(r.identifier, 9u);
    } else {
      EXPECT_EQ(r.status, status::kSuccess);
      EXPECT_EQ(c->psfScale, src->psfScale);
    }
  }
}

}  // namespace
}  // namespace kelvora
