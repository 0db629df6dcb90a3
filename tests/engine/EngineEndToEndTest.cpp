// The library used end to end through its public interface only.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "calibration/CalibrationExport.hpp"
#include "engine/EngineTestSupport.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"

namespace kelvora {
namespace {

using testing::EnginePtr;
using testing::makeEngine;

TEST(EngineEndToEnd, AccuracyThroughThePublicInterface) {
  const synth::SyntheticCalibrationOptions o;  // 224 x 172, two frequencies
  EnginePtr e = makeEngine(testing::containerBlobFor(o));
  ASSERT_NE(e, nullptr);
  testing::SceneForEngine scene(o);
  synth::RenderedFrameSet frames = scene.render();
  ASSERT_EQ(e->processWhole(testing::inputFor(frames)).code, KelvoraStatus::SUCCESS);

  const ArrayReference<float> distance = e->results<DISTANCE>();
  const ArrayReference<float> noise = e->results<NOISE>();
  const ArrayReference<unsigned int> flags = e->results<FLAGS>();
  uint32_t valid = 0, within = 0;
  for (uint32_t i = 0; i < distance.size(); ++i) {
    if (flags[i] != 0) continue;
    ++valid;
    if (std::fabs(distance[i] - scene.geometry().trueDistance[i]) <= 3.0f * noise[i]) ++within;
  }
  EXPECT_GT(valid, distance.size() * 9 / 10);
  EXPECT_GE(within, valid * 99 / 100) << within << " of " << valid;
  const ArrayReference<unsigned int> proposals = e->results<EXPOSURE_PROPOSALS>();
  ASSERT_EQ(proposals.size(), 3u);
  // The registry's limits (1 and 2) bound every proposal.
  EXPECT_GE(proposals[1], 1u);
  EXPECT_LE(proposals[1], 2u);
}

TEST(EngineEndToEnd, LegacyCalibrationMakesAWorkingEngine) {
  const std::string dir =
      (std::filesystem::temp_directory_path() / "kelvora-engine-legacy").string();
  calibrationSaveDir = dir.c_str();
  const synth::SyntheticCalibrationOptions o;
  KelvoraCalibration* c = synth::makeSyntheticCalibration(o);
  synth::LegacyWriterOptions w;
  for (auto& f : w.frequency) {
    f.minimum = -0.05f;
    f.maximum = 0.05f;
  }
  const std::vector<uint8_t> blob = synth::writeLegacyCalibration(*c, w);
  kelvora_freeCalibration(c);
  EnginePtr e = makeEngine(blob);
  calibrationSaveDir = nullptr;
  std::filesystem::remove_all(dir);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->getWidth(), 224u);
  EXPECT_EQ(e->getHeight(), 172u);
  testing::SceneForEngine scene(o);
  synth::RenderedFrameSet frames = scene.render();
  EXPECT_EQ(e->processWhole(testing::inputFor(frames)).code, KelvoraStatus::SUCCESS);
  EXPECT_EQ(e->results<EXPOSURE_PROPOSALS>().size(), 3u);
}

size_t heapInUse() {
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
  return mallinfo2().uordblks;
#else
  return 0;  // the sanitizer's own allocator: LeakSanitizer checks instead
#endif
}

TEST(EngineLifecycle, ThousandEnginesLeaveNoTrace) {
  synth::SyntheticCalibrationOptions o;
  o.width = 40;
  o.height = 30;
  const std::vector<uint8_t> blob = testing::containerBlobFor(o);
  testing::SceneForEngine scene(o);
  synth::RenderedFrameSet frames = scene.render();
  const Input<ArrayReference, 2> in = testing::inputFor(frames);
  auto cycle = [&] {
    EnginePtr e = makeEngine(blob);
    e->processWhole(in);
  };
  for (int i = 0; i < 10; ++i) cycle();  // settle the allocator
  const size_t before = heapInUse();
  for (int i = 0; i < 1000; ++i) cycle();
  const size_t after = heapInUse();
  // A leak of even one small block per cycle would add 32 kB or more; what
  // remains is the allocator's own bookkeeping.
  EXPECT_LE(after, before + 16384) << "heap grew from " << before << " to " << after;
}

}  // namespace
}  // namespace kelvora
