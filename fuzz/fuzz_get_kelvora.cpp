// getKelvora on arbitrary bytes: every format's dispatch, reader, lens model
// and the engine's configuration fitted to whatever the blob describes.
#include <cstddef>
#include <cstdint>

#include "FuzzSupport.hpp"
#include "calibration/CalibrationHandlerRegistry.hpp"
#include "kelvora/IKelvora.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kelvora;
  // The blob sizes the record; the registry refuses nothing below the
  // formats' own limits, so keep the fuzzer inside its memory budget.
  const int32_t pixels = kelvora_dispatchGetNumPixels(data, fuzz::size32(size));
  if (pixels > fuzz::kMaxFuzzPixels) return 0;

  const ArrayReference<unsigned char> bytes(const_cast<uint8_t*>(data), fuzz::size32(size));
  IKelvora* engine = reinterpret_cast<IKelvora*>(&engine);  // must be overwritten
  const KelvoraStatus s = getKelvora(bytes, &engine);
  if (s.code == KelvoraStatus::SUCCESS) {
    if (engine == nullptr) fuzz::contractBroken();
    // The region of interest is what frames are sized from.
    const uint64_t n = uint64_t{engine->getWidth()} * engine->getHeight();
    if (n == 0 || n > static_cast<uint64_t>(pixels)) fuzz::contractBroken();
    delete engine;
  } else if (engine != nullptr) {
    fuzz::contractBroken();
  }
  return 0;
}
