// The engine made from a valid calibration, then fed parameter edits,
// redirections and a sequence of processing calls on arbitrary frame
// contents (frames always of the calibration's size; see EngineFuzzInput.hpp
// for the layout of an input).
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "EngineFuzzInput.hpp"
#include "FuzzSupport.hpp"
#include "kelvora/IKelvora.hpp"

namespace {

using namespace kelvora;

class Reader {
 public:
  Reader(const uint8_t* data, size_t size) : p_(data), left_(size) {}
  uint8_t u8() { return left_ == 0 ? 0 : (--left_, *p_++); }
  uint32_t u32() {
    uint32_t v = 0;
    for (int b = 0; b < 4; ++b) v |= uint32_t{u8()} << (8 * b);
    return v;
  }
  const uint8_t* rest() const { return p_; }
  size_t left() const { return left_; }

 private:
  const uint8_t* p_;
  size_t left_;
};

ParameterValue valueFor(uint32_t alternative, uint32_t bits) {
  ParameterValue v;
  float f;
  std::memcpy(&f, &bits, 4);
  if (alternative == 0) v.emplace<0>(f);
  if (alternative == 1) v.emplace<1>(bits);
  if (alternative == 2) v.emplace<2>((bits & 1u) != 0);
  if (alternative == 3) v.emplace<3>(static_cast<int>(bits));
  if (alternative == 4) v.emplace<4>((bits & 1u) != 0);
  return v;
}

template <ResultType RT>
void maybeRedirect(Configuration& c, Reader& r, uint32_t mask, uint32_t required,
                   std::vector<std::vector<uint8_t>>& targets) {
  if ((mask & (1u << RT)) == 0) return;
  using T = typename Configuration::OutputRedirector<RT>::value_type;
  const int64_t want = int64_t{required} + static_cast<int8_t>(r.u8()) / 64;  // -2..1
  const uint32_t count = want < 0 ? 0u : static_cast<uint32_t>(want);
  targets.emplace_back(size_t{count} * sizeof(T) + 1);
  Configuration::OutputRedirector<RT> redirector;
  redirector.setRedirection(ArrayReference<T>(reinterpret_cast<T*>(targets.back().data()), count));
  c.setOutputRedirection(redirector);
}

// Reads every element, so that AddressSanitizer sees a result handed out
// with a size larger than its memory.
template <class Field>
void touch(const Field& f) {
  volatile unsigned char sink = 0;
  const auto* bytes = reinterpret_cast<const unsigned char*>(f.data());
  for (size_t i = 0; i < size_t{f.size()} * sizeof(*f.data()); ++i) sink ^= bytes[i];
  (void)sink;
}

void readResults(IKelvora& e) {
  touch(e.results<DISTANCE>());
  touch(e.results<AMPLITUDE>());
  touch(e.results<NOISE>());
  touch(e.results<INTENSITY>());
  touch(e.results<POINT_CLOUD>());
  touch(e.results<FLAGS>());
  touch(e.results<EXPOSURE_PROPOSALS>());
  touch(static_cast<const IKelvora&>(e).results<DISTANCE>());
  touch(static_cast<const IKelvora&>(e).results<FLAGS>());
}

void copyFields(const IKelvora& e, uint8_t selector) {
  ArrayHolder<float> f;
  ArrayHolder<unsigned int> u;
  ArrayHolder<char> c;
  e.copyCalibrationFieldImpl(CUSTOM, f, 128 + selector % 8);
  e.copyCalibrationFieldImpl(static_cast<CalibrationField>(selector % 8), u, selector);
  e.copyCalibrationFieldImpl(static_cast<CalibrationField>(selector % 8), c, selector);
  touch(f);
  touch(u);
  touch(c);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::vector<std::vector<uint8_t>> blobs = [] {
    std::vector<std::vector<uint8_t>> b;
    for (const auto& o : fuzz::engineCalibrations()) b.push_back(fuzz::engineCalibrationBlob(o));
    return b;
  }();
  Reader r(data, size);
  const std::vector<uint8_t>& blob = blobs[r.u8() % blobs.size()];
  IKelvora* raw = nullptr;
  const KelvoraStatus made = getKelvora(
      ArrayReference<unsigned char>(const_cast<uint8_t*>(blob.data()), fuzz::size32(blob.size())),
      &raw);
  if (made.code != KelvoraStatus::SUCCESS || raw == nullptr) {
    std::fprintf(stderr, "calibration refused: %u 0x%08X\n", made.code, made.detail);
    fuzz::contractBroken();
  }
  const std::unique_ptr<IKelvora> engine(raw);
  const uint32_t n = engine->getWidth() * engine->getHeight();

  // Parameter edits through the public configuration; values out of bounds
  // are refused by setValue, the rest is the engine's to cope with.
  Configuration c = engine->configuration();
  for (uint32_t edits = r.u8() % 16u; edits > 0; --edits) {
    Parameter p = c.getParameterByKey(static_cast<ParameterKey>(r.u8() % 32u));
    const uint8_t alternative = r.u8();
    p.setValue(valueFor((alternative & 0x80u) != 0 ? alternative % 5u : p.type(), r.u32()));
    c.setParameter(p);
  }
  std::vector<std::vector<uint8_t>> targets;
  targets.reserve(6);  // the redirections keep pointers into them
  const uint32_t mask = r.u8();
  maybeRedirect<AMPLITUDE>(c, r, mask, n, targets);
  maybeRedirect<POINT_CLOUD>(c, r, mask, 4 * n, targets);
  maybeRedirect<NOISE>(c, r, mask, n, targets);
  maybeRedirect<FLAGS>(c, r, mask, n, targets);
  maybeRedirect<INTENSITY>(c, r, mask, n, targets);
  maybeRedirect<DISTANCE>(c, r, mask, n, targets);
  engine->reconfigure(c);

  std::vector<uint8_t> ops(r.u8() % 24u);
  for (uint8_t& op : ops) op = r.u8();

  Input<ArrayHolder, 2> holder;
  const uint32_t temperatureBits = r.u32();
  std::memcpy(&holder.temperature, &temperatureBits, 4);
  holder.intensityExposureTime = r.u32();
  holder.frequencies[0].exposureTime = r.u32();
  holder.frequencies[1].exposureTime = r.u32();
  const uint8_t* samples = r.rest();
  const size_t sampleBytes = r.left();
  size_t cursor = 0;
  Input<ArrayReference, 2> reference;
  reference.temperature = holder.temperature;
  reference.intensityExposureTime = holder.intensityExposureTime;
  auto fill = [&](ArrayHolder<unsigned short>& frame, ArrayReference<unsigned short>& view) {
    frame.reset(n);
    for (uint32_t i = 0; i < n; ++i, cursor += 2) {
      frame[i] = sampleBytes == 0 ? 0
                                  : static_cast<uint16_t>(samples[cursor % sampleBytes] |
                                                          samples[(cursor + 1) % sampleBytes] << 8);
    }
    view = ArrayReference<unsigned short>(frame.data(), n);
  };
  fill(holder.intensityFrame, reference.intensityFrame);
  for (uint32_t f = 0; f < 2; ++f) {
    reference.frequencies[f].exposureTime = holder.frequencies[f].exposureTime;
    for (uint32_t k = 0; k < 4; ++k) {
      fill(holder.frequencies[f].phaseFrames[k], reference.frequencies[f].phaseFrames[k]);
    }
  }

  for (uint8_t op : ops) {
    switch (op % fuzz::kEngineOperationCount) {
      case fuzz::kProcessWholeReference:
        engine->processWhole(reference);
        break;
      case fuzz::kProcessWholeHolder:
        engine->processWhole(holder);
        break;
      case fuzz::kProcessIntensity:
        engine->processIntensity(reference);
        break;
      case fuzz::kProcessFrequency1:
        engine->processModFrames<FREQUENCY_1>(reference);
        break;
      case fuzz::kProcessFrequency2:
        engine->processModFrames<FREQUENCY_2>(holder);
        break;
      case fuzz::kCombineResults:
        engine->combineResults();
        break;
      case fuzz::kReconfigureSame:
        engine->reconfigure(engine->configuration());
        break;
      case fuzz::kReadResults:
        readResults(*engine);
        break;
      default:
        copyFields(*engine, op);
        break;
    }
  }
  readResults(*engine);
  return 0;
}
