// Writes the seed corpora of the fuzz targets from the synthetic calibrations
// and the three writers, so no binary seeds live in the tree:
//
//   kelvora_fuzz_seeds OUTPUT_DIR
//
// creates OUTPUT_DIR/kelvora_fuzz_<target>/ for every target.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "EngineFuzzInput.hpp"
#include "FuzzSupport.hpp"
#include "synthetic/BlockCalibrationWriter.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"
#include "synthetic/SyntheticCalibration.hpp"

namespace {

using namespace kelvora;
namespace fs = std::filesystem;

fs::path g_root;

void write(const std::string& target, const std::string& name, const std::vector<uint8_t>& bytes) {
  const fs::path dir = g_root / ("kelvora_fuzz_" + target);
  fs::create_directories(dir);
  std::ofstream out(dir / name, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  if (!out) {
    std::fprintf(stderr, "cannot write %s/%s\n", dir.c_str(), name.c_str());
    std::exit(1);
  }
}

fuzz::RecordPtr synthetic(uint32_t w, uint32_t h, std::vector<uint32_t> freqs, bool stray,
                          uint32_t seed = 1) {
  synth::SyntheticCalibrationOptions o;
  o.width = w;
  o.height = h;
  o.frequencies = std::move(freqs);
  o.strayLight = stray;
  o.maskedFraction = 0.1f;
  o.seed = seed;
  return fuzz::RecordPtr(synth::makeSyntheticCalibration(o));
}

synth::BlockSpec custom(uint8_t id, uint8_t type, std::vector<uint32_t> v, std::vector<float> f,
                        uint8_t bits = 0) {
  synth::BlockSpec b;
  b.id = id;
  b.type = type;
  b.integers = std::move(v);
  b.floats = std::move(f);
  b.bits = bits;
  return b;
}

void containerSeeds() {
  const std::vector<uint32_t> two = {80320000u, 60240000u};
  const std::vector<uint32_t> three = {80320000u, 60240000u, 20000000u};
  auto small = synthetic(8, 6, two, false);
  write("container_reader", "plain_8x6", synth::writeContainerCalibration(*small, {}));
  synth::ContainerWriterOptions packed;
  packed.fpn = {-0.05f, 0.05f, 0.001f};
  packed.fppn = {-0.1f, 0.1f, 0.0005f};
  write("container_reader", "packed_8x6", synth::writeContainerCalibration(*small, packed));
  auto odd = synthetic(5, 3, {60240000u}, false, 2);
  write("container_reader", "one_frequency_5x3", synth::writeContainerCalibration(*odd, packed));
  auto tri = synthetic(4, 4, three, false, 3);
  write("container_reader", "three_frequencies_4x4", synth::writeContainerCalibration(*tri, {}));
  write("get_kelvora", "container_8x6", synth::writeContainerCalibration(*small, packed));
  write("get_kelvora", "container_5x3", synth::writeContainerCalibration(*odd, {}));
}

void legacySeeds() {
  // The layout is fixed to the full sensor; two seeds with either phase-noise
  // code width.
  auto full = synthetic(224, 172, {80320000u, 60240000u}, false);
  synth::LegacyWriterOptions o;
  o.fpnOffset = -0.02f;
  o.fpnStep = 0.01f;
  o.frequency[0] = {-0.1f, 0.1f, false};
  o.frequency[1] = {-0.1f, 0.1f, true};
  const std::vector<uint8_t> blob = synth::writeLegacyCalibration(*full, o);
  write("legacy_reader", "mixed_codes", blob);
  o.frequency[0].nineBit = true;
  o.filler = 0;
  write("legacy_reader", "nine_bit_codes", synth::writeLegacyCalibration(*full, o));
  write("get_kelvora", "legacy", blob);
}

void blockSeeds() {
  auto small = synthetic(8, 5, {80320000u, 60240000u}, true, 4);
  synth::BlockWriterOptions plain;
  plain.dateSeconds = 1700000000u;
  plain.auxBytes = true;
  plain.auxValues = true;
  write("block_reader", "floats_8x5", synth::writeBlockCalibration(*small, plain));
  synth::BlockWriterOptions packed = plain;
  packed.fpnType = 6;
  packed.fpnBits = 12;
  packed.fppnType = 6;
  packed.fppnBits = 9;
  packed.maskBits = 1;
  write("block_reader", "packed_8x5", synth::writeBlockCalibration(*small, packed));
  auto one = synthetic(7, 3, {60240000u}, false, 5);
  write("block_reader", "one_frequency_7x3", synth::writeBlockCalibration(*one));

  synth::BlockWriterOptions customs;
  customs.extraBlocks = {
      custom(128, 0, {1, 2, 250}, {}),        custom(131, 1, {0xBEEF, 7}, {}),
      custom(140, 2, {0xDEADBEEFu}, {}),      custom(200, 3, {0xFFFFFFF6u, 5}, {}),
      custom(230, 5, {1, 2, 3, 4, 5}, {}, 3), custom(254, 4, {}, {-2.5f, 1e-3f})};
  const std::vector<uint8_t> withCustom = synth::writeBlockCalibration(*small, customs);
  write("block_reader", "custom_blocks", withCustom);
  write("block_custom_fields", "custom_blocks", withCustom);
  write("block_custom_fields", "custom_blocks_odd", std::vector<uint8_t>{1});
  write("block_custom_fields", "custom_blocks_packed", synth::writeBlockCalibration(*small, [&] {
          synth::BlockWriterOptions o = customs;
          o.fpnType = 6;
          o.fpnBits = 10;
          return o;
        }()));
  write("get_kelvora", "block_8x5", withCustom);
}

void packedArraySeeds() {
  // bits, count (4 bytes), offset (4 bytes), n (4 bytes), words.
  auto seed = [](uint8_t bits, uint32_t count, uint32_t offset, uint32_t n, uint32_t words) {
    std::vector<uint8_t> s = {bits};
    for (uint32_t v : {count, offset, n}) {
      for (int b = 0; b < 4; ++b) s.push_back(static_cast<uint8_t>(v >> (8 * b)));
    }
    for (uint32_t i = 0; i < words * 4; ++i) s.push_back(static_cast<uint8_t>(i * 37u + bits));
    return s;
  };
  write("packed_array", "w3_head_block_tail", seed(3, 100, 5, 90, 10));
  write("packed_array", "w32_all", seed(32, 40, 0, 40, 40));
  write("packed_array", "w17_past_end", seed(17, 70, 60, 50, 38));
  write("packed_array", "w1_block", seed(1, 64, 32, 32, 2));
  write("packed_array", "w0_refused", seed(0, 10, 0, 10, 1));
}

void engineSeeds() {
  const size_t count = fuzz::engineCalibrations().size();
  for (uint32_t i = 0; i < count; ++i) {
    write("engine", "rendered_" + std::to_string(i), fuzz::renderedEngineInput(i, 0));
  }
  // Every operation once on the first calibration, with two redirections
  // exactly as large as required, then again one element short.
  std::vector<uint8_t> ops = fuzz::renderedEngineInput(0, 1);
  std::vector<uint8_t> all = {0, 0, 0x21, 0, 0, fuzz::kEngineOperationCount};
  for (uint8_t op = 0; op < fuzz::kEngineOperationCount; ++op) all.push_back(op);
  all.insert(all.end(), ops.begin() + 5, ops.end());
  write("engine", "every_operation", all);
  all[3] = 0xC0;
  all[4] = 0xC0;
  write("engine", "short_targets", all);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUTPUT_DIR\n", argv[0]);
    return 2;
  }
  g_root = argv[1];
  containerSeeds();
  legacySeeds();
  blockSeeds();
  packedArraySeeds();
  engineSeeds();
  return 0;
}
