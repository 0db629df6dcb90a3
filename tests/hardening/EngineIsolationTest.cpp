// Engines are independent: one engine's calls never change another's
// results, and redirected results stay inside the caller's targets.
#include <gtest/gtest.h>

#include <cstring>
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
  Configuration::OutputRedirector<RT> r;
  r.setRedirection(ArrayReference<T>(target, size));
  c.setOutputRedirection(r);
}

// Each result redirected into an exactly sized window of one larger buffer,
// with canaries on both sides that processing must leave alone.
TEST(EngineIsolation, RedirectedResultsStayInsideTheirTargets) {
  const synth::SyntheticCalibrationOptions a = otherOptions();
  std::vector<synth::RenderedFrameSet> frames = render(a, 2);
  EnginePtr e = testing::makeEngine(testing::containerBlobFor(a));
  ASSERT_NE(e, nullptr);
  const uint32_t n = a.width * a.height;
  constexpr uint32_t kGuard = 16;
  constexpr uint32_t kCanary = 0xC0FFEE11u;
  const uint32_t sizes[6] = {4 * n, n, n, n, n, n};  // in ResultType order
  std::vector<uint32_t> arena;
  std::vector<uint32_t> starts;
  for (uint32_t s : sizes) {
    arena.insert(arena.end(), kGuard, kCanary);
    starts.push_back(static_cast<uint32_t>(arena.size()));
    arena.insert(arena.end(), s, 0u);
  }
  arena.insert(arena.end(), kGuard, kCanary);
  auto floats = [&](ResultType k) { return reinterpret_cast<float*>(arena.data() + starts[k]); };

  Configuration c = e->configuration();
  redirect<POINT_CLOUD>(c, floats(POINT_CLOUD), sizes[POINT_CLOUD]);
  redirect<AMPLITUDE>(c, floats(AMPLITUDE), n);
  redirect<FLAGS>(c, arena.data() + starts[FLAGS], n);
  redirect<NOISE>(c, floats(NOISE), n);
  redirect<INTENSITY>(c, floats(INTENSITY), n);
  redirect<DISTANCE>(c, floats(DISTANCE), n);
  ASSERT_EQ(e->reconfigure(c).code, KelvoraStatus::SUCCESS);

  for (synth::RenderedFrameSet& f : frames) e->processWhole(inputFor(f));
  EXPECT_EQ(e->results<DISTANCE>().data(), floats(DISTANCE));
  for (int k = 0; k < 6; ++k) {
    for (uint32_t g = 1; g <= kGuard; ++g) {
      ASSERT_EQ(arena[starts[k] - g], kCanary) << "before result " << k;
    }
  }
  for (uint32_t g = 1; g <= kGuard; ++g) ASSERT_EQ(arena[arena.size() - g], kCanary);
  // The distance window was written: a pixel that sees the wall.
  float d;
  std::memcpy(&d, &arena[starts[DISTANCE] + n / 2], 4);
  EXPECT_GT(d, 1.0f);
}

}  // namespace
}  // namespace kelvora
