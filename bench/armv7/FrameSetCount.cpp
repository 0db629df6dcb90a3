// Frame sets of a rendered scene through the engine's processWhole, for
// counting executed instructions under an emulator (scripts/armv7-count.sh):
//
//   kelvora_frame_set_count WIDTH HEIGHT FRAME_SETS
//
// Everything before the first frame set (synthetic calibration, lens model,
// scene, engine) is the same for every FRAME_SETS, so running with k and
// k + m frame sets and dividing the difference by m gives the cost of one
// frame set alone. The same frames are processed each time; the last frame
// set's results are hashed and printed, so two builds can be shown to give
// the same bits.
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "calibration/CalibrationRecord.hpp"
#include "calibration/HandlerPsfAndDirections.hpp"
#include "kelvora/IKelvora.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"
#include "synthetic/SceneRenderer.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace kelvora {
namespace {

// FNV-1a over the bytes of every result array: one number for "same bits".
class OutputHash {
 public:
  template <class T>
  void add(const T* data, uint32_t count) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(data);
    for (uint64_t i = 0; i < uint64_t{count} * sizeof(T); ++i) {
      hash_ = (hash_ ^ bytes[i]) * 0x100000001b3ull;
    }
  }
  uint64_t value() const { return hash_; }

 private:
  uint64_t hash_ = 0xcbf29ce484222325ull;
};

uint32_t parseCount(const char* text, uint32_t lowest, uint32_t highest) {
  char* end = nullptr;
  const unsigned long value = std::strtoul(text, &end, 10);
  if (end == text || *end != '\0' || value < lowest || value > highest) return 0;
  return static_cast<uint32_t>(value);
}

int run(uint32_t width, uint32_t height, uint32_t frameSets) {
  const uint32_t n = width * height;
  // The frame set of the performance notes: the synthetic module with two
  // frequencies and no stray-light model, the scene's defaults.
  synth::SyntheticCalibrationOptions options;
  options.width = width;
  options.height = height;
  KelvoraCalibration* source = synth::makeSyntheticCalibration(options);
  const std::vector<uint8_t> blob = synth::writeContainerCalibration(*source, {});
  kelvora_calcTavelPsfAndDirections(source, n);
  const synth::SceneOptions scene;
  const synth::SceneGeometry geometry = synth::castScene(source->directions, width, height, scene);
  const synth::RenderedFrameSet frames = synth::renderFrameSet(*source, geometry, scene, 0);
  kelvora_freeCalibration(source);

  IKelvora* engine = nullptr;
  const KelvoraStatus created =
      getKelvora(ArrayReference<unsigned char>(const_cast<uint8_t*>(blob.data()),
                                               static_cast<uint32_t>(blob.size())),
                 &engine);
  if (created.code != KelvoraStatus::SUCCESS) {
    std::fprintf(stderr, "engine refused the calibration: %u/0x%08X\n",
                 static_cast<unsigned>(created.code), static_cast<unsigned>(created.detail));
    return 1;
  }

  // The engine only reads the frames; the references lend it our buffers.
  auto frame = [n](const std::vector<uint16_t>& samples) {
    return ArrayReference<unsigned short>(const_cast<uint16_t*>(samples.data()), n);
  };
  Input<ArrayReference, 2> input;
  input.temperature = frames.temperature;
  input.intensityExposureTime = frames.exposureTimes[0];
  input.intensityFrame = frame(frames.grey);
  for (uint32_t f = 0; f < 2; ++f) {
    for (uint32_t k = 0; k < 4; ++k)
      input.frequencies[f].phaseFrames[k] = frame(frames.phase[f][k]);
    input.frequencies[f].exposureTime = frames.exposureTimes[1 + f];
  }

  for (uint32_t i = 0; i < frameSets; ++i) {
    const KelvoraStatus status = engine->processWhole(input);
    if (status.code != KelvoraStatus::SUCCESS) {
      std::fprintf(stderr, "processWhole refused frame set %u: %u/0x%08X\n", i,
                   static_cast<unsigned>(status.code), static_cast<unsigned>(status.detail));
      delete engine;
      return 1;
    }
  }

  OutputHash hash;
  const auto add = [&hash](auto field) { hash.add(field.data(), field.size()); };
  add(engine->results<DISTANCE>());
  add(engine->results<NOISE>());
  add(engine->results<AMPLITUDE>());
  add(engine->results<INTENSITY>());
  add(engine->results<FLAGS>());
  add(engine->results<POINT_CLOUD>());
  add(engine->results<EXPOSURE_PROPOSALS>());
  uint32_t valid = 0;
  const ArrayReference<unsigned int> flags = engine->results<FLAGS>();
  for (uint32_t i = 0; i < flags.size(); ++i) valid += flags[i] == 0u ? 1u : 0u;
  std::printf("%u x %u, %u frame sets: %u valid pixels, outputs %016" PRIx64 "\n", width, height,
              frameSets, valid, hash.value());
  delete engine;
  return 0;
}

}  // namespace
}  // namespace kelvora

int main(int argc, char** argv) {
  const uint32_t width = argc == 4 ? kelvora::parseCount(argv[1], 3, 4096) : 0;
  const uint32_t height = argc == 4 ? kelvora::parseCount(argv[2], 3, 4096) : 0;
  const uint32_t frameSets = argc == 4 ? kelvora::parseCount(argv[3], 1, 1000) : 0;
  if (width == 0 || height == 0 || frameSets == 0) {
    std::fprintf(stderr, "usage: %s WIDTH HEIGHT FRAME_SETS\n", argc > 0 ? argv[0] : "count");
    return 2;
  }
  return kelvora::run(width, height, frameSets);
}
