// Bad input never crashes the block-format reader: a blob cut at every byte
// offset, and blobs with bytes overwritten at random, end in a status code
// with nothing leaked (the sanitizer build checks the latter).
#include <gtest/gtest.h>

#include <vector>

#include "QvTestSupport.hpp"
#include "calibration/QvCustomFields.hpp"
#include "core/StatusCodes.hpp"

namespace kelvora {
namespace {

using qvtest::customBlock;
using qvtest::freshRecord;
using qvtest::readDirect;

constexpr uint32_t kPixels = 40;

std::vector<uint8_t> fullBlob() {
  auto src = qvtest::smallSynthetic();
  src->auxValues[0] = 3;
  synth::BlockWriterOptions o;
  o.fpnType = 6;
  o.fpnBits = 13;
  o.fppnType = 6;
  o.fppnBits = 7;
  o.maskBits = 3;
  o.dateSeconds = 1234567890u;
  o.auxBytes = true;
  o.auxValues = true;
  o.extraBlocks = {customBlock(128, 1, {1, 2, 3}), customBlock(129, 4, {}, {1.5f}),
                   customBlock(131, 0, std::vector<uint32_t>(40, 9))};
  return synth::writeBlockCalibration(*src, o);
}

TEST(QvTruncation, EveryCutGivesAStatus) {
  const std::vector<uint8_t> blob = fullBlob();
  {
    auto whole = freshRecord(kPixels);
    ASSERT_EQ(readDirect(blob, whole.get(), kPixels).status, status::kSuccess);
  }
  for (size_t cut = 0; cut < blob.size(); ++cut) {
    SCOPED_TRACE(cut);
    const std::vector<uint8_t> part(blob.begin(), blob.begin() + static_cast<std::ptrdiff_t>(cut));
    const auto size = static_cast<uint32_t>(cut);
    auto c = freshRecord(kPixels);
    const QvReadResult r = readDirect(part, c.get(), kPixels);
    ASSERT_NE(r.status, status::kSuccess);
    ASSERT_TRUE(status::isError(r.status));
    auto d = freshRecord(kPixels);
    ASSERT_NE(kelvora_readQVHandlerCalibration(part.data(), size, d.get()), status::kSuccess);
    ASSERT_TRUE(status::isError(static_cast<uint32_t>(kelvora_getQVNumPixels(part.data(), size))) ||
                cut >= 11);
    ASSERT_EQ(kelvora_supportsQVCalibration(part.data(), size), cut >= 11 ? 1 : 0);
  }
}

TEST(QvTruncation, CustomFieldPassOnEveryCut) {
  const std::vector<uint8_t> blob = fullBlob();
  auto c = freshRecord(kPixels);
  ASSERT_EQ(readDirect(blob, c.get(), kPixels).status, status::kSuccess);
  ASSERT_EQ(c->customFieldCount, 3);
  ASSERT_EQ(kelvora_readQVCustomFields(blob.data(), static_cast<uint32_t>(blob.size()), c.get()),
            status::kSuccess);
  for (size_t cut = 0; cut < blob.size(); ++cut) {
    const std::vector<uint8_t> part(blob.begin(), blob.begin() + static_cast<std::ptrdiff_t>(cut));
    ASSERT_TRUE(status::isError(
        kelvora_readQVCustomFields(part.data(), static_cast<uint32_t>(cut), c.get())))
        << cut;
  }
}

TEST(QvTruncation, OverwrittenBytesNeverCrash) {
  const std::vector<uint8_t> blob = fullBlob();
  synth::SplitMix rng(21);
  int failures = 0;
  for (int trial = 0; trial < 3000; ++trial) {
    std::vector<uint8_t> bad = blob;
    const int edits = 1 + static_cast<int>(rng.next() % 4);
    for (int e = 0; e < edits; ++e) {
      // The magic stays, so the blocks are what gets parsed.
      const size_t at = 6 + rng.next() % (bad.size() - 6);
      bad[at] = static_cast<uint8_t>(rng.next());
    }
    // Like the registry, size the record from the (possibly edited) header.
    const int32_t pixels = kelvora_getQVNumPixels(bad.data(), static_cast<uint32_t>(bad.size()));
    if (pixels < 0 || pixels > 200000) continue;
    auto c = freshRecord(static_cast<uint32_t>(pixels));
    const QvReadResult r = readDirect(bad, c.get(), static_cast<uint32_t>(pixels));
    if (r.status != status::kSuccess) {
      ++failures;
      continue;
    }
    kelvora_readQVCustomFields(bad.data(), static_cast<uint32_t>(bad.size()), c.get());
  }
  // Most random edits break something the reader checks.
  EXPECT_GT(failures, 300);
}

}  // namespace
}  // namespace kelvora
