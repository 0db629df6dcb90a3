// A minimal host: builds an engine from a calibration file, redirects the
// distance into its own array, processes a few frame sets and reads the point
// cloud. Only the installed public headers are used.
//
//   kelvora_host_example calibration.bin
#include <kelvora/IKelvora.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

// Four phase frames of a flat target: every pixel sees the same phase, so
// the distance comes out the same everywhere.
void fillFlatTarget(std::vector<unsigned short> (&frames)[4], double phase, double amplitude) {
  const double offset = 1800.0;
  const double samples[4] = {
      offset + amplitude * std::cos(phase), offset - amplitude * std::sin(phase),
      offset - amplitude * std::cos(phase), offset + amplitude * std::sin(phase)};
  for (int k = 0; k < 4; ++k) {
    std::fill(frames[k].begin(), frames[k].end(), static_cast<unsigned short>(samples[k]));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s CALIBRATION_FILE\n", argv[0]);
    return 2;
  }
  std::ifstream file(argv[1], std::ios::binary);
  std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(file)),
                                   std::istreambuf_iterator<char>());
  if (!file.good() && !file.eof()) {
    std::fprintf(stderr, "cannot read %s\n", argv[1]);
    return 1;
  }

  kelvora::IKelvora* engine = nullptr;
  const kelvora::KelvoraStatus created = kelvora::getKelvora(
      kelvora::ArrayReference<unsigned char>(bytes.data(), static_cast<uint32_t>(bytes.size())),
      &engine);
  if (created.code != kelvora::KelvoraStatus::SUCCESS) {
    std::fprintf(stderr, "calibration not usable: status %u, detail 0x%08X\n",
                 static_cast<unsigned>(created.code), created.detail);
    return 1;
  }
  const uint32_t width = engine->getWidth(), height = engine->getHeight();
  const uint32_t pixels = width * height;
  std::printf("engine %s for %u x %u pixels\n", kelvora::getVersion(), width, height);

  // The distance goes straight into our own array: no copy after processing.
  std::vector<float> distance(pixels, 0.0f);
  kelvora::Configuration config = engine->configuration();
  kelvora::Configuration::OutputRedirector<kelvora::DISTANCE> toOurs;
  toOurs.setRedirection(kelvora::ArrayReference<float>(distance.data(), pixels));
  config.setOutputRedirection(toOurs);
  if (engine->reconfigure(config).code != kelvora::KelvoraStatus::SUCCESS) {
    std::fprintf(stderr, "redirection refused\n");
    delete engine;
    return 1;
  }

  std::vector<unsigned short> grey(pixels, 600);
  std::vector<unsigned short> phase[2][4];
  for (auto& frequency : phase) {
    for (auto& frame : frequency) frame.assign(pixels, 0);
  }
  for (int frameSet = 0; frameSet < 3; ++frameSet) {
    fillFlatTarget(phase[0], 1.0 + 0.1 * frameSet, 600.0);
    fillFlatTarget(phase[1], 0.75 + 0.075 * frameSet, 600.0);
    kelvora::Input<kelvora::ArrayReference, 2> input;
    input.temperature = 30.0f;
    input.intensityExposureTime = 200;
    input.intensityFrame = kelvora::ArrayReference<unsigned short>(grey.data(), pixels);
    for (int f = 0; f < 2; ++f) {
      for (int k = 0; k < 4; ++k) {
        input.frequencies[f].phaseFrames[k] =
            kelvora::ArrayReference<unsigned short>(phase[f][k].data(), pixels);
      }
      input.frequencies[f].exposureTime = 1000;
    }
    // A frame set with a missing or short frame is refused as a whole; the
    // previous results stay.
    const kelvora::KelvoraStatus processed = engine->processWhole(input);
    if (processed.code != kelvora::KelvoraStatus::SUCCESS) {
      std::fprintf(stderr, "frame set %d refused: status %u, detail %u\n", frameSet,
                   static_cast<unsigned>(processed.code), processed.detail);
      delete engine;
      return 1;
    }

    const kelvora::ArrayReference<float> cloud = engine->results<kelvora::POINT_CLOUD>();
    const kelvora::ArrayReference<unsigned int> flags = engine->results<kelvora::FLAGS>();
    const uint32_t centre = (height / 2) * width + width / 2;
    uint32_t valid = 0;
    for (uint32_t i = 0; i < pixels; ++i) valid += flags[i] == 0 ? 1 : 0;
    std::printf("frame set %d: centre distance %.3f m, point (%.3f, %.3f, %.3f), %u valid pixels\n",
                frameSet, distance[centre], cloud[4 * centre], cloud[4 * centre + 1],
                cloud[4 * centre + 2], valid);
  }
  delete engine;
  return 0;
}
