// Frame sets with a missing or short frame, through the public processing
// calls: a call that would read the frame refuses the frame set with
// INVALID_INPUT and the frame's number, and every result of the previous frame
// set stays as it was; a call that would not read it goes ahead. Short frames
// live in heap buffers that end exactly at their short size, so
// AddressSanitizer reports any read past them.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "common/EngineHarness.hpp"

namespace kelvora {
namespace {

enum class Defect { Empty, OneShort, NullData };
enum class Call { Whole, Intensity, Frequency1, Frequency2 };

constexpr uint32_t kFrames = 9;  // grey, then A0..A3 of frequency 0 and of frequency 1

template <class In>
auto& frameOf(In& in, uint32_t frame) {
  if (frame == 0) return in.intensityFrame;
  return in.frequencies[(frame - 1) / 4].phaseFrames[(frame - 1) % 4];
}

// Does `call` hand `frame` to the core on an engine of `frequencies`?
bool reads(Call call, uint32_t frame, uint32_t frequencies) {
  if (frame == 0) return call == Call::Whole || call == Call::Intensity;
  const uint32_t f = (frame - 1) / 4;
  const bool own = f == 0 ? call == Call::Frequency1 : call == Call::Frequency2;
  return f < frequencies && (call == Call::Whole || own);
}

template <template <class> class C>
KelvoraStatus run(IKelvora& e, Call call, const Input<C, 2>& in) {
  switch (call) {
    case Call::Whole:
      return e.processWhole(in);
    case Call::Intensity:
      return e.processIntensity(in);
    case Call::Frequency1:
      return e.processModFrames<FREQUENCY_1>(in);
    case Call::Frequency2:
      return e.processModFrames<FREQUENCY_2>(in);
  }
  return KelvoraStatus{};
}

Input<ArrayHolder, 2> holdersOf(const Input<ArrayReference, 2>& in) {
  Input<ArrayHolder, 2> out;
  out.temperature = in.temperature;
  out.intensityExposureTime = in.intensityExposureTime;
  for (uint32_t frame = 0; frame < kFrames; ++frame) {
    const ArrayReference<unsigned short>& from = frameOf(in, frame);
    ArrayHolder<unsigned short> copy(from.size());
    std::copy(from.begin(), from.end(), copy.begin());
    frameOf(out, frame) = std::move(copy);
  }
  for (uint32_t f = 0; f < 2; ++f) out.frequencies[f].exposureTime = in.frequencies[f].exposureTime;
  return out;
}

// One engine per frequency count; every damaged frame through every call and
// both container kinds, after a good frame set each time.
TEST(FrameBadInput, RefusedBeforeAnythingIsReadAndResultsStand) {
  for (const std::vector<uint32_t>& calibrated :
       {std::vector<uint32_t>{60240000u}, std::vector<uint32_t>{80320000u, 60240000u}}) {
    const synth::SyntheticCalibrationOptions options = testing::smallCalibration(calibrated);
    testing::EnginePtr e = testing::makeEngine(testing::containerBlobFor(options));
    ASSERT_NE(e, nullptr);
    const uint32_t n = e->getWidth() * e->getHeight();
    synth::RenderedFrameSet frames = testing::SceneForEngine(options).render();
    const Input<ArrayReference, 2> good = testing::inputFor(frames);
    const Input<ArrayHolder, 2> goodHolders = holdersOf(good);
    const uint32_t frequencies = static_cast<uint32_t>(calibrated.size());

    for (Defect d : {Defect::Empty, Defect::OneShort, Defect::NullData}) {
      for (uint32_t frame = 0; frame < kFrames; ++frame) {
        for (Call call : {Call::Whole, Call::Intensity, Call::Frequency1, Call::Frequency2}) {
          for (bool holders : {false, true}) {
            if (holders && d == Defect::NullData) continue;  // a holder of n has data
            SCOPED_TRACE(::testing::Message()
                         << frequencies << " frequencies, defect " << static_cast<int>(d)
                         << ", frame " << frame << ", call " << static_cast<int>(call)
                         << (holders ? ", ArrayHolder" : ", ArrayReference"));
            ASSERT_EQ(e->processWhole(goodHolders).code, KelvoraStatus::SUCCESS);
            const std::vector<unsigned char> before = testing::resultBytes(*e);
            const uint32_t size = d == Defect::OneShort ? n - 1 : d == Defect::Empty ? 0 : n;
            std::vector<unsigned short> room(size == 0 ? 1 : size);  // ends at the short size
            KelvoraStatus s;
            if (holders) {  // a holder allocates exactly its size
              Input<ArrayHolder, 2> in = goodHolders;
              frameOf(in, frame) = ArrayHolder<unsigned short>(size);
              s = run(*e, call, in);
            } else {
              Input<ArrayReference, 2> in = good;
              frameOf(in, frame) = ArrayReference<unsigned short>(
                  d == Defect::NullData ? nullptr : room.data(), size);
              s = run(*e, call, in);
            }
            if (!reads(call, frame, frequencies)) {
              EXPECT_EQ(s.code, KelvoraStatus::SUCCESS);
              continue;
            }
            EXPECT_EQ(s.code, KelvoraStatus::INVALID_INPUT);
            EXPECT_EQ(s.detail, frame);
            EXPECT_TRUE(testing::resultBytes(*e) == before);
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace kelvora
