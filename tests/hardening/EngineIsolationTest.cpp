// Engines are independent: one engine's calls never change another's
// results, and redirected results stay inside the caller's targets.
#include <gtest/gtest.h>

#include <vector>

#include "common/EngineHarness.hpp"

namespace kelvora {
namespace {

using testing::EnginePtr;
using testing::inputFor;

std::vector<synth::RenderedFrameSet> render(const synth::SyntheticCalibrationOptions& o,
                                            uint32_t count) {
  const testing::SceneForEngine scene(o);
  std::vector<synth::RenderedFrameSet> frames;
  for (uint32_t i = 0; i < count; ++i) frames.push_back(scene.render(i));
  return frames;
}

// 91 pixels, one frequency: vector tails and a second shape of scratch.
synth::SyntheticCalibrationOptions otherOptions() {
  synth::SyntheticCalibrationOptions o = testing::smallCalibration({60240000u});
  o.width = 13;
  o.height = 7;
  o.seed = 9;
  return o;
}

TEST(EngineIsolation, InterleavedEnginesGiveTheResultsOfEngineAlone) {
  const synth::SyntheticCalibrationOptions a = testing::smallCalibration();
  const synth::SyntheticCalibrationOptions b = otherOptions();
  std::vector<synth::RenderedFrameSet> framesA = render(a, 3);
  std::vector<synth::RenderedFrameSet> framesB = render(b, 3);
  const std::vector<uint8_t> blobA = testing::containerBlobFor(a);
  const std::vector<uint8_t> blobB = testing::containerBlobFor(b);

  // Reference: A alone.
  std::vector<std::vector<unsigned char>> alone;
  {
    EnginePtr e = testing::makeEngine(blobA);
    ASSERT_NE(e, nullptr);
    for (synth::RenderedFrameSet& f : framesA) {
      e->processWhole(inputFor(f));
      alone.push_back(testing::resultBytes(*e));
    }
  }

  EnginePtr engineA = testing::makeEngine(blobA);
  EnginePtr engineB = testing::makeEngine(blobB);
  ASSERT_NE(engineA, nullptr);
  ASSERT_NE(engineB, nullptr);
  for (size_t i = 0; i < framesA.size(); ++i) {
    const Input<ArrayReference, 2> in = inputFor(framesA[i]);
    engineB->processWhole(inputFor(framesB[i]));
    engineA->processIntensity(in);
    engineB->processWhole(inputFor(framesB[(i + 1) % framesB.size()]));
    engineA->processModFrames<FREQUENCY_1>(in);
    // Reconfiguring B (a re-initialisation) between A's calls.
    EXPECT_EQ(engineB->reconfigure(engineB->configuration()).code, KelvoraStatus::SUCCESS);
    engineA->processModFrames<FREQUENCY_2>(in);
    engineA->combineResults();
    EXPECT_TRUE(testing::resultBytes(*engineA) == alone[i]) << "frame set " << i;
    if (i == 1) engineB.reset();  // A carries on after B is gone
    if (!engineB) engineB = testing::makeEngine(blobB);
  }
}

template <ResultType RT, class T>
void redirect(Configuration& c, T* target, uint32_t size) {
  OutputRedirector<RT> r;
  r.setRedirection(ArrayReference<T>(target, size));
  c.setOutputRedirection(r);
}

// Each result redirected into an exactly sized window of one larger buffer,
// with canaries on both sides that processing must leave alone. 91 pixels:
// the per-pixel stages work on groups of four and their buffers are padded,
// the caller's arrays are not.
TEST(EngineIsolation, RedirectedResultsStayInsideTheirTargets) {
  const synth::SyntheticCalibrationOptions o = otherOptions();
  std::vector<synth::RenderedFrameSet> frames = render(o, 2);
  EnginePtr e = testing::makeEngine(testing::containerBlobFor(o));
  ASSERT_NE(e, nullptr);
  const uint32_t n = o.width * o.height, kGuard = 16, kCanary = 0xC0FFEE11u;
  std::vector<uint32_t> arena(kGuard, kCanary);
  uint32_t starts[6];
  for (uint32_t k = 0; k < 6; ++k) {  // in ResultType order; the point cloud first
    starts[k] = static_cast<uint32_t>(arena.size());
    arena.resize(arena.size() + (k == POINT_CLOUD ? 4 * n : n), 0u);
    arena.resize(arena.size() + kGuard, kCanary);
  }
  auto floats = [&](ResultType k) { return reinterpret_cast<float*>(&arena[starts[k]]); };
  Configuration c = e->configuration();
  redirect<POINT_CLOUD>(c, floats(POINT_CLOUD), 4 * n);
  redirect<AMPLITUDE>(c, floats(AMPLITUDE), n);
  redirect<FLAGS>(c, &arena[starts[FLAGS]], n);
  redirect<NOISE>(c, floats(NOISE), n);
  redirect<INTENSITY>(c, floats(INTENSITY), n);
  redirect<DISTANCE>(c, floats(DISTANCE), n);
  ASSERT_EQ(e->reconfigure(c).code, KelvoraStatus::SUCCESS);

  for (synth::RenderedFrameSet& f : frames) e->processWhole(inputFor(f));
  uint32_t canaries = 0;
  for (uint32_t word : arena) canaries += word == kCanary;
  EXPECT_EQ(canaries, 7 * kGuard);
  EXPECT_GT(*floats(DISTANCE) + floats(DISTANCE)[n / 2], 1.0f);  // the distances were written
  EXPECT_EQ(static_cast<const IKelvora&>(*e).results<DISTANCE>().data(), floats(DISTANCE))
      << "a redirected result is handed out as a reference, never copied";
}

}  // namespace
}  // namespace kelvora
